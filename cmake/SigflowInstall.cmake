include(CMakePackageConfigHelpers)

install(TARGETS sigflow EXPORT sigflowTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/sigflow DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT sigflowTargets NAMESPACE sigflow:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/sigflow)

configure_package_config_file(cmake/sigflowConfig.cmake.in
  ${PROJECT_BINARY_DIR}/sigflowConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/sigflow)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/sigflowConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/sigflowConfig.cmake ${PROJECT_BINARY_DIR}/sigflowConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/sigflow)

# The Qt module installs beside the library, in the same export set.
if(TARGET sigflow_gui)
  install(TARGETS sigflow_gui EXPORT sigflowTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(DIRECTORY gui/include/sigflow DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
