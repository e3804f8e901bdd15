# The common part of the toolchain files: Debian's cross compiler for APPLIST_TRIPLET, the packages
# unpacked in APPLIST_SYSROOT, and qemu's user emulation for the tests.
#
# The C library is that of the compiler; the other libraries come from the sysroot.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES APPLIST_SYSROOT)
set(APPLIST_SYSROOT "" CACHE PATH "A folder with the unpacked packages of the target")
if(NOT IS_DIRECTORY "${APPLIST_SYSROOT}/usr")
    message(FATAL_ERROR "APPLIST_SYSROOT='${APPLIST_SYSROOT}' has no packages of ${APPLIST_TRIPLET}; "
                        "scripts/cross-test makes such a folder")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${APPLIST_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${APPLIST_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${APPLIST_TRIPLET})

set(CMAKE_FIND_ROOT_PATH "${APPLIST_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${APPLIST_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${APPLIST_SYSROOT}/usr/lib/${APPLIST_TRIPLET}/pkgconfig:${APPLIST_SYSROOT}/usr/share/pkgconfig")

# The linker finds indirect dependencies here.
foreach(kind EXE SHARED)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT
        "-Wl,-rpath-link,${APPLIST_SYSROOT}/usr/lib/${APPLIST_TRIPLET}:${APPLIST_SYSROOT}/lib/${APPLIST_TRIPLET}")
endforeach()

# An emulator from the command line or the environment has precedence.
if(NOT DEFINED CMAKE_CROSSCOMPILING_EMULATOR AND NOT DEFINED ENV{CMAKE_CROSSCOMPILING_EMULATOR})
    set(CMAKE_CROSSCOMPILING_EMULATOR
        "${APPLIST_EMULATOR};-E;LD_LIBRARY_PATH=/usr/lib/${APPLIST_TRIPLET}:/lib/${APPLIST_TRIPLET};-L;${APPLIST_SYSROOT}")
endif()
