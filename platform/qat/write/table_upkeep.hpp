/// @file
/// Keeping the sample tables of a file in step with its variables.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "platform/qat/read/source.hpp"
#include "platform/qat/stray_format.hpp"
#include "platform/qat/write/signal_names.hpp"

namespace vtu::qat {

/// Names of the signals that a file keeps when the variable with the link `replaced` goes.
/// @param kept Tables below this number stay. @param leaving Leaves that do not keep their names there.
[[nodiscard]] SignalNames keptNames(const Source& source, const std::string& replaced, std::uint32_t kept,
                                    const std::set<LeafPlace>& leaving);

/// @return True if the variable with this link refers to sample tables, or is damaged so that this is unknown.
[[nodiscard]] bool mayReferToTables(const Source& source, const std::string& link);

/// Removes the tables that no variable refers to; none if a variable is damaged, so that its references are unknown.
/// @param trusted The file was made by this session: HDF5 may delete tables.
/// @param kept Tables below this number stay. @throws Failure
void removeUnusedTables(const Source& source, bool trusted, std::uint32_t kept);

}  // namespace vtu::qat
