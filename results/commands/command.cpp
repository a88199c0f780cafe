#include "results/commands/command.hpp"

#include <cmath>
#include <new>
#include <ostream>

#include "results/file/results_error.hpp"
#include "results/values/number_text.hpp"

namespace vtio::results {

TimeRange TimeOptions::range() const {
  TimeRange range;
  if (from) range.from = *from;
  if (to) range.to = *to;
  if (std::isnan(range.from) || std::isnan(range.to)) throw ResultsError("a time of NaN is no end of a range");
  if (range.from > range.to) {
    throw ResultsError("the range of time from " + numberText(range.from) + " to " + numberText(range.to) +
                       " ends before it begins");
  }
  return range;
}

std::string errorLine(std::string_view what) { return "qat: " + printable(what) + "\n"; }

int runCommand(const std::function<int()>& command, std::ostream& err) {
  try {
    return command();
  } catch (const Interrupted&) {
    return kInterrupted;
  } catch (const std::bad_alloc&) {
    err << errorLine("not enough memory");
  } catch (const std::exception& error) {
    err << errorLine(error.what());
  }
  return kWrong;
}

}  // namespace vtio::results
