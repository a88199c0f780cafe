/// @file
/// Saves the datasets of a catalogue and reports failures. Not installed.
#pragma once

#include <string>

#include "vtio/core/client/catalogue.hpp"

namespace vtio::recorders {

/// Writes what Catalogue::saveDatasetsToQatFile() writes, complete or not at all.
/// @param fileName UTF-8; replaced as FileReplacement does.
/// @throws vtsv::IException "Vortan:FileIO" / "CannotSave" with the file and the cause.
void saveResults(core::client::Catalogue& catalogue, const std::string& fileName);

}  // namespace vtio::recorders
