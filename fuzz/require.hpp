/// @file
/// The assertion of the fuzzers: on in every build, and a crash that libFuzzer reports with its input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace vtio::fuzz {

/// Ends the process unless a property holds.
inline void require(bool holds, const char* property) {
  if (!holds) {
    std::fprintf(stderr, "property violated: %s\n", property);
    std::abort();
  }
}

}  // namespace vtio::fuzz
