#include "runner/text/printable.hpp"

#include "results/terminal/style.hpp"

namespace vtio::runner {

std::string printable(std::string_view text, std::size_t longest) {
  return results::shortened(results::printable(text), longest);
}

}  // namespace vtio::runner
