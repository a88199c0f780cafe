# Installs the libraries as a CMake package (find_package(vtio CONFIG)) and as pkg-config files, one per library.
# Both may be moved with their prefix: paths inside are relative to the files themselves.

include(CMakePackageConfigHelpers)

# The libraries find each other in their own folder, whatever the prefix is.
get_property(libraries GLOBAL PROPERTY VTIO_LIBRARIES)
foreach(library IN LISTS libraries)
  set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${library} EXPORT vtioTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT libraries NAMELINK_COMPONENT dev
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT dev)
endforeach()

set(VTIO_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/vtio")
install(EXPORT vtioTargets NAMESPACE vtio:: DESTINATION "${VTIO_CMAKE_DIR}" COMPONENT dev)
configure_package_config_file(cmake/vtioConfig.cmake.in vtioConfig.cmake INSTALL_DESTINATION "${VTIO_CMAKE_DIR}")
write_basic_package_version_file(vtioConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/vtioConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/vtioConfigVersion.cmake"
  DESTINATION "${VTIO_CMAKE_DIR}" COMPONENT dev)

# vtio_install_pc(<file> LIBRARY <name> DESCRIPTION <text> [REQUIRES <pc>...]): installs <file>.pc.
function(vtio_install_pc file)
  cmake_parse_arguments(PARSE_ARGV 1 PC "" "LIBRARY;DESCRIPTION" "REQUIRES")
  set(PC_NAME ${file})
  list(JOIN PC_REQUIRES ", " PC_REQUIRES)
  set(PC_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  # From the .pc file up to the prefix; an absolute directory of the distribution's own choice stays as it is.
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
    set(PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
    set(PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
  else()
    file(RELATIVE_PATH up "/${PC_DIR}" "/")
    string(REGEX REPLACE "/$" "" up "${up}")
    set(PC_PREFIX "\${pcfiledir}/${up}")
    set(PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
  endif()
  configure_file(cmake/vtio.pc.in ${file}.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${file}.pc" DESTINATION "${PC_DIR}" COMPONENT dev)
endfunction()

vtio_install_pc(vtio-platform LIBRARY vtio_platform DESCRIPTION "Environment services that vtio calls")
vtio_install_pc(vtio LIBRARY vtio DESCRIPTION "${PROJECT_DESCRIPTION}" REQUIRES "vtio-platform = ${PROJECT_VERSION}")
vtio_install_pc(vtio-recorders LIBRARY vtio_recorders DESCRIPTION "Ready-made recorders for vtio"
  REQUIRES "vtio = ${PROJECT_VERSION}")
if(TARGET vtio_results)
  vtio_install_pc(vtio-results LIBRARY vtio_results DESCRIPTION "Reads, compares and exports the results of vtio"
    REQUIRES "vtio-platform = ${PROJECT_VERSION}")
endif()
if(VTIO_BUILD_RUNNER)
  vtio_install_pc(vtio-runner LIBRARY vtio_runner DESCRIPTION "Runs FMUs and logs them"
    REQUIRES "vtio-recorders = ${PROJECT_VERSION}" "vtio-results = ${PROJECT_VERSION}")
endif()
