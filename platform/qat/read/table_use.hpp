/// @file
/// Which sample tables the variables of a file refer to.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "platform/qat/read/source.hpp"

namespace vtu::qat {

/// Numbers of the tables that variables refer to.
/// @param except Link of a variable that does not count; may be empty. @throws Failure if a variable cannot be read
[[nodiscard]] std::set<std::uint32_t> usedTables(const Source& source, const std::string& except = {});

}  // namespace vtu::qat
