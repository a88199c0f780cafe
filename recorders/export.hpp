/// @file
/// Marks what libvtio_recorders.so exports; everything else in it is hidden.
#pragma once

#define VTIO_RECORDERS_EXPORT __attribute__((visibility("default")))
