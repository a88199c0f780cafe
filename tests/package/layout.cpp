// Contains the complete type of every class whose layout check_layout.py reads from the debug information.
#include "platform/snapshot.hpp"
#include "vtio/vtio.hpp"

template class vtsim::DefaultSnapshotInterface<vtio::core::utils::VtioScalarAccessorSnapshotHandler>;
