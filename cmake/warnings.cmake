# applist_warnings(TARGET): the warnings that all of the project's own code is free of.
function(applist_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        # Rows of tables, named structs within them, read better with one pair of braces.
        $<$<CXX_COMPILER_ID:Clang>:-Wno-missing-braces>
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta -Werror=thread-safety>
        $<$<BOOL:${APPLIST_WERROR}>:-Werror>)
endfunction()
