# cmake --install: the client library, its headers, the component "client" of the CMake package and a
# pkg-config module. cmake/install.cmake has set the folders.
install(TARGETS applist-client EXPORT applist-client-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

foreach(header AppListClient.h AppListExecutors.h AppListQtExecutor.h)
    install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/applist/${header}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/applist-1/applist)
endforeach()

install(EXPORT applist-client-targets NAMESPACE applist::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/applist)

configure_file(${PROJECT_SOURCE_DIR}/cmake/applist-client.pc.in
    ${PROJECT_BINARY_DIR}/applist-client.pc.in @ONLY)
install(CODE "configure_file(\"${PROJECT_BINARY_DIR}/applist-client.pc.in\"
    \"${PROJECT_BINARY_DIR}/applist-client.pc\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/applist-client.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
