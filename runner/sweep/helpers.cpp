#include "runner/sweep/helpers.hpp"

#include <csignal>
#include <cstdint>
#include <optional>
#include <utility>

#include "runner/archive/temporary_folder.hpp"
#include "runner/run/interrupt.hpp"
#include "runner/sweep/sweep_runs.hpp"

namespace vtio::runner {
namespace {

enum class Order : std::uint8_t { make, stop };
enum class Answer : std::uint8_t { ready, row };

// In a helper.
class Helper {
 public:
  Helper(const SweepOptions& options, Ranks& ranks) : options_(options), ranks_(ranks) {}

  void run() {
    Parcel ready;
    ready.put(Answer::ready);
    for (std::size_t i = 0; i < options_.jobs; ++i) ranks_.send(0, ready);
    while (!isStopped_ || processes_.count() > 0) {
      takeOrders();
      if (isStopped_ || InterruptGuard::received() != 0) processes_.passOn(SIGTERM);
      processes_.wait(kBetweenLooks, [this](std::size_t run, const SweepRow& row) { answer(run, row); });
    }
  }

 private:
  void takeOrders() {
    int from = 0;
    Parcel order;
    while (ranks_.receive(from, order)) {
      if (order.take<Order>() == Order::stop) {
        isStopped_ = true;
        continue;
      }
      const auto run = order.take<std::size_t>();
      std::vector<std::string> set(order.take<std::size_t>());
      for (std::string& one : set) one = order.takeText();
      processes_.start(run, optionsOfRun(options_, run, set));
    }
  }

  void answer(std::size_t run, const SweepRow& row) {
    Parcel parcel;
    parcel.put(Answer::row);
    parcel.put(run);
    parcel.put(InterruptGuard::received() == 0);  // whether it takes another run
    putRow(parcel, row);
    ranks_.send(0, parcel);
  }

  const SweepOptions& options_;
  Ranks& ranks_;
  RunProcesses processes_;
  bool isStopped_ = false;
};

}  // namespace

void Helpers::make(std::size_t run, const std::vector<std::string>& set) {
  Parcel order;
  order.put(Order::make);
  order.put(run);
  order.put(set.size());
  for (const std::string& one : set) order.putText(one);
  ranks_->send(idle_.front(), order);
  idle_.pop_front();
  ++busy_;
}

void Helpers::receive(const std::function<void(std::size_t, SweepRow&)>& onEnd) {
  int from = 0;
  Parcel answer;
  while (ranks_ != nullptr && ranks_->receive(from, answer)) {
    if (answer.take<Answer>() == Answer::ready) {
      idle_.push_back(from);
      continue;
    }
    const auto run = answer.take<std::size_t>();
    if (answer.take<bool>()) idle_.push_back(from);
    SweepRow row = takeRow(answer);
    --busy_;
    onEnd(run, row);
  }
}

void Helpers::stop() {
  if (ranks_ == nullptr || std::exchange(hasStopped_, true)) return;
  Parcel order;
  order.put(Order::stop);
  for (int rank = 1; rank < ranks_->size(); ++rank) ranks_->send(rank, order);
}

void helpSweep(const SweepOptions& options, Ranks& ranks) {
  SweepOptions chosen = options;
  std::optional<TemporaryFolder> built;
  if (chosen.run.build) chosen.run.library = buildOnce(options.run, built.emplace().path());
  Helper(chosen, ranks).run();
}

}  // namespace vtio::runner
