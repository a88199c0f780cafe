/// @file
/// The name under which the core and the entry functions use vtu::ustring.
#pragma once

#include "platform/text.hpp"

namespace vtio::core {
using vtu::ustring;
namespace utils {
using vtu::ustring;
}  // namespace utils
namespace accessor {
using vtu::ustring;
}  // namespace accessor
namespace client {
using vtu::ustring;
}  // namespace client
}  // namespace vtio::core

namespace mdlref_simtarget {
using vtu::ustring;
}  // namespace mdlref_simtarget
