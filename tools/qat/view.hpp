// `qat view`: results in the browser.
#pragma once

#include <string>
#include <string_view>

#include "results/commands/command.hpp"

namespace vtio::tools {

struct ViewSettings {
  std::string file;
  std::string other;   ///< empty: none
  int port = 0;        ///< 0: a free one
  std::string folder;  ///< where static files are written instead; empty: a server is started
};

/// The page as the build made it; empty if Node or npm was missing then.
[[nodiscard]] std::string_view viewerPage();

/// Prints the address, opens the browser of the desktop, and serves until it is interrupted; or writes static files.
/// @throws ResultsError, Interrupted
int viewFiles(const ViewSettings& settings, const results::Console& console);

}  // namespace vtio::tools
