/// @file
/// What the opaque QatFile is.
#pragma once

#include <memory>

#include "platform/qat.hpp"
#include "platform/qat/file.hpp"

struct QatFile {
  std::unique_ptr<vtu::qat::File> file;
};
