# Installs the libraries as a CMake package (find_package(vtio CONFIG)) and a pkg-config file.

include(CMakePackageConfigHelpers)

get_property(libraries GLOBAL PROPERTY VTIO_LIBRARIES)
foreach(library IN LISTS libraries)
  install(TARGETS ${library} EXPORT vtioTargets FILE_SET HEADERS)
endforeach()
install(EXPORT vtioTargets NAMESPACE vtio:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/vtio")

configure_package_config_file(cmake/vtioConfig.cmake.in vtioConfig.cmake
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/vtio")
write_basic_package_version_file(vtioConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/vtioConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/vtioConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/vtio")

configure_file(cmake/vtio.pc.in vtio.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/vtio.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
