# Helpers to add tests. Every suite is one program over GoogleTest.

find_package(GTest REQUIRED)

# What nearly every test source reads, compiled once for all programs.
file(WRITE "${PROJECT_BINARY_DIR}/tests/precompiled.cpp" "// Only carries the precompiled header.\n")
add_library(vtio_test_precompiled OBJECT "${PROJECT_BINARY_DIR}/tests/precompiled.cpp")
target_precompile_headers(vtio_test_precompiled PRIVATE
  <gmock/gmock.h> <gtest/gtest.h> <functional> <map> <memory> <string> <vector>)

# vtio_test_defaults(<target>): what all test programs are compiled with; the precompiled header asks for the same.
function(vtio_test_defaults name)
  vtio_target_defaults(${name})
  # GCC 12 at -O3 sees overruns in the inlined texts and lists of test data where there are none.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${name} PRIVATE -Wno-error=array-bounds -Wno-error=stringop-overflow
      -Wno-error=stringop-overread -Wno-error=maybe-uninitialized -Wno-error=restrict)
  endif()
  # Tests ask for the class of what a unique_ptr owns: typeid(*copy).
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wno-potentially-evaluated-expression>)
  target_link_libraries(${name} PRIVATE GTest::gmock GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
endfunction()

vtio_test_defaults(vtio_test_precompiled)

# vtio_add_test(<name> SOURCES ... [LIBRARIES ...]): a test program, one CTest entry.
function(vtio_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${arg_SOURCES})
  vtio_test_defaults(${name})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES})
  target_precompile_headers(${name} REUSE_FROM vtio_test_precompiled)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 LABELS unit)
endfunction()
