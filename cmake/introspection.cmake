# AppList-1.gir and AppList-1.typelib, for hosts in Python and JavaScript. The scanner runs a program
# with the library, so that a cross build and the build for a checker leave both out.
pkg_check_modules(GIR QUIET gobject-introspection-1.0)
if(GIR_FOUND)
    pkg_get_variable(APPLIST_GIR_SCANNER gobject-introspection-1.0 g_ir_scanner)
    pkg_get_variable(APPLIST_GIR_COMPILER gobject-introspection-1.0 g_ir_compiler)
endif()
set(APPLIST_HAS_INTROSPECTION OFF)
if(NOT APPLIST_BUILD_INTROSPECTION)
    set(reason "APPLIST_BUILD_INTROSPECTION is off")
elseif(NOT GIR_FOUND)
    set(reason "gobject-introspection-1.0 was not found (Debian: libgirepository1.0-dev)")
elseif(NOT EXISTS "${APPLIST_GIR_SCANNER}" OR NOT EXISTS "${APPLIST_GIR_COMPILER}")
    set(reason "g-ir-scanner was not found (Debian: gobject-introspection)")
elseif(CMAKE_CROSSCOMPILING)
    set(reason "a cross build cannot run the library")
elseif(APPLIST_CHECKER OR NOT BUILD_SHARED_LIBS)
    set(reason "the scanner needs an ordinary shared library")
else()
    set(APPLIST_HAS_INTROSPECTION ON)
endif()
set(APPLIST_HAS_INTROSPECTION ${APPLIST_HAS_INTROSPECTION} PARENT_SCOPE)
if(NOT APPLIST_HAS_INTROSPECTION)
    message(STATUS "applist-glib without introspection data: ${reason}")
    return()
endif()
message(STATUS "applist-glib with introspection data")

# A scanner of version 1.66 lacks the annotations of getters and setters, and warns of each. Version
# 1.74 is the oldest one that was seen to scan the header without a warning.
set(warnings --warn-all --warn-error)
if(GIR_VERSION VERSION_LESS 1.74)
    set(warnings "")
endif()
set(APPLIST_GIR ${CMAKE_CURRENT_BINARY_DIR}/AppList-1.gir)
set(APPLIST_TYPELIB ${CMAKE_CURRENT_BINARY_DIR}/AppList-1.typelib)
set(header ${CMAKE_CURRENT_SOURCE_DIR}/applist/applist-glib.h)
add_custom_command(OUTPUT ${APPLIST_GIR}
    COMMAND ${APPLIST_GIR_SCANNER}
        --quiet ${warnings} --no-libtool
        --namespace=AppList --nsversion=1 --identifier-prefix=AppList --symbol-prefix=applist
        --include=Gio-2.0 --pkg=gio-2.0 --pkg-export=applist-glib
        --c-include=applist/applist-glib.h -I${CMAKE_CURRENT_SOURCE_DIR}
        --library=applist-glib --library-path=$<TARGET_FILE_DIR:applist-glib>
        --library-path=$<TARGET_FILE_DIR:applist-client>
        --output=${APPLIST_GIR} ${header}
    DEPENDS applist-glib ${header} VERBATIM
    COMMENT "Generating AppList-1.gir")
add_custom_command(OUTPUT ${APPLIST_TYPELIB}
    COMMAND ${APPLIST_GIR_COMPILER} --output=${APPLIST_TYPELIB} ${APPLIST_GIR}
    DEPENDS ${APPLIST_GIR} VERBATIM
    COMMENT "Generating AppList-1.typelib")
add_custom_target(applist-introspection ALL DEPENDS ${APPLIST_TYPELIB})
