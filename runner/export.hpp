/// @file
/// Marks what libvtio_runner.so exports; everything else in it is hidden.
#pragma once

#define VTIO_RUNNER_EXPORT __attribute__((visibility("default")))
