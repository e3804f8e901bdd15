# Debian's arm64, 64 bits, little-endian.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(APPLIST_TRIPLET aarch64-linux-gnu)
set(APPLIST_EMULATOR qemu-aarch64-static)
include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
