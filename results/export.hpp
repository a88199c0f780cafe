/// @file
/// Marks what libvtio_results.so exports; everything else in it is hidden.
#pragma once

#define VTIO_RESULTS_EXPORT __attribute__((visibility("default")))
