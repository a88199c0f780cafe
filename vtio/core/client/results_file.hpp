/// @file
/// Writes the datasets of a catalogue into a Qat file. Not installed.
#pragma once

#include <string>

#include "vtio/core/client/catalogue.hpp"

namespace vtio::core::client {

/// Writes the results variables into a new file. An exception while a dataset is built leaves the file open, with what
/// was written before.
/// @return The first failure of writing or closing, in words; it is not reported in any other way. Empty if there is
///   none.
/// @throws vtsv::IException "Vortan:FileIO" / "ToFromFileOpenCloseErr" with the name if the file cannot be created.
std::string writeResults(Catalogue& catalogue, const ustring& fileName);

}  // namespace vtio::core::client
