# cmake --install: the library, its public headers in the folders of src/, a CMake package and a
# pkg-config module.
include(CMakePackageConfigHelpers)

install(TARGETS applist EXPORT applist-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

foreach(header
        applist/AppListItem.h
        applist/AppListModel.h
        applist/AppListProxy.h
        applist/ItemChangeListener.h
        applist/ItemClickListener.h
        applist/ItemSelectionListener.h
        applist/RemoteAppListItem.h
        common/Export.h
        common/PTAutoLock.h
        common/PTMutex.h
        common/ThreadAnnotations.h
        ipc/javamw-dbus-remote.h)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/src/${header}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/applist-1/${folder})
    list(APPEND APPLIST_PUBLIC_HEADERS ${header})
endforeach()
set(APPLIST_PUBLIC_HEADERS ${APPLIST_PUBLIC_HEADERS} PARENT_SCOPE)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/applist)
install(EXPORT applist-targets NAMESPACE applist:: DESTINATION ${package_folder})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/applist-config.cmake.in
    ${PROJECT_BINARY_DIR}/applist-config.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/applist-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/applist-config.cmake
    ${PROJECT_BINARY_DIR}/applist-config-version.cmake DESTINATION ${package_folder})

# The prefix is written at installation, as "cmake --install --prefix" may name another one. It is a
# plain path: classic pkg-config puts PKG_CONFIG_SYSROOT_DIR in front of ${pcfiledir}, which already
# lies in the sysroot. A tree that is moved afterwards is found with "pkg-config --define-prefix".
set(APPLIST_PC_PREFIX "@CMAKE_INSTALL_PREFIX@")
foreach(folder INCLUDEDIR LIBDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
        set(APPLIST_PC_${folder} "${CMAKE_INSTALL_${folder}}")
    else()
        set(APPLIST_PC_${folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
    endif()
endforeach()
# Static hosts also link the libraries of the platform log.
set(APPLIST_PC_LIBS_PRIVATE -pthread)
foreach(library IN LISTS APPLIST_PLATFORM_LOG_LIBRARIES)
    if(TARGET "${library}" OR library MATCHES "::")
        message(FATAL_ERROR "APPLIST_PLATFORM_LOG_LIBRARIES: ${library} is a CMake target, which "
            "static hosts do not have; it takes names, absolute paths and linker flags")
    elseif(library MATCHES "^[-/]")
        list(APPEND APPLIST_PC_LIBS_PRIVATE ${library})
    else()
        list(APPEND APPLIST_PC_LIBS_PRIVATE -l${library})
    endif()
endforeach()
list(JOIN APPLIST_PC_LIBS_PRIVATE " " APPLIST_PC_LIBS_PRIVATE)
configure_file(${PROJECT_SOURCE_DIR}/cmake/applist.pc.in ${PROJECT_BINARY_DIR}/applist.pc.in @ONLY)
install(CODE "configure_file(\"${PROJECT_BINARY_DIR}/applist.pc.in\"
    \"${PROJECT_BINARY_DIR}/applist.pc\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/applist.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
