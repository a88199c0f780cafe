#include "runner/description/mistakes.hpp"

#include <algorithm>
#include <utility>

namespace vtio::runner {
namespace {

bool prevents(const Mistake& mistake) { return mistake.preventsRun; }

}  // namespace

std::string Mistake::text() const {
  std::string result = what;
  if (line > 0) result += ", line " + std::to_string(line);
  if (!element.empty()) result += ", element <" + element + ">";
  if (!attribute.empty()) result += ", attribute '" + attribute + "'";
  return result;
}

void Mistakes::add(Mistake mistake) {
  ++count_;
  if (kept_.size() < kMostKept || (mistake.preventsRun && firstThatPreventsRun() == nullptr)) {
    kept_.push_back(std::move(mistake));
  }
}

const Mistake* Mistakes::firstThatPreventsRun() const {
  const auto found = std::find_if(kept_.begin(), kept_.end(), prevents);
  return found != kept_.end() ? &*found : nullptr;
}

}  // namespace vtio::runner
