# Helpers to add tests. Each folder below tests/ has one program over GoogleTest, which is a CTest entry.

find_package(GTest REQUIRED)

# What nearly every test source reads, compiled once for all programs.
file(WRITE "${PROJECT_BINARY_DIR}/tests/precompiled.cpp" "// Only carries the precompiled header.\n")
add_library(vtio_test_precompiled OBJECT "${PROJECT_BINARY_DIR}/tests/precompiled.cpp")
target_precompile_headers(vtio_test_precompiled PRIVATE
  <gmock/gmock.h> <gtest/gtest.h> <functional> <map> <memory> <string> <vector>)

# vtio_test_defaults(<target>): what all test programs are compiled with; the precompiled header needs the same.
function(vtio_test_defaults name)
  vtio_target_defaults(${name})
  # The libraries are tested as they are released; the tests themselves only have to compile quickly.
  target_compile_options(${name} PRIVATE -O0)
  # Tests ask for the class of what a unique_ptr owns: typeid(*copy).
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wno-potentially-evaluated-expression>)
  target_link_libraries(${name} PRIVATE GTest::gmock GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
endfunction()

vtio_test_defaults(vtio_test_precompiled)

# vtio_add_test(<folder>_test SOURCES ... [LIBRARIES ...] [LONG <case>...] [SHARDS <count>] [TIMEOUT <seconds>]): a test
# program. It is one CTest entry named <folder>, or SHARDS of them that run beside each other. Each of the LONG cases
# (suite.case, or "Instantiation/*" for all of that) is an entry of its own with the label `long`: `make test` leaves
# them out, `make check` runs them. Every entry writes what it ran into gtest/<entry>.xml of the build folder, where
# scripts/counting.sh counts cases. TIMEOUT holds for one entry (default 600).
function(vtio_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SHARDS;TIMEOUT" "SOURCES;LIBRARIES;LONG")
  add_executable(${name})
  vtio_test_defaults(${name})
  target_precompile_headers(${name} REUSE_FROM vtio_test_precompiled)
  vtio_compile_together(${name} 4)
  vtio_extend_test(${name} SOURCES ${arg_SOURCES} LIBRARIES ${arg_LIBRARIES})

  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 600)
  endif()
  string(REGEX REPLACE "_test$" "" folder "${name}")
  string(REPLACE ";" ":" long_cases "${arg_LONG}")
  if(NOT arg_SHARDS)
    vtio_add_entry(${folder} ${name} "-${long_cases}")
  else()
    foreach(shard RANGE 1 ${arg_SHARDS})
      math(EXPR index "${shard} - 1")
      vtio_add_entry(${folder}-${shard} ${name} "-${long_cases}")
      set_property(TEST ${folder}-${shard} PROPERTY ENVIRONMENT
        GTEST_TOTAL_SHARDS=${arg_SHARDS} GTEST_SHARD_INDEX=${index})
    endforeach()
  endif()
  foreach(case IN LISTS arg_LONG)
    string(REPLACE "/*" "" entry "${folder}-${case}")
    vtio_add_entry(${entry} ${name} "${case}")
    set_tests_properties(${entry} PROPERTIES LABELS long COST 50)
  endforeach()
endfunction()

# vtio_add_entry(<entry> <program> <filter>): a CTest entry that runs cases of a test program.
function(vtio_add_entry entry program filter)
  add_test(NAME ${entry}
    COMMAND ${program} --gtest_brief=1 "--gtest_filter=${filter}"
      "--gtest_output=xml:${PROJECT_BINARY_DIR}/gtest/${entry}.xml")
  set_tests_properties(${entry} PROPERTIES TIMEOUT ${arg_TIMEOUT})
endfunction()

# vtio_extend_test(<program> SOURCES ... [LIBRARIES ...]): puts sources of this folder into the program of another one.
function(vtio_extend_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  target_sources(${name} PRIVATE ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES})
  foreach(source IN LISTS arg_SOURCES)
    if(source MATCHES "[.]c$")  # the precompiled header is one of C++
      set_source_files_properties("${source}" TARGET_DIRECTORY ${name} PROPERTIES
        SKIP_PRECOMPILE_HEADERS ON SKIP_UNITY_BUILD_INCLUSION ON)
    endif()
  endforeach()
endfunction()
