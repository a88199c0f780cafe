# Finds what runner/ needs. VTIO_RUNNER_PACKAGES_FOUND says whether all of it is there; what is missing is in
# VTIO_RUNNER_PACKAGES_MISSING.

set(VTIO_RUNNER_PACKAGES_MISSING "")
foreach(package IN ITEMS CLI11 pugixml nlohmann_json)
  find_package(${package} QUIET)
  if(NOT ${package}_FOUND)
    list(APPEND VTIO_RUNNER_PACKAGES_MISSING ${package})
  endif()
endforeach()

# Debian's CMake package of libzip asks for programs that are packages of their own.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(LIBZIP QUIET IMPORTED_TARGET GLOBAL libzip)
endif()
if(NOT TARGET PkgConfig::LIBZIP)
  list(APPEND VTIO_RUNNER_PACKAGES_MISSING libzip)
endif()

find_library(VTIO_CSV_LIBRARY csv)
find_path(VTIO_CSV_INCLUDE_DIR csv.h)
mark_as_advanced(VTIO_CSV_LIBRARY VTIO_CSV_INCLUDE_DIR)
if(NOT VTIO_CSV_LIBRARY OR NOT VTIO_CSV_INCLUDE_DIR)
  list(APPEND VTIO_RUNNER_PACKAGES_MISSING libcsv)
endif()

set(VTIO_RUNNER_PACKAGES_FOUND ON)
if(VTIO_RUNNER_PACKAGES_MISSING)
  set(VTIO_RUNNER_PACKAGES_FOUND OFF)
endif()
