# Helpers to add tests. Each folder below tests/ has one program over GoogleTest; every case is a CTest entry.

find_package(GTest REQUIRED)
include(GoogleTest)

# What nearly every test source reads, compiled once for all programs.
file(WRITE "${PROJECT_BINARY_DIR}/tests/precompiled.cpp" "// Only carries the precompiled header.\n")
add_library(vtio_test_precompiled OBJECT "${PROJECT_BINARY_DIR}/tests/precompiled.cpp")
target_precompile_headers(vtio_test_precompiled PRIVATE
  <gmock/gmock.h> <gtest/gtest.h> <functional> <map> <memory> <string> <vector>)

# vtio_test_defaults(<target>): what all test programs are compiled with; the precompiled header needs the same.
function(vtio_test_defaults name)
  vtio_target_defaults(${name})
  # The libraries are tested as they are released; the tests themselves only have to compile quickly.
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O1>)
  # Tests ask for the class of what a unique_ptr owns: typeid(*copy).
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wno-potentially-evaluated-expression>)
  target_link_libraries(${name} PRIVATE GTest::gmock GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
endfunction()

vtio_test_defaults(vtio_test_precompiled)

# vtio_add_test(<folder>_test SOURCES ... [LIBRARIES ...] [LONG <filter>] [TIMEOUT <seconds>]): a test program. Its
# cases are CTest entries named <folder>/<Suite>.<case>. Those that match the GoogleTest filter LONG have the label
# `long`: `make test` leaves them out, `make check` runs them. TIMEOUT holds for one case (default 300).
function(vtio_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LONG;TIMEOUT" "SOURCES;LIBRARIES")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_executable(${name})
  vtio_test_defaults(${name})
  target_precompile_headers(${name} REUSE_FROM vtio_test_precompiled)
  vtio_extend_test(${name} SOURCES ${arg_SOURCES} LIBRARIES ${arg_LIBRARIES})

  string(REGEX REPLACE "_test$" "/" prefix "${name}")
  set(common DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES TEST_PREFIX "${prefix}")
  if(arg_LONG)
    gtest_discover_tests(${name} ${common} TEST_LIST ${name}_LONG TEST_FILTER "${arg_LONG}"
      PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS long)
    string(PREPEND arg_LONG "-")
  endif()
  gtest_discover_tests(${name} ${common} TEST_FILTER "${arg_LONG}" PROPERTIES TIMEOUT ${arg_TIMEOUT})
endfunction()

# vtio_extend_test(<program> SOURCES ... [LIBRARIES ...]): puts sources of this folder into the program of another one.
function(vtio_extend_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  target_sources(${name} PRIVATE ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES})
  foreach(source IN LISTS arg_SOURCES)
    if(source MATCHES "[.]c$")  # the precompiled header is one of C++
      set_source_files_properties("${source}" TARGET_DIRECTORY ${name} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
    endif()
  endforeach()
endfunction()
