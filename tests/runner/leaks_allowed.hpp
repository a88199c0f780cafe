/// @file
/// Leaks that a test is about.
#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define RUNNER_TEST_HAS_LEAK_SANITIZER
#endif
#endif

namespace runner_test {

/// As long as it exists, what is allocated need not be freed: an FMU that had a fatal error must not be asked to free
/// anything.
class LeaksAllowed {
 public:
#ifdef RUNNER_TEST_HAS_LEAK_SANITIZER
  LeaksAllowed() { __lsan_disable(); }
  ~LeaksAllowed() { __lsan_enable(); }
#else
  LeaksAllowed() {}
  ~LeaksAllowed() {}
#endif
  LeaksAllowed(const LeaksAllowed&) = delete;
  LeaksAllowed& operator=(const LeaksAllowed&) = delete;
};

}  // namespace runner_test
