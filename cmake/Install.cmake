# What `cmake --install` lays down. Nothing in it remembers the prefix: the folder can be moved.
include(CMakePackageConfigHelpers)

set(HEADER_FOLDER ${CMAKE_INSTALL_INCLUDEDIR}/settingscore-0)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/settingscore)
set(pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS varnekplatform settingscore EXPORT settingscoreTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
set_target_properties(varnekplatform settingscore PROPERTIES INSTALL_RPATH "$ORIGIN")
install(DIRECTORY settings/include/ DESTINATION ${HEADER_FOLDER})
install(DIRECTORY platform/include/ DESTINATION ${HEADER_FOLDER}/platform PATTERN microservices EXCLUDE)
if(SERVICES_ARE_OWN)
    install(DIRECTORY platform/include/microservices DESTINATION ${HEADER_FOLDER}/platform)
    set(SERVICES_CFLAGS "-I\${includedir}/platform/microservices")
else()
    set(SERVICES_DEPENDENCY "find_dependency(CppMicroServices 3 CONFIG)")
    get_target_property(services_folders CppMicroServices INTERFACE_INCLUDE_DIRECTORIES)
    list(TRANSFORM services_folders PREPEND "-I")
    list(JOIN services_folders " " SERVICES_CFLAGS)
    set(SERVICES_LIBS "-lCppMicroServices")
endif()

if(TARGET vksettings)
    file(RELATIVE_PATH libraries_from_tool /p/${CMAKE_INSTALL_BINDIR} /p/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(vksettings PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_tool}")
    install(TARGETS vksettings RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# The reference key manager, where the library looks for plug-ins; one of the host with a higher ranking takes its place.
set(plugin_folder bin/linux64/settings_plugins)
file(RELATIVE_PATH libraries_from_plugin /p/${plugin_folder} /p/${CMAKE_INSTALL_LIBDIR})
install(FILES $<TARGET_FILE:vkkeymanager>.json DESTINATION ${plugin_folder})
install(TARGETS vkkeymanager LIBRARY DESTINATION ${plugin_folder})
set_target_properties(vkkeymanager PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_plugin}")
# For hosts: the texts to translate and the schema of definition documents.
install(FILES platform/catalogue/varnek.pot docs/definition-document.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/settingscore)

# CMake package
install(EXPORT settingscoreTargets NAMESPACE settingscore:: DESTINATION ${package_folder})
configure_package_config_file(cmake/settingscoreConfig.cmake.in ${PROJECT_BINARY_DIR}/settingscoreConfig.cmake
    INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/settingscoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/settingscoreConfig.cmake ${PROJECT_BINARY_DIR}/settingscoreConfigVersion.cmake
    DESTINATION ${package_folder})

# pkg-config
file(RELATIVE_PATH PREFIX_FROM_PC /p/${pc_folder} /p)
string(REGEX REPLACE "/$" "" PREFIX_FROM_PC "${PREFIX_FROM_PC}")
configure_file(cmake/settingscore.pc.in ${PROJECT_BINARY_DIR}/settingscore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/settingscore.pc DESTINATION ${pc_folder})

install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
