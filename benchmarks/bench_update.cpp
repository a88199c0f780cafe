/// @file
/// What an update of clients that do nothing costs, and what calling those clients directly costs.
///
/// The names are what table.py groups by: <way>/signals:S/decimation:D/clients:C/intervals:I and
/// floor_<kind>/signals:S/clients:C. Every one reports nanoseconds for one update ("items") of one signal or leaf; the
/// floor of it is one direct virtual call of each of its clients, every time, whatever the decimation.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>

#include "benchmarks/logged_model.hpp"
#include "benchmarks/no_op_client.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace {

using vtio::benchmarks::LoggedModel;
using vtio::benchmarks::LoggedSignal;
using vtio::core::client::Client;

constexpr unsigned kBusLeaves = 8;
constexpr double kStep = 0.001;

/// Eight intervals with gaps between them, and a disabled one in the first.
smartlog::LoggingInterval someIntervals() {
  std::vector<std::pair<double, double>> closed;
  for (int i = 0; i < 8; ++i) {
    closed.emplace_back(1e6 * i, 1e6 * i + 999'000.0);
  }
  smartlog::LoggingInterval interval = smartlog::LoggingInterval::within(std::move(closed));
  interval.disable(5e5, 5.1e5);
  return interval;
}

/// The model of one run: signals that all have the same number of no-op clients.
struct Setup {
  Setup(unsigned signals, unsigned leaves, unsigned decimation, unsigned clients, bool intervals)
      : model(intervals ? someIntervals() : smartlog::LoggingInterval()), values(leaves == 0 ? 1 : leaves, 1.5) {
    for (unsigned i = 0; i < signals; ++i) {
      const LoggedSignal& signal = leaves == 0 ? model.addScalar(decimation) : model.addVirtualBus(leaves, decimation);
      for (unsigned c = 0; c < clients; ++c) {
        std::unique_ptr<Client> owned = vtio::benchmarks::makeNoOpClient(*signal.descriptor);
        Client* client = owned.get();
        model.catalogue().addClient(std::move(owned), u"logsout");
        signal.accessor->addClient(*client);
        all.push_back(client);
      }
    }
  }

  LoggedModel model;
  std::vector<double> values;
  std::vector<Client*> all;
};

Setup makeSetup(const benchmark::State& state, unsigned leaves) {
  return Setup(static_cast<unsigned>(state.range(0)), leaves, static_cast<unsigned>(state.range(1)),
               static_cast<unsigned>(state.range(2)), state.range(3) != 0);
}

/// Runs step(time) often enough in each iteration for its own cost to be negligible, and reports the updates.
/// @param perSignal Updates of one signal in one step.
template <typename Step>
void run(benchmark::State& state, unsigned perSignal, const Step& step) {
  const std::int64_t stepsPerIteration = 1000 / state.range(0);
  double time = 0;
  for (auto _ : state) {
    for (std::int64_t i = 0; i < stepsPerIteration; ++i) {
      step(time);
      time += kStep;
    }
  }
  state.SetItemsProcessed(state.iterations() * stepsPerIteration * state.range(0) * perSignal);
}

void entryScalar(benchmark::State& state) {
  const Setup setup = makeSetup(state, 0);
  run(state, 1, [&](double time) {
    for (const LoggedSignal& signal : setup.model.signals()) {
      mdlref_simtarget::zetVtioUpdateAccessor(signal.handle, 0, time, setup.values.data());
    }
  });
}

void accessorScalar(benchmark::State& state) {
  const Setup setup = makeSetup(state, 0);
  run(state, 1, [&](double time) {
    for (const LoggedSignal& signal : setup.model.signals()) {
      signal.accessor->update(&time, setup.values.data(), 0);
    }
  });
}

void entryBus(benchmark::State& state) {
  const Setup setup = makeSetup(state, kBusLeaves);
  run(state, kBusLeaves, [&](double time) {
    for (const LoggedSignal& signal : setup.model.signals()) {
      for (unsigned leaf = 0; leaf < kBusLeaves; ++leaf) {
        mdlref_simtarget::zetVtioUpdateAccessor(signal.handle, leaf, time, &setup.values[leaf]);
      }
    }
  });
}

void accessorBus(benchmark::State& state) {
  const Setup setup = makeSetup(state, kBusLeaves);
  run(state, kBusLeaves, [&](double time) {
    for (const LoggedSignal& signal : setup.model.signals()) {
      for (unsigned leaf = 0; leaf < kBusLeaves; ++leaf) {
        signal.accessor->update(&time, &setup.values[leaf], leaf);
      }
    }
  });
}

void floorScalar(benchmark::State& state) {
  const Setup setup(static_cast<unsigned>(state.range(0)), 0, 1, static_cast<unsigned>(state.range(1)), false);
  run(state, 1, [&](double time) {
    for (Client* client : setup.all) {
      client->update(&time, setup.values.data());
    }
  });
}

void floorBus(benchmark::State& state) {
  const Setup setup(static_cast<unsigned>(state.range(0)), kBusLeaves, 1, static_cast<unsigned>(state.range(1)), false);
  run(state, kBusLeaves, [&](double time) {
    for (Client* client : setup.all) {
      for (unsigned leaf = 0; leaf < kBusLeaves; ++leaf) {
        client->update(leaf, &time, &setup.values[leaf]);
      }
    }
  });
}

void everyCase(benchmark::internal::Benchmark* way) {
  way->ArgNames({"signals", "decimation", "clients", "intervals"});
  way->ArgsProduct({{1, 1000}, {1, 10}, {1, 4}, {0, 1}});
}

void everyFloor(benchmark::internal::Benchmark* floor) {
  floor->ArgNames({"signals", "clients"});
  floor->ArgsProduct({{1, 1000}, {1, 4}});
}

BENCHMARK(floorScalar)->Apply(everyFloor);
BENCHMARK(entryScalar)->Apply(everyCase);
BENCHMARK(accessorScalar)->Apply(everyCase);
BENCHMARK(floorBus)->Apply(everyFloor);
BENCHMARK(entryBus)->Apply(everyCase);
BENCHMARK(accessorBus)->Apply(everyCase);

}  // namespace

BENCHMARK_MAIN();
