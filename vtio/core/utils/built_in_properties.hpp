/// @file
/// Properties of the built-in class names. Not installed; see Node::getFxpDataTypeProperties().
#pragma once

#include <string_view>

#include "platform/types.hpp"

namespace vtio::core::utils {

/// The record of a built-in class name; null for every other name. Valid as long as the program.
[[nodiscard]] const fxpDataTypeProp* builtInProperties(std::string_view className);

}  // namespace vtio::core::utils
