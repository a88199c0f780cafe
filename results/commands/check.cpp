#include "results/commands/check.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "platform/qat.hpp"
#include "platform/qat_stream.hpp"
#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/rows/row_source.hpp"
#include "results/rows/table_cursor.hpp"
#include "results/sweep/run_table.hpp"
#include "results/values/number_text.hpp"
#include "results/values/table_block.hpp"

namespace vtio::results {
namespace {

// "1 signal", "2 signals"
std::string counted(std::uint64_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

class Checker {
 public:
  Checker(const ResultsFile& file, const Console& console) : file_(file), console_(console) {}

  /// @return What is wrong, a line each.
  std::vector<std::string> run() {
    checkNames();
    std::vector<const SignalInfo*> signals;
    for (const SignalInfo& signal : file_.signals()) signals.push_back(&signal);
    const std::vector<TableGroup> groups = groupByTable(signals);
    for (std::size_t i = 0; i < groups.size(); ++i) {
      readTable(groups[i], static_cast<double>(i) / static_cast<double>(groups.size()),
                1.0 / static_cast<double>(groups.size()));
    }
    return std::move(problems_);
  }

 private:
  void checkNames() {
    std::set<std::string_view> names;
    for (const SignalInfo& signal : file_.signals()) {
      if (!names.insert(signal.name).second) problems_.push_back("two signals have the name '" + signal.name + "'");
    }
  }

  void readTable(const TableGroup& group, double done, double share) {
    TableBlock block(file_.source(), group.signals);
    const RowRange rows = rowsOfAny(file_.source(), group.signals, {});
    const std::uint64_t window = rowsAtOnce(block.bytesPerRow());
    double last = -std::numeric_limits<double>::infinity();
    for (std::uint64_t row = rows.begin; row < rows.end; row += window) {
      const double part = static_cast<double>(row - rows.begin) / static_cast<double>(rows.count());
      console_.job.step(done + share * part);
      block.read(row, std::min(window, rows.end - row));
      for (std::size_t i = 0; i < block.times().size(); ++i) {
        const double time = block.times()[i];
        if (!(time >= last)) {
          problems_.push_back("table " + std::to_string(group.table) + ": time goes back from " + numberText(last) +
                              " to " + numberText(time) + " at row " + std::to_string(row + i));
        }
        last = time;
      }
    }
  }

  const ResultsFile& file_;
  const Console& console_;
  std::vector<std::string> problems_;
};

/// Opening a file for changes makes a plain file of one that was not closed.
void mend(const std::string& path) {
  vtu::QatFileWrapper file(path, "u");
  if (!file || file.close() != 0) throw ResultsError::ofService(path, qatLastError());
}

// Every run that left results.
int checkSweep(const CheckSettings& settings, const Console& console) {
  const RunTable table(settings.file);
  int worst = kDone;
  for (std::size_t run = 0; run < table.runs(); ++run) {
    const std::string status = table.find("status").text(run);
    const std::string file = table.fileOf(run);
    const bool hasFile = std::filesystem::exists(file);
    if (hasFile) worst = std::max(worst, checkFile({file, settings.mend}, console));
    if (!hasFile || status != "done") {
      console.out << file << ": " << console.style.red(hasFile ? status : status + ", no results") << '\n';
      worst = std::max<int>(worst, kNo);
    }
  }
  return worst;
}

}  // namespace

int checkFile(const CheckSettings& settings, const Console& console) {
  if (RunTable::isSweep(settings.file)) return checkSweep(settings, console);
  if (settings.mend) mend(settings.file);
  const ResultsFile file(settings.file);
  const std::vector<std::string> problems = Checker(file, console).run();
  double last = -std::numeric_limits<double>::infinity();
  std::uint64_t samples = 0;
  for (const SignalInfo& signal : file.signals()) {
    samples += signal.place.count;
    if (signal.place.count != 0) last = std::max(last, signal.last);
  }
  console.out << settings.file << ": " << counted(file.signals().size(), "signal") << ", "
              << counted(samples, "sample");
  if (std::isfinite(last)) console.out << ", last time " << timeText(last) << " s";
  console.out << '\n';
  for (const std::string& problem : problems) console.out << console.style.red(printable(problem)) << '\n';
  if (!file.isComplete()) {
    console.out << console.style.red(vtu::isStreamed(settings.file)
                                         ? "incomplete: a run is writing it"
                                         : "incomplete: its writer ended before it closed the file; "
                                           "what it flushed is here (--mend closes the file)")
                << '\n';
  }
  if (!problems.empty() || !file.isComplete()) return kNo;
  console.out << console.style.green("complete and sound") << '\n';
  return kDone;
}

}  // namespace vtio::results
