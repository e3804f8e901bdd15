# The warnings of the project's own code.
set(APPLIST_WARNINGS
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    # Rows of tables, named structs within them, read better with one pair of braces.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-missing-braces>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety-beta>
    $<$<CXX_COMPILER_ID:Clang>:-Werror=thread-safety>
    # The macros of GLib 2.84 use __COUNTER__, which this clang reports as an extension.
    $<$<AND:$<CXX_COMPILER_ID:Clang>,$<VERSION_GREATER_EQUAL:$<CXX_COMPILER_VERSION>,22>>:-Wno-c2y-extensions>
    # A switch over an enumeration names every value, so that a new value is an error wherever
    # it is forgotten. A default would hide that.
    -Werror=switch -Werror=switch-enum
    $<$<CXX_COMPILER_ID:Clang>:-Werror=covered-switch-default>
    # In a unity build every source is an included file, to whose local classes this applies.
    $<$<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wno-subobject-linkage>
    $<$<BOOL:${APPLIST_WERROR}>:-Werror>)

# applist_warnings(TARGET)
function(applist_warnings target)
    target_compile_options(${target} PRIVATE ${APPLIST_WARNINGS})
endfunction()
