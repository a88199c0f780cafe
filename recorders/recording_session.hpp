/// @file
/// Records signals from C++: the header to include. Its contents: session/recording_session.hpp.
#pragma once

#include "recorders/session/recording_session.hpp"
