/// @file
/// The checksum that HDF5 stores after its metadata.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vtu::qat {

/// Jenkins' lookup3 in its little-endian byte form, starting from zero.
[[nodiscard]] std::uint32_t metadataChecksum(const unsigned char* bytes, std::size_t size);

}  // namespace vtu::qat
