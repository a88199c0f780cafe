#include "runner/sweep/sweep_runs.hpp"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <limits>
#include <span>
#include <sstream>
#include <utility>

#include "runner/build/build_library.hpp"
#include "runner/run/interrupt.hpp"
#include "runner/run/run_fmu.hpp"

namespace vtio::runner {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPatience{60'000};  // for the rest of an answer that has begun

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
  SweepRow row;
  try {
    RunOutcome outcome = runForOutcome(options, out, messages);
    row.status = statusText(outcome.end);
    row.message = outcome.end.message;
    row.lastTime = outcome.end.lastTime;
    row.finals = std::move(outcome.finals);
  } catch (const std::exception& error) {
    row.status = "failed";
    row.message = error.what();
  }
  Parcel parcel;
  putRow(parcel, row);
  static_cast<void>(channel.send(parcel));
}

}  // namespace

fs::path folderOf(const SweepOptions& options) { return options.run.output.string() + ".d"; }

RunOptions optionsOfRun(const SweepOptions& options, std::size_t run, const std::vector<std::string>& set) {
  RunOptions one = options.run;
  one.set.insert(one.set.end(), set.begin(), set.end());
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "%06zu.qat", run);
  one.output = folderOf(options) / name.data();
  one.showsProgress = false;
  return one;
}

fs::path buildOnce(const RunOptions& options, const fs::path& folder) {
  const FmuFile fmu(options.fmu);
  return buildLibrary(fmu, interfaceForRun(fmu, options), folder);
}

void putRow(Parcel& parcel, const SweepRow& row) {
  parcel.putText(row.status);
  parcel.putText(row.message);
  parcel.put(row.seconds);
  parcel.put(row.lastTime);
  parcel.putArray(std::span<const double>(row.finals));
}

SweepRow takeRow(Parcel& parcel) {
  SweepRow row;
  row.status = parcel.takeText();
  row.message = parcel.takeText();
  row.seconds = parcel.take<double>();
  row.lastTime = parcel.take<double>();
  parcel.takeArray(row.finals);
  return row;
}

RunProcess::RunProcess(std::size_t run, const RunOptions& options, std::pair<Channel, Channel> ends)
    : run_(run), channel_(std::move(ends.first)), process_([&ends, &options] { makeRun(options, ends.second); }) {}

void RunProcess::passOn(int number) {
  if (!isReady_ || std::exchange(isTold_, true)) return;
  process_.signal(number);
}

bool RunProcess::receive(SweepRow& row) {
  Parcel answer;
  const Received received = channel_.receive(answer, kPatience);
  if (received == Received::parcel && !std::exchange(isReady_, true)) return false;
  if (received == Received::timedOut) process_.kill();
  const std::string end = process_.waitForEnd();
  if (received == Received::parcel) {
    row = takeRow(answer);
  } else {
    row.status = "crashed";
    row.message = "the run " + end;
  }
  row.seconds = std::chrono::duration<double>(Clock::now() - start_).count();
  return true;
}

void RunProcesses::wait(std::chrono::milliseconds patience, const std::function<void(std::size_t, SweepRow&)>& onEnd) {
  std::vector<pollfd> waited;
  for (const RunProcess& process : processes_) waited.push_back({process.socket(), POLLIN, 0});
  if (poll(waited.data(), waited.size(), static_cast<int>(patience.count())) <= 0) return;
  auto process = processes_.begin();
  for (const pollfd& one : waited) {
    const auto next = std::next(process);
    SweepRow row;
    if (one.revents != 0 && process->receive(row)) {
      onEnd(process->run(), row);
      processes_.erase(process);
    }
    process = next;
  }
}

void RunProcesses::passOn(int number) {
  for (RunProcess& process : processes_) process.passOn(number);
}

}  // namespace vtio::runner
