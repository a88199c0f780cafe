/// @file
/// The configuration Qat file of the spacecraft example: six switches and the logging selection.
#pragma once

#include <string>

namespace spacecraft {

/// Writes the configuration that the spacecraft program reads.
/// @param fileName UTF-8 name; an existing file is replaced.
/// @throws std::runtime_error with the file's name and what is wrong, when the file cannot be written.
void writeConfiguration(const std::string& fileName);

}  // namespace spacecraft
