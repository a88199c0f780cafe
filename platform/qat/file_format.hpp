/// @file
/// What makes an HDF5 file a Qat file, and how HDF5 is asked to make and open one.
#pragma once

#include <cstdint>

#include "platform/qat/driver.hpp"
#include "platform/qat/kit.hpp"

namespace vtu::qat {

inline constexpr const char* kFormatAttribute = "qat.format";
inline constexpr const char* kVersionAttribute = "qat.version";
inline constexpr std::uint32_t kVersion = 2;

/// How files are opened: as every reader from HDF5 1.10 on can, by the driver of Qat files, closed with all that is in
/// them.
[[nodiscard]] Handle makeAccessList(Changes changes);

/// How files are made: variables keep their order.
[[nodiscard]] Handle makeFileCreationList();

/// Sets up the making of a group that has its links in the object header, which has room for the `expected` ones: HDF5
/// adds and removes such a link by one write, where the heap and the tree of a group with many links take several.
/// @param most Links beyond which the group has a heap and a tree.
void keepLinksInHeader(hid_t list, unsigned most, unsigned expected);

/// Marks the file as a Qat file.
void writeFormat(Kit& kit, hid_t root);

}  // namespace vtu::qat
