/// @file
/// Records signals from C targets: the header to include. Its contents: session/recorders.h.
#ifndef VTIO_RECORDERS_H
#define VTIO_RECORDERS_H

#include "recorders/session/recorders.h"

#endif /* VTIO_RECORDERS_H */
