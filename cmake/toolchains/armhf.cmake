# Debian's armhf, 32 bits, little-endian, hardware floating point.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(APPLIST_TRIPLET arm-linux-gnueabihf)
set(APPLIST_EMULATOR qemu-arm-static)
include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
