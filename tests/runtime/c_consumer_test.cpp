// A target compiled as C describes signals, updates accessors and saves; the clients are attached here.

#include "tests/runtime/c_consumer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/runtime/qalc_support.hpp"
#include "vtio/vtio.hpp"

namespace vtio::testing {
namespace {

using core::accessor::Accessor;
using core::client::Catalogue;
using core::client::Client;
using core::utils::SignalDescriptor;
using ::testing::ElementsAre;

struct Record {
  unsigned long leaf;
  double time;
  std::vector<std::byte> bytes;
};
using Records = std::map<std::u16string, std::vector<Record>>;

// Copies every sample, by the size that the tree gives.
class CopyingClient : public Client {
 public:
  CopyingClient(const SignalDescriptor& descriptor, Records& records)
      : Client(SignalLogging, descriptor), records_(&records[descriptor.signalName()]) {
    for (auto leaf = descriptor.leafNVBusIterator(); *leaf != nullptr; ++leaf) {
      sizes_.push_back((*leaf)->storedSize());
    }
  }
  void update(const double* time, const void* data) override { update(0, time, data); }
  void update(unsigned long leaf, const double* time, const void* data) override {
    const auto* bytes = static_cast<const std::byte*>(data);
    records_->push_back({leaf, *time, {bytes, bytes + sizes_.at(leaf)}});
  }
  vtu::qxArrayWrapper datasetElement() override {
    return vtu::qxArrayWrapper(qxCreateDoubleScalar(static_cast<double>(records_->size())));
  }

 private:
  std::vector<Record>* records_;
  std::vector<std::size_t> sizes_;
};

struct Context {
  Records records;
  std::map<std::u16string, std::string> kinds;
};

const void* loggingInterval(void*, void* catalogue) {
  return &static_cast<Catalogue*>(catalogue)->disabledLoggingIntervals();
}

void subscribe(void* context, void* catalogue, const void* descriptor, void* accessor) {
  auto& state = *static_cast<Context*>(context);
  const auto& signal = *static_cast<const SignalDescriptor*>(descriptor);
  const auto* port = dynamic_cast<const core::utils::InportOutportSignalDescriptor*>(&signal);
  state.kinds[signal.signalName()] =
      port == nullptr ? "signal"
                      : (port->portType() == core::utils::InportOutportSignalDescriptor::inport ? "inport" : "outport");
  auto client = std::make_unique<CopyingClient>(signal, state.records);
  Client& subscriber = *client;
  static_cast<Catalogue*>(catalogue)->addClient(std::move(client), u"logsout");
  static_cast<Accessor*>(accessor)->addClient(subscriber);
}

template <typename Value>
Value read(const Record& record, std::size_t offset = 0) {
  Value value{};
  EXPECT_LE(offset + sizeof value, record.bytes.size());
  std::memcpy(&value, record.bytes.data() + offset, sizeof value);
  return value;
}

class CConsumerTest : public ::testing::Test {
 protected:
  RunReport run(const Configuration& configuration = Configuration()) {
    configuration.write(folder_.file("c.qat"));
    const Environment environment{&context_, loggingInterval, subscribe};
    return runTarget(folder_.file("c.qat").c_str(), results_.c_str(), 5, &environment);
  }

  TemporaryFolder folder_;
  std::string results_ = folder_.file("r.qat");
  Context context_;
};

TEST_F(CConsumerTest, everyStepOfTheRoadWorks) {
  const RunReport report = run();
  EXPECT_EQ(report.gotCatalogue, 1);
  EXPECT_EQ(report.gotDescriptors, 1);
  EXPECT_EQ(report.gotAccessors, 1);
  EXPECT_EQ(report.logsRootOutports, 1);
  EXPECT_EQ(report.catalogueGone, 1);
  EXPECT_EQ(context_.kinds, (std::map<std::u16string, std::string>{{u"scalar", "signal"},
                                                                   {u"bus", "signal"},
                                                                   {u"wheels", "signal"},
                                                                   {u"charge", "inport"},
                                                                   {u"mode", "outport"}}));
}

TEST_F(CConsumerTest, everySampleArrivesWithItsValue) {
  run();
  auto& records = context_.records;
  ASSERT_EQ(records[u"scalar"].size(), 5u);
  ASSERT_EQ(records[u"bus"].size(), 10u);
  ASSERT_EQ(records[u"wheels"].size(), 5u);
  ASSERT_EQ(records[u"charge"].size(), 5u);
  ASSERT_EQ(records[u"mode"].size(), 5u);
  for (std::size_t i = 0; i < 5; ++i) {
    const auto time = static_cast<double>(i);
    EXPECT_EQ(records[u"scalar"][i].time, time);
    EXPECT_EQ(read<double>(records[u"scalar"][i]), 2.0 * time);
    EXPECT_EQ(records[u"bus"][2 * i].leaf, 0u);
    EXPECT_EQ(read<double>(records[u"bus"][2 * i]), time);
    EXPECT_EQ(records[u"bus"][2 * i + 1].leaf, 1u);
    EXPECT_EQ(read<double>(records[u"bus"][2 * i + 1]), -time);
    ASSERT_EQ(records[u"wheels"][i].bytes.size(), 64u);
    EXPECT_EQ(read<double>(records[u"wheels"][i], 3 * 16), time + 3);
    EXPECT_EQ(read<float>(records[u"wheels"][i], 2 * 16 + 8), 2.0f);
    EXPECT_EQ(read<std::int16_t>(records[u"charge"][i]), static_cast<std::int16_t>(10 * i));
    EXPECT_EQ(read<std::int32_t>(records[u"mode"][i]), static_cast<std::int32_t>(i % 2));
  }
}

TEST_F(CConsumerTest, theSelectionDecimatesAndRenames) {
  run(Configuration().set("loggingSelection", makeSelection(1, {{.path = {u"top/ref", u"target/block"},
                                                                 .port = 0,
                                                                 .selector = 2,
                                                                 .customName = u"renamed",
                                                                 .decimation = 2}})
                                                  .release()));
  EXPECT_EQ(context_.records.size(), 1u) << "all five signals leave from the same port";
  EXPECT_EQ(context_.records[u"renamed"].size(), 6u * 3u);
}

TEST_F(CConsumerTest, theResultsAreSaved) {
  run();
  EXPECT_THAT(variableNames(results_), ElementsAre("DATASET_SIGNAL_LOGGING"));
  const vtu::qxArrayWrapper dataset = readVariable(results_, "DATASET_SIGNAL_LOGGING");
  ASSERT_TRUE(dataset);
  const qxArray* inner = qxGetField(dataset.get(), 0, "Dataset");
  EXPECT_EQ(charsOf(qxGetField(inner, 0, "Name")), u"logsout");
  const qxArray* elements = qxGetField(inner, 0, "Elements");
  std::vector<double> counts;
  for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) {
    counts.push_back(qxGetScalar(qxGetCell(elements, i)));
  }
  // Inport order ties at 0: the same path orders all five by name.
  EXPECT_THAT(counts, ElementsAre(10.0, 5.0, 5.0, 5.0, 5.0));
}

TEST_F(CConsumerTest, withoutConfigurationTheTargetDoesNotStart) {
  const Environment environment{&context_, loggingInterval, subscribe};
  const RunReport report = runTarget(folder_.file("missing.qat").c_str(), results_.c_str(), 5, &environment);
  EXPECT_EQ(report.gotCatalogue, 0);
}

}  // namespace
}  // namespace vtio::testing
