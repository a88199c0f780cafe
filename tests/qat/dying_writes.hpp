/// @file
/// Death at a chosen write: what a killed program leaves at each moment at which its file changes.
#pragma once

#include <cstddef>

namespace vtio::tests {

/// From now on this process dies by SIGKILL before its `count`-th write to a file, or cut of one; counted from 1.
void dieAtWrite(std::size_t count);

/// From now on this process dies in its `count`-th write across a border of two pages: of its bytes those of the first
/// page are written, which is what the system does if the signal comes between them. 0: nothing changes.
void dieInWrite(std::size_t count);

/// How many blocks of HDF5's own structures this process has written across a border of two pages though one page had
/// room for them.
[[nodiscard]] std::size_t blocksWrittenAcrossPages();

}  // namespace vtio::tests
