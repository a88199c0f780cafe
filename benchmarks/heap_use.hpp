/// @file
/// How much memory the program has asked for and not given back.
#pragma once

#include <cstddef>

namespace vtio::benchmarks {

/// Bytes in use, as the allocator counts them: small blocks with their overhead, and large blocks by the page.
std::size_t heapBytesInUse();

}  // namespace vtio::benchmarks
