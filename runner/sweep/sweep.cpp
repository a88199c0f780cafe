#include "runner/sweep/sweep.hpp"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iostream>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <system_error>
#include <utility>

#include "results/terminal/progress_bar.hpp"
#include "runner/archive/temporary_folder.hpp"
#include "runner/run/interrupt.hpp"
#include "runner/run/run_fmu.hpp"
#include "runner/sweep/helpers.hpp"
#include "runner/sweep/ranks.hpp"
#include "runner/sweep/sweep_runs.hpp"
#include "runner/sweep/sweep_table.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenSignals{200};  // a signal is noticed so late at most
constexpr std::chrono::seconds kTimeBetweenSaves{1};       // of the table

bool isShardTable(const fs::path& file) { return file.filename().string().starts_with("shard-"); }

// Where the table of these runs is: that of a shard stands beside the results, until the sweep is resumed as a whole.
fs::path tableOf(const SweepOptions& options) {
  if (!options.shard) return options.run.output;
  const std::string name =
      "shard-" + std::to_string(options.shard->number) + "-of-" + std::to_string(options.shard->of);
  return folderOf(options) / (name + ".qat");
}

bool isWanted(const SweepOptions& options, std::size_t run) { return !options.shard || options.shard->has(run); }

std::vector<fs::path> shardTables(const SweepOptions& options) {
  std::vector<fs::path> found;
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(folderOf(options), ignored)) {
    if (isShardTable(entry.path()) && entry.path().extension() == ".qat") found.push_back(entry.path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

// The parameters of a run, as NAME=VALUE.
std::vector<std::string> settings(const SweepPlan& plan, std::size_t run) {
  std::vector<std::string> set;
  for (std::size_t i = 0; i < plan.names.size(); ++i) set.push_back(plan.names[i] + "=" + plan.values[run][i]);
  return set;
}

RunOptions optionsOf(const SweepOptions& options, const SweepPlan& plan, std::size_t run) {
  return optionsOfRun(options, run, settings(plan, run));
}

class Sweep {
 public:
  Sweep(const SweepOptions& options, SweepTable& table, Helpers& helpers, std::ostream& messages)
      : options_(options), table_(table), helpers_(helpers), messages_(messages) {}

  // Makes all runs that are not done; the signal that ended it before.
  int run() {
    for (std::size_t run = 0; run < table_.rows().size(); ++run) {
      if (isWanted(options_, run) && table_.rows()[run].status != "done") waiting_.push_back(run);
    }
    const std::size_t all = waiting_.size();
    table_.save(tableOf(options_));
    results::ProgressBar bar(std::cerr, results::styleOf(options_.run.showsProgress ? STDERR_FILENO : -1));
    while (running() > 0 || (!waiting_.empty() && InterruptGuard::received() == 0)) {
      startRuns();
      waitForRuns();
      if (InterruptGuard::received() != 0) end();
      if (Clock::now() - saved_ > kTimeBetweenSaves) save();
      const std::size_t ended = all - waiting_.size() - running();
      bar.show(static_cast<double>(ended) / static_cast<double>(std::max<std::size_t>(all, 1)),
               std::to_string(ended) + " of " + std::to_string(all) + " runs");
    }
    save();
    return InterruptGuard::received();
  }

 private:
  [[nodiscard]] std::size_t running() const { return processes_.count() + helpers_.busy(); }

  void startRuns() {
    while (!waiting_.empty() && InterruptGuard::received() == 0) {
      const std::size_t run = waiting_.front();
      if (processes_.count() < options_.jobs) {
        processes_.start(run, optionsOf(options_, table_.plan(), run));
      } else if (helpers_.hasIdle()) {
        helpers_.make(run, settings(table_.plan(), run));
      } else {
        return;
      }
      waiting_.pop_front();
    }
  }

  void waitForRuns() {
    const auto onEnd = [this](std::size_t run, SweepRow& row) { finish(run, row); };
    processes_.wait(helpers_.areThere() ? kBetweenLooks : kBetweenSignals, onEnd);
    helpers_.receive(onEnd);
  }

  void finish(std::size_t run, SweepRow& row) {
    SweepRow& kept = table_.rows()[run];
    row.finals.resize(kept.finals.size(), std::numeric_limits<double>::quiet_NaN());
    kept = std::move(row);
    if (kept.status == "done" || kept.status == "pending") return;
    messages_ << "vtio-run: " << printable(options_.run.fmu.string()) << ": run " << run << " " << kept.status << ": "
              << printable(kept.message, 500) << "\n";
  }

  // After a signal. The table is saved at once: mpirun kills what does not end soon.
  void end() {
    processes_.passOn(SIGTERM);
    if (std::exchange(isEnding_, true)) return;
    helpers_.stop();
    save();
  }

  void save() {
    table_.save(tableOf(options_));
    saved_ = Clock::now();
  }

  const SweepOptions& options_;
  SweepTable& table_;
  Helpers& helpers_;
  std::ostream& messages_;
  std::list<std::size_t> waiting_;
  RunProcesses processes_;
  bool isEnding_ = false;
  Clock::time_point saved_ = Clock::now();
};

// Every run is checked before the first is made.
std::vector<std::string> finalNames(const SweepOptions& options, const SweepPlan& plan) {
  const FmuFile fmu(options.run.fmu);
  static_cast<void>(interfaceForRun(fmu, options.run));
  std::vector<std::string> names;
  for (std::size_t run = 0; run < plan.values.size(); ++run) {
    try {
      const RunPlan planned = planRun(fmu.model(), optionsOf(options, plan, run));
      if (run > 0) continue;
      for (const std::size_t index : planned.finals) names.push_back(planned.model.variables[index].name);
    } catch (const RunnerError& error) {
      throw RunnerError(error.status(), error.what(), "run " + std::to_string(run));
    }
  }
  return names;
}

void makeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directory(folder, error);
  if (error) throw RunnerError("cannot make the folder of the runs: " + error.message(), printable(folder.string()));
}

// The rows of the runs that were asked for.
std::vector<const SweepRow*> wantedRows(const SweepOptions& options, const SweepTable& table) {
  std::vector<const SweepRow*> rows;
  for (std::size_t run = 0; run < table.rows().size(); ++run) {
    if (isWanted(options, run)) rows.push_back(&table.rows()[run]);
  }
  return rows;
}

void report(const std::vector<const SweepRow*>& rows, std::ostream& out) {
  std::map<std::string, std::size_t> counts;
  for (const SweepRow* row : rows) ++counts[row->status];
  out << rows.size() << " runs";
  const char* separator = ": ";
  for (const auto& [status, count] : counts) {
    out << separator << count << " " << status;
    separator = ", ";
  }
  out << "\n";
}

// What is known of a sweep that was begun; a new one forgets it.
void takeUp(const SweepOptions& options, SweepTable& table) {
  if (!options.resume) {
    if (!options.shard) {
      for (const fs::path& old : shardTables(options)) fs::remove(old);
    }
    return;
  }
  if (fs::exists(options.run.output)) table.take(options.run.output);
  for (const fs::path& shard : shardTables(options)) table.take(shard);
}

// What the first process does, or the only one.
ExitStatus lead(const SweepOptions& options, Helpers& helpers, std::ostream& out, std::ostream& messages) {
  checkOutput(options.run);
  SweepPlan plan = planSweep(options);
  std::vector<std::string> finals = finalNames(options, plan);
  SweepTable table(std::move(plan), std::move(finals));
  makeFolder(folderOf(options));
  takeUp(options, table);
  std::optional<TemporaryFolder> built;
  SweepOptions chosen = options;
  if (chosen.run.build) chosen.run.library = buildOnce(options.run, built.emplace().path());
  const int number = Sweep(chosen, table, helpers, messages).run();
  const std::vector<const SweepRow*> rows = wantedRows(options, table);
  report(rows, out);
  out << tableOf(options).string() << "\n";
  if (number != 0) return number == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
  const auto isDone = [](const SweepRow* row) { return row->status == "done"; };
  return std::all_of(rows.begin(), rows.end(), isDone) ? ExitStatus::done : ExitStatus::failed;
}

// A helper that cannot make runs ends the whole job.
ExitStatus help(const SweepOptions& options, Ranks& ranks, std::ostream& messages) {
  try {
    helpSweep(options, ranks);
  } catch (const std::exception& error) {
    messages << "vtio-run: " << printable(options.run.fmu.string()) << ": process " << ranks.rank() << ": "
             << printable(error.what(), 2000) << std::endl;
    ranks.abort();
  }
  return ExitStatus::done;
}

}  // namespace

ExitStatus runSweep(const SweepOptions& options, std::ostream& out, std::ostream& messages) {
  const InterruptGuard guard;
  const int started = ranksStarted();
  const std::unique_ptr<Ranks> ranks = started > 1 ? loadRanks(mpiModule(), started) : nullptr;
  if (ranks && ranks->rank() > 0) return help(options, *ranks, messages);
  Helpers helpers(ranks.get());
  return lead(options, helpers, out, messages);
}

}  // namespace vtio::runner
