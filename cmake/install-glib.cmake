# cmake --install: the GObject library, its header and introspection data, the component "glib" of the
# CMake package and a pkg-config module. cmake/install.cmake has set the folders.
install(TARGETS applist-glib EXPORT applist-glib-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/applist/applist-glib.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/applist-1/applist)
install(EXPORT applist-glib-targets NAMESPACE applist::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/applist)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/applist-glib-dependencies.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/applist)
if(APPLIST_HAS_INTROSPECTION)
    install(FILES ${APPLIST_GIR} DESTINATION ${CMAKE_INSTALL_DATADIR}/gir-1.0)
    install(FILES ${APPLIST_TYPELIB} DESTINATION ${CMAKE_INSTALL_LIBDIR}/girepository-1.0)
endif()

configure_file(${PROJECT_SOURCE_DIR}/cmake/applist-glib.pc.in
    ${PROJECT_BINARY_DIR}/applist-glib.pc.in @ONLY)
install(CODE "configure_file(\"${PROJECT_BINARY_DIR}/applist-glib.pc.in\"
    \"${PROJECT_BINARY_DIR}/applist-glib.pc\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/applist-glib.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
