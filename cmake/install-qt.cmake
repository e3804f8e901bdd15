# cmake --install: the Qt library, its header, the component "qt" of the CMake package and a pkg-config
# module. cmake/install.cmake has set the folders.
install(TARGETS applist-qt EXPORT applist-qt-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/applist/AppListQtModel.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/applist-1/applist)

install(EXPORT applist-qt-targets NAMESPACE applist::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/applist)
configure_file(${PROJECT_SOURCE_DIR}/cmake/applist-qt-dependencies.cmake.in
    ${PROJECT_BINARY_DIR}/applist-qt-dependencies.cmake @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/applist-qt-dependencies.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/applist)

# The modules of Qt itself are Qt5Core and Qt6Core.
set(APPLIST_PC_QT Qt${APPLIST_QT_FOUND}Core)
set(qt_module applist-qt${APPLIST_QT_FOUND})
configure_file(${PROJECT_SOURCE_DIR}/cmake/applist-qt.pc.in
    ${PROJECT_BINARY_DIR}/${qt_module}.pc.in @ONLY)
install(CODE "configure_file(\"${PROJECT_BINARY_DIR}/${qt_module}.pc.in\"
    \"${PROJECT_BINARY_DIR}/${qt_module}.pc\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/${qt_module}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
