/// @file
/// Expects that a call throws a diagnostic.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/diagnostics.hpp"

namespace vtio_test {

/// The diagnostic that a call throws; a diagnostic with the key "nothing thrown" if it returns.
template <typename Call>
vtsv::Diagnostic thrownBy(Call&& call) {
  try {
    call();
  } catch (const vtsv::IException& exception) {
    EXPECT_FALSE(std::string(exception.what()).empty());
    return exception.diagnostic();
  }
  return {"", "nothing thrown", {}};
}

/// The identifier and key of the diagnostic that a call throws, joined by a slash.
template <typename Call>
std::string nameThrownBy(Call&& call) {
  const vtsv::Diagnostic diagnostic = thrownBy(call);
  return diagnostic.identifier + "/" + diagnostic.key;
}

}  // namespace vtio_test
