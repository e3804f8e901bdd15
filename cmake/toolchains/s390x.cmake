# Debian's s390x, 64 bits, big-endian.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(APPLIST_TRIPLET s390x-linux-gnu)
set(APPLIST_EMULATOR qemu-s390x-static)
include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
