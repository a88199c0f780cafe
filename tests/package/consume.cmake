# Run by CTest as a script: installs the build into a prefix, moves the prefix elsewhere, then builds and runs the
# consumer project against it, once through find_package and once through pkg-config.

# run(<command>...): runs a command; its output is shown and the test ends when it fails.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT code EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed (${code}): ${command}\n${text}")
  endif()
  set(run_output "${text}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/first")
file(RENAME "${WORK_DIR}/first" "${WORK_DIR}/prefix")
set(prefix "${WORK_DIR}/prefix")

# No installed file may contain the path of the build.
file(GLOB_RECURSE texts "${prefix}/*.cmake" "${prefix}/*.pc" "${prefix}/*.h" "${prefix}/*.hpp")
foreach(file IN LISTS texts)
  file(READ "${file}" text)
  foreach(place IN ITEMS "${BUILD_DIR}" "${SOURCE_DIR}")
    string(FIND "${text}" "${place}" at)
    if(NOT at EQUAL -1)
      message(FATAL_ERROR "${file} names ${place}")
    endif()
  endforeach()
endforeach()

set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
endif()

foreach(way IN ITEMS find_package pkg-config)
  set(build "${WORK_DIR}/${way}")
  set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
  run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}/tests/package/consumer" -B "${build}"
    "-DCMAKE_C_COMPILER=${C_COMPILER}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_C_FLAGS=${flags}" "-DCMAKE_CXX_FLAGS=${flags}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCONSUME_WITH=${way}" "-DHELLO_DIR=${SOURCE_DIR}/examples/hello"
    "-DVERSION=${VERSION}" "-DEXPECTED_PREFIX=${prefix}" "-DWITH_RESULTS=${RESULTS}")
  run("${CMAKE_COMMAND}" --build "${build}")
  # find_package writes the place of the libraries into the programs; pkg-config leaves that to the user.
  if(way STREQUAL "pkg-config")
    set(ENV{LD_LIBRARY_PATH} "${prefix}/${LIBDIR}")
  else()
    unset(ENV{LD_LIBRARY_PATH})
  endif()
  foreach(program IN ITEMS platform_only core_only)
    run("${build}/${program}")
  endforeach()
  run("${CMAKE_COMMAND}" -E chdir "${build}" "${build}/hello_cpp" config.qat hello_cpp.qat)
  run("${CMAKE_COMMAND}" -E chdir "${build}" "${build}/hello_c" config.qat hello_c.qat)
  foreach(results IN ITEMS hello_cpp.qat hello_c.qat)
    file(SIZE "${build}/${results}" size)
    if(size LESS 8000)  # a thousand doubles
      message(FATAL_ERROR "${way}: ${results} has only ${size} bytes")
    endif()
  endforeach()
  if(RESULTS)
    run("${build}/results_only" "${build}/hello_c.qat")
    run("${prefix}/${BINDIR}/qat" diff "${build}/hello_c.qat" "${build}/hello_c.qat")
  endif()
  message(STATUS "${way}: built and ran")
endforeach()
