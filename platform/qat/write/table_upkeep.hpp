/// @file
/// Keeping the sample tables of a file in step with its variables.
#pragma once

#include <cstdint>
#include <string>

#include "platform/qat/read/source.hpp"
#include "platform/qat/write/signal_names.hpp"

namespace vtu::qat {

/// Names of the signals that a file keeps when the variable with the link `replaced` goes.
[[nodiscard]] SignalNames keptNames(const Source& source, const std::string& replaced);

/// Removes the tables that no variable refers to; none if a variable is damaged, so that its references are unknown.
/// @param trusted The file was made by this session: HDF5 may delete tables.
/// @param kept Tables below this number stay. @throws Failure
void removeUnusedTables(const Source& source, bool trusted, std::uint32_t kept);

}  // namespace vtu::qat
