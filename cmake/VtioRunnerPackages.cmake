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

# VTIO_SUNDIALS_FOUND says whether there is CVODE of SUNDIALS 6. Its library holds the vectors, matrices and solvers
# that it works with; SUNDIALS' own CMake package requires much more.
option(VTIO_RUNNER_SUNDIALS "Build vtio-run with Model Exchange, where SUNDIALS is found" ON)
find_library(VTIO_CVODE_LIBRARY sundials_cvode)
find_path(VTIO_CVODE_INCLUDE_DIR sundials/sundials_config.h)
mark_as_advanced(VTIO_CVODE_LIBRARY VTIO_CVODE_INCLUDE_DIR)
set(VTIO_SUNDIALS_FOUND OFF)
if(VTIO_RUNNER_SUNDIALS AND VTIO_CVODE_LIBRARY AND VTIO_CVODE_INCLUDE_DIR)
  file(STRINGS "${VTIO_CVODE_INCLUDE_DIR}/sundials/sundials_config.h" sundials_six
    REGEX "define SUNDIALS_VERSION_MAJOR 6")
  if(sundials_six)
    set(VTIO_SUNDIALS_FOUND ON)
  endif()
endif()

# Open MPI, whose pkg-config file is enough: CMake's own search runs half a dozen programs.
option(VTIO_RUNNER_MPI "Build the sweeps of vtio-run over MPI, where Open MPI is found" ON)
if(VTIO_RUNNER_MPI AND PkgConfig_FOUND)
  pkg_check_modules(VTIO_MPI QUIET IMPORTED_TARGET ompi-c)
endif()
