/// @file
/// Keeps a signal in memory: the header to include. Its contents: memory/memory_recorder.hpp.
#pragma once

#include "recorders/memory/memory_recorder.hpp"
