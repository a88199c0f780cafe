/// @file
/// Marks what libvtio_platform.so exports; everything else in it is hidden.
#pragma once

#define VTIO_PLATFORM_EXPORT __attribute__((visibility("default")))
