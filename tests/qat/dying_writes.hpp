/// @file
/// Death at a chosen write: what a killed program leaves at each moment at which its file changes.
#pragma once

#include <cstddef>

namespace vtio::tests {

/// From now on this process dies by SIGKILL before its `count`-th write to a file, or cut of one; counted from 1.
void dieAtWrite(std::size_t count);

}  // namespace vtio::tests
