# APPLIST_CHECKER selects a checker for the tests. scripts/check and CMakePresets.json set it; an
# ordinary build has none.
set(APPLIST_CHECKER "" CACHE STRING "asan, tsan, valgrind, coverage or fuzz")
set_property(CACHE APPLIST_CHECKER PROPERTY STRINGS "" asan tsan valgrind coverage fuzz)

if(NOT APPLIST_CHECKER)
    return()
endif()

# GObject casts function pointers, which clang's check of their types reports.
set(undefined -fsanitize=undefined -fno-sanitize-recover=undefined
    $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)

if(APPLIST_CHECKER STREQUAL asan)
    set(flags -fsanitize=address ${undefined} -fno-omit-frame-pointer)
elseif(APPLIST_CHECKER STREQUAL tsan)
    set(flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(APPLIST_CHECKER STREQUAL valgrind)
    set(flags "")
elseif(APPLIST_CHECKER STREQUAL coverage)
    # The counters of several threads, and source files by their whole paths.
    set(flags --coverage -fprofile-update=atomic -fprofile-abs-path)
elseif(APPLIST_CHECKER STREQUAL fuzz)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "libFuzzer comes with clang++: -DCMAKE_CXX_COMPILER=clang++")
    endif()
    set(flags -fsanitize=fuzzer-no-link -fsanitize=address ${undefined} -fno-omit-frame-pointer)
else()
    message(FATAL_ERROR "APPLIST_CHECKER: unknown checker '${APPLIST_CHECKER}'")
endif()
# Instrumented, some variables of the C++ library look uninitialised to g++.
add_compile_options(${flags} -g $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
add_link_options(${flags})

if(APPLIST_CHECKER MATCHES "^(asan|tsan|valgrind)$")
    # tests/checkers/KeptOnPurpose.cpp looks up functions of the programs at run time.
    set(CMAKE_ENABLE_EXPORTS ON)
    # CTest runs each test program under this emulator, also to list its tests.
    set(CMAKE_CROSSCOMPILING_EMULATOR
        ${PROJECT_SOURCE_DIR}/tests/checkers/under ${APPLIST_CHECKER}
        ${PROJECT_BINARY_DIR}/tests/checkers/libapplist_kept_on_purpose.so)
endif()
