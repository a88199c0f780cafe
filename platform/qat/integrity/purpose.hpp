/// @file
/// What HDF5 is going to do with a file that is checked.
#pragma once

namespace vtu::qat {

/// HDF5 goes through more of a file when it changes it.
enum class Purpose { reading, changing };

}  // namespace vtu::qat
