# Sets APPLIST_MANUAL to the folder with the man page and the bash completion of the built verbs: this
# folder, or a copy without the verb monitor. The test Tools.ManualAndCompletionMatchHelp compares
# both files with --help.
set(APPLIST_MANUAL ${CMAKE_CURRENT_LIST_DIR})
if(APPLIST_WITH_MONITOR)
    return()
endif()

set(APPLIST_MANUAL ${CMAKE_CURRENT_BINARY_DIR}/manual)
foreach(file applistctl.1 applistctl.1.in applistctl.bash make-manual)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${file} ${APPLIST_MANUAL}/${file} COPYONLY)
endforeach()

file(READ ${APPLIST_MANUAL}/applistctl.1 page)
string(FIND "${page}" "\n.SS monitor\n" start)
string(SUBSTRING "${page}" 0 ${start} before)
math(EXPR start "${start} + 1")
string(SUBSTRING "${page}" ${start} -1 section)
string(FIND "${section}" "\n.S" end)
string(SUBSTRING "${section}" ${end} -1 after)
file(WRITE ${APPLIST_MANUAL}/applistctl.1 "${before}${after}")

file(READ ${APPLIST_MANUAL}/applistctl.bash completion)
string(REGEX REPLACE "\n    monitor\\) [^\n]*" "" completion "${completion}")
string(REPLACE " | monitor" "" completion "${completion}")
string(REPLACE " monitor " " " completion "${completion}")
file(WRITE ${APPLIST_MANUAL}/applistctl.bash "${completion}")
