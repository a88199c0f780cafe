#include "runner/sweep/sweep.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <list>
#include <map>
#include <ostream>
#include <span>
#include <sstream>
#include <system_error>
#include <utility>

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

RunOptions optionsOf(const SweepOptions& options, const SweepPlan& plan, std::size_t run) {
  RunOptions one = options.run;
  for (std::size_t i = 0; i < plan.names.size(); ++i) one.set.push_back(plan.names[i] + "=" + plan.values[run][i]);
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "%06zu.qat", run);
  one.output = folderOf(options) / name.data();
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
      if (table_.rows()[run].status != "done") waiting_.push_back(run);
    }
    table_.save(options_.run.output);
    while (!workers_.empty() || (!waiting_.empty() && InterruptGuard::received() == 0)) {
      startWorkers();
      waitForWorkers();
      passSignalOn();
      if (Clock::now() - saved_ > kTimeBetweenSaves) save();
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
    table_.save(options_.run.output);
    saved_ = Clock::now();
  }

  const SweepOptions& options_;
  SweepTable& table_;
  std::ostream& messages_;
  std::list<std::size_t> waiting_;
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

void report(const SweepTable& table, std::ostream& out) {
  std::map<std::string, std::size_t> counts;
  for (const SweepRow& row : table.rows()) ++counts[row.status];
  out << table.rows().size() << " runs";
  const char* separator = ": ";
  for (const auto& [status, count] : counts) {
    out << separator << count << " " << status;
    separator = ", ";
  }
  out << "\n";
}

}  // namespace

ExitStatus runSweep(const SweepOptions& options, std::ostream& out, std::ostream& messages) {
  const InterruptGuard guard;
  checkOutput(options.run);
  SweepPlan plan = planSweep(options);
  std::vector<std::string> finals = finalNames(options, plan);
  SweepTable table(std::move(plan), std::move(finals));
  if (options.resume && fs::exists(options.run.output)) table.load(options.run.output);
  makeFolder(folderOf(options));
  const int number = Sweep(options, table, messages).run();
  report(table, out);
  out << options.run.output.string() << "\n";
  if (number != 0) return number == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
  const auto isDone = [](const SweepRow& row) { return row.status == "done"; };
  return std::all_of(table.rows().begin(), table.rows().end(), isDone) ? ExitStatus::done : ExitStatus::failed;
}

}  // namespace vtio::runner
