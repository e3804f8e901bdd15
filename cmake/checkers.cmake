# What watches the programs while the tests run, chosen by APPLIST_CHECKER (scripts/check and
# CMakePresets.json set it). Empty for an ordinary build.
set(APPLIST_CHECKER "" CACHE STRING "asan, tsan, valgrind, coverage or fuzz")
set_property(CACHE APPLIST_CHECKER PROPERTY STRINGS "" asan tsan valgrind coverage fuzz)

if(NOT APPLIST_CHECKER)
    return()
endif()

# clang's check of function pointer types does not know that GObject casts them.
set(undefined -fsanitize=undefined -fno-sanitize-recover=undefined
    $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)

if(APPLIST_CHECKER STREQUAL asan)
    set(flags -fsanitize=address ${undefined} -fno-omit-frame-pointer)
elseif(APPLIST_CHECKER STREQUAL tsan)
    set(flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(APPLIST_CHECKER STREQUAL valgrind)
    set(flags "")
elseif(APPLIST_CHECKER STREQUAL coverage)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "coverage is counted by clang++: -DCMAKE_CXX_COMPILER=clang++")
    endif()
    set(flags -fprofile-instr-generate -fcoverage-mapping)
elseif(APPLIST_CHECKER STREQUAL fuzz)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "libFuzzer comes with clang++: -DCMAKE_CXX_COMPILER=clang++")
    endif()
    set(flags -fsanitize=fuzzer-no-link -fsanitize=address ${undefined} -fno-omit-frame-pointer)
else()
    message(FATAL_ERROR "APPLIST_CHECKER is '${APPLIST_CHECKER}', which is none of the checkers")
endif()
# With its checks in between, g++ takes some of the C++ library's variables for uninitialised.
add_compile_options(${flags} -g $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
add_link_options(${flags})

if(APPLIST_CHECKER MATCHES "^(asan|tsan|valgrind)$")
    # The programs' own functions can be told apart at run time (tests/checkers/KeptOnPurpose.cpp).
    set(CMAKE_ENABLE_EXPORTS ON)
    # CTest puts this in front of every test program, also where the tests are listed.
    set(CMAKE_CROSSCOMPILING_EMULATOR
        ${PROJECT_SOURCE_DIR}/tests/checkers/under ${APPLIST_CHECKER}
        ${PROJECT_BINARY_DIR}/tests/checkers/libapplist_kept_on_purpose.so)
endif()
