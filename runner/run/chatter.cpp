#include "runner/run/chatter.hpp"

#include "runner/error.hpp"
#include "runner/run/time_grid.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {

void Chatter::add(double time) {
  standstills_ = time - last_ > kRoundOff * step_ ? 0 : standstills_ + 1;
  last_ = time;
  if (standstills_ >= kMostStandstills) {
    throw RunnerError(ExitStatus::failed,
                      "the FMU chatters: " + std::to_string(standstills_) + " events without any progress");
  }
  if (time - windowBegin_ > step_) {
    windowBegin_ = time;
    inWindow_ = 0;
  }
  ++inWindow_;
  if (inWindow_ <= most_) return;
  most_ = inWindow_;
  mostSince_ = windowBegin_;
}

std::string Chatter::remark() const {
  if (most_ <= kMany) return {};
  return "the FMU chatters: " + std::to_string(most_) + " events within a communication step from " +
         numberText(mostSince_);
}

}  // namespace vtio::runner
