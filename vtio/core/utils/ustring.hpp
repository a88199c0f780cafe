/// @file
/// The UTF-16 string type under the name that every namespace of the core uses.
#pragma once

#include "platform/text.hpp"

namespace vtio::core {
using vtu::ustring;
namespace utils {
using vtu::ustring;
}
namespace accessor {
using vtu::ustring;
}
namespace client {
using vtu::ustring;
}
}  // namespace vtio::core

namespace mdlref_simtarget {
using vtu::ustring;
}
