# What every target of this project has in common: the language level, the warnings, hidden visibility, sanitizers.

set(VTIO_WARNING_FLAGS -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
# GCC 12 warns wrongly of overlapping copies in the optimised operator+ of std::string.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  list(APPEND VTIO_WARNING_FLAGS -Wno-restrict)
endif()
if(VTIO_WARNINGS_AS_ERRORS)
  list(APPEND VTIO_WARNING_FLAGS -Werror)
endif()

# vtio_target_defaults(<target>): applies the project's settings to a target.
function(vtio_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_options(${target} PRIVATE ${VTIO_WARNING_FLAGS})
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    C_STANDARD 11
    C_STANDARD_REQUIRED ON
    C_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    C_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(VTIO_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${VTIO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${VTIO_SANITIZE})
    # Clang links the C++ half of the runtime into C++ programs only; a C program needs it for the libraries.
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  endif()
  if(VTIO_BUILD_FUZZERS)  # the fuzzers see which branches an input takes
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "SHARED_LIBRARY")
      target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
  endif()
endfunction()

# vtio_compile_quickly(<source>...): sources of this folder that have large templates and run once, as those that read
# options: they take half the time to compile.
function(vtio_compile_quickly)
  set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS $<$<CONFIG:Release>:-O1>)
endfunction()

# vtio_compile_together(<target> <count>): with VTIO_UNITY_BUILD, sources are compiled `count` at a time.
function(vtio_compile_together name count)
  if(NOT VTIO_UNITY_BUILD)
    return()
  endif()
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${count})
  # A source that is included is taken for a header, where an anonymous namespace would be a mistake, and names of the
  # source before it are hidden. Builds that compile each source alone have both warnings.
  target_compile_options(${name} PRIVATE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage> $<$<COMPILE_LANGUAGE:CXX>:-Wno-shadow>)
endfunction()

# vtio_add_library(<name> EXPORT_NAME <name> SOURCES ... HEADERS ...): a shared library vtio::<EXPORT_NAME> whose
# headers keep their paths when they are installed, and are each compiled alone by all_verify_interface_header_sets.
function(vtio_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "EXPORT_NAME" "SOURCES;HEADERS")
  add_library(${name} SHARED)
  add_library(vtio::${arg_EXPORT_NAME} ALIAS ${name})
  target_sources(${name}
    PRIVATE ${arg_SOURCES}
    PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS})
  vtio_target_defaults(${name})
  vtio_compile_together(${name} 8)
  set_target_properties(${name} PROPERTIES
    EXPORT_NAME ${arg_EXPORT_NAME}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    VERIFY_INTERFACE_HEADER_SETS ON)
  set_property(GLOBAL APPEND PROPERTY VTIO_LIBRARIES ${name})
endfunction()
