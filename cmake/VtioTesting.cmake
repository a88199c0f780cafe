# Helpers to add tests. Every suite is one program over GoogleTest.

find_package(GTest REQUIRED)
include(GoogleTest)

# vtio_add_test(<name> SOURCES ... [LIBRARIES ...]): a test program, one CTest entry.
function(vtio_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${arg_SOURCES})
  vtio_target_defaults(${name})
  # GCC 12 at -O3 sees overruns in the inlined texts and lists of test data where there are none.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${name} PRIVATE -Wno-error=array-bounds -Wno-error=stringop-overflow
      -Wno-error=stringop-overread -Wno-error=maybe-uninitialized -Wno-error=restrict)
  endif()
  # Tests ask for the class of what a unique_ptr owns: typeid(*copy).
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wno-potentially-evaluated-expression>)
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_precompile_headers(${name} PRIVATE <gtest/gtest.h> <memory> <string> <vector>)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 LABELS unit)
endfunction()
