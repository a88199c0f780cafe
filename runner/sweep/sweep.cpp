#include "runner/sweep/sweep.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <list>
#include <map>
#include <optional>
#include <ostream>
#include <span>
#include <sstream>
#include <system_error>
#include <utility>

#include "results/terminal/progress_bar.hpp"
#include "runner/archive/temporary_folder.hpp"
#include "runner/build/build_library.hpp"
#include "runner/isolation/channel.hpp"
#include "runner/isolation/child_process.hpp"
#include "runner/run/interrupt.hpp"
#include "runner/run/run_fmu.hpp"
#include "runner/sweep/sweep_table.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kPollMilliseconds = 200;                  // after which a signal is noticed at the latest
constexpr std::chrono::seconds kTimeBetweenSaves{1};    // of the table
constexpr std::chrono::milliseconds kPatience{60'000};  // for the rest of an answer that has begun

fs::path folderOf(const SweepOptions& options) { return options.run.output.string() + ".d"; }

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

RunOptions optionsOf(const SweepOptions& options, const SweepPlan& plan, std::size_t run) {
  RunOptions one = options.run;
  for (std::size_t i = 0; i < plan.names.size(); ++i) one.set.push_back(plan.names[i] + "=" + plan.values[run][i]);
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "%06zu.qat", run);
  one.output = folderOf(options) / name.data();
  one.showsProgress = false;
  return one;
}

const char* statusText(const RunEnd& end) {
  if (end.status == ExitStatus::done) return "done";
  if (end.status != ExitStatus::failed) return "pending";
  if (end.failure == Failure::crash) return "crashed";
  return end.failure == Failure::timeout ? "timeout" : "failed";
}

// In the process of a run: tells that signals end it from now on, makes it, and sends the row.
void makeRun(const RunOptions& options, Channel& channel) {
  setpgid(0, 0);  // Ctrl-C reaches the sweep alone, which passes it on
  const InterruptGuard guard;
  static_cast<void>(channel.send(Parcel()));
  std::ostringstream out;
  std::ostringstream messages;
  Parcel row;
  try {
    const RunOutcome outcome = runForOutcome(options, out, messages);
    row.putText(statusText(outcome.end));
    row.putText(outcome.end.message);
    row.put(outcome.end.lastTime);
    row.putArray(std::span<const double>(outcome.finals));
  } catch (const std::exception& error) {
    row.clear();
    row.putText("failed");
    row.putText(error.what());
    row.put(std::numeric_limits<double>::quiet_NaN());
    row.putArray(std::span<const double>());
  }
  static_cast<void>(channel.send(row));
}

// A run that is being made.
class Worker {
 public:
  Worker(std::size_t run, const RunOptions& options) : Worker(run, options, Channel::pair()) {}

  [[nodiscard]] std::size_t run() const { return run_; }
  [[nodiscard]] int socket() const { return channel_.socket(); }

  // Passes a signal on, once, as soon as the run can end by it.
  void passOn(int number) {
    if (!isReady_ || std::exchange(isTold_, true)) return;
    process_.signal(number);
  }

  // Takes what the run sent; whether it has ended.
  bool receive(SweepRow& row) {
    Parcel answer;
    const Received received = channel_.receive(answer, kPatience);
    if (received == Received::parcel && !std::exchange(isReady_, true)) return false;
    if (received == Received::timedOut) process_.kill();
    const std::string end = process_.waitForEnd();
    row.seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    if (received == Received::parcel) {
      take(answer, row);
    } else {
      row.status = "crashed";
      row.message = "the run " + end;
    }
    return true;
  }

 private:
  Worker(std::size_t run, const RunOptions& options, std::pair<Channel, Channel> ends)
      : run_(run), channel_(std::move(ends.first)), process_([&ends, &options] { makeRun(options, ends.second); }) {}

  static void take(Parcel& answer, SweepRow& row) {
    row.status = answer.takeText();
    row.message = answer.takeText();
    row.lastTime = answer.take<double>();
    std::vector<double> finals;
    answer.takeArray(finals);
    if (finals.size() == row.finals.size()) row.finals = std::move(finals);
  }

  std::size_t run_;
  Clock::time_point start_ = Clock::now();
  Channel channel_;
  ChildProcess process_;
  bool isReady_ = false;
  bool isTold_ = false;
};

