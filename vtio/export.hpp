/// @file
/// Marks what libvtio.so exports; everything else in it is hidden.
#pragma once

#define VTIO_EXPORT __attribute__((visibility("default")))
