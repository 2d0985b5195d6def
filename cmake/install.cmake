# What `cmake --install` puts into a prefix: the tools, and tessel as a CMake package.
include(CMakePackageConfigHelpers)

set(package_directory lib/cmake/tessel)
set_target_properties(tessel_task PROPERTIES EXPORT_NAME task)
set_target_properties(tessel_config PROPERTIES EXPORT_NAME config)
install(TARGETS ostrel ostrel_list_settings ostrel_watch_settings RUNTIME DESTINATION bin COMPONENT tool)
install(TARGETS tessel_task tessel_config EXPORT tessel ARCHIVE DESTINATION lib COMPONENT library)
install(DIRECTORY src/support/task/include/ src/support/config/include/ DESTINATION include
        COMPONENT library)
install(FILES src/support/config/tessel.natvis DESTINATION share/tessel COMPONENT library)
install(EXPORT tessel NAMESPACE tessel:: FILE tesselTargets.cmake DESTINATION ${package_directory}
        COMPONENT library)

configure_package_config_file(cmake/tesselConfig.cmake.in tesselConfig.cmake
                              INSTALL_DESTINATION ${package_directory})
write_basic_package_version_file(tesselConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tesselConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/tesselConfigVersion.cmake
        DESTINATION ${package_directory} COMPONENT library)