class Sweep {
 public:
  Sweep(const SweepOptions& options, SweepTable& table, std::ostream& messages)
      : options_(options), table_(table), messages_(messages) {}

  // Makes all runs that are not done; the signal that ended it before.
  int run() {
    for (std::size_t run = 0; run < table_.rows().size(); ++run) {
      if (isWanted(options_, run) && table_.rows()[run].status != "done") waiting_.push_back(run);
    }
    all_ = waiting_.size();
    table_.save(tableOf(options_));
    results::ProgressBar bar(std::cerr, results::styleOf(options_.run.showsProgress ? STDERR_FILENO : -1));
    while (!workers_.empty() || (!waiting_.empty() && InterruptGuard::received() == 0)) {
      startWorkers();
      waitForWorkers();
      passSignalOn();
      if (Clock::now() - saved_ > kTimeBetweenSaves) save();
      const std::size_t ended = all_ - waiting_.size() - workers_.size();
      bar.show(static_cast<double>(ended) / static_cast<double>(std::max<std::size_t>(all_, 1)),
               std::to_string(ended) + " of " + std::to_string(all_) + " runs");
    }
    save();
    return InterruptGuard::received();
  }

 private:
  void startWorkers() {
    while (!waiting_.empty() && workers_.size() < options_.jobs && InterruptGuard::received() == 0) {
      const std::size_t run = waiting_.front();
      waiting_.pop_front();
      workers_.emplace_back(run, optionsOf(options_, table_.plan(), run));
    }
  }

  void waitForWorkers() {
    std::vector<pollfd> waited;
    for (const Worker& worker : workers_) waited.push_back({worker.socket(), POLLIN, 0});
    if (poll(waited.data(), waited.size(), kPollMilliseconds) <= 0) return;
    auto worker = workers_.begin();
    for (const pollfd& one : waited) {
      const auto next = std::next(worker);
      if (one.revents != 0 && worker->receive(table_.rows()[worker->run()])) finish(worker);
      worker = next;
    }
  }

  void finish(std::list<Worker>::iterator worker) {
    const SweepRow& row = table_.rows()[worker->run()];
    if (row.status != "done" && row.status != "pending") {
      messages_ << "vtio-run: " << printable(options_.run.fmu.string()) << ": run " << worker->run() << " "
                << row.status << ": " << printable(row.message, 500) << "\n";
    }
    workers_.erase(worker);
  }

  void passSignalOn() {
    if (InterruptGuard::received() == 0) return;
    for (Worker& worker : workers_) worker.passOn(SIGTERM);
  }

  void save() {
    table_.save(tableOf(options_));
    saved_ = Clock::now();
  }

  const SweepOptions& options_;
  SweepTable& table_;
  std::ostream& messages_;
  std::list<std::size_t> waiting_;
  std::size_t all_ = 0;  // runs to be made
  std::list<Worker> workers_;
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

// The library of the FMU's sources, for all runs.
fs::path buildOnce(const RunOptions& options, const fs::path& folder) {
  const FmuFile fmu(options.fmu);
  return buildLibrary(fmu, interfaceForRun(fmu, options), folder);
}

}  // namespace

ExitStatus runSweep(const SweepOptions& options, std::ostream& out, std::ostream& messages) {
  const InterruptGuard guard;
  checkOutput(options.run);
  SweepPlan plan = planSweep(options);
  std::vector<std::string> finals = finalNames(options, plan);
  SweepTable table(std::move(plan), std::move(finals));
  makeFolder(folderOf(options));
  takeUp(options, table);
  std::optional<TemporaryFolder> built;
  SweepOptions chosen = options;
  if (chosen.run.build) chosen.run.library = buildOnce(options.run, built.emplace().path());
  const int number = Sweep(chosen, table, messages).run();
  const std::vector<const SweepRow*> rows = wantedRows(options, table);
  report(rows, out);
  out << tableOf(options).string() << "\n";
  if (number != 0) return number == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
  const auto isDone = [](const SweepRow* row) { return row->status == "done"; };
  return std::all_of(rows.begin(), rows.end(), isDone) ? ExitStatus::done : ExitStatus::failed;
}

}  // namespace vtio::runner
