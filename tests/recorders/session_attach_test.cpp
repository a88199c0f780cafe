// What attaching checks, its state after a failure, and from when on an accessor that was used before records.
#include <stdexcept>
#include <string>

#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

/// Fails when it is asked to.
class OtherClient final : public Client {
 public:
  explicit OtherClient(const SignalDescriptor& descriptor, clientType type = SignalLogging)
      : Client(type, descriptor) {}
  void update(const double* time, const void*) override { times.push_back(*time); }
  void update(unsigned long, const double* time, const void*) override { times.push_back(*time); }
  vtu::qxArrayWrapper datasetElement() override { return vtu::qxArrayWrapper(qxCreateDoubleScalar(1)); }
  std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface() override {
    return std::make_unique<vtsim::DefaultSnapshotInterface<Handler>>(std::make_unique<Handler>(*this));
  }
  std::vector<double> times;

 private:
  struct Handler : vtsim::SnapshotHandler<std::vector<double>> {
    using Element = std::vector<double>;
    explicit Handler(OtherClient& c) : client(c) {}
    std::unique_ptr<Element> captureSnapshot() override { return std::make_unique<Element>(client.times); }
    void rollBack(Element& element) override { client.times = element; }
    void reset(Element& element) override { client.times = element; }
    OtherClient& client;
  };
};

class SessionAttach : public Recording {
 protected:
  static std::vector<double> timesOf(MemoryRecorder& recorder) {
    const vtu::qxArrayWrapper element = recorder.datasetElement();
    return numbers<double>(values(element, "Time"));
  }

  void overrideDecimation(double decimation) {
    vtu::qxStructWrapper signal({"blockPath", "port", "selector", "decimation"});
    signal.set("blockPath", vtu::qxArrayWrapper(qxCreateString("model/block")));
    signal.set("port", vtu::qxArrayWrapper(qxCreateDoubleScalar(0)));
    signal.set("selector", vtu::qxArrayWrapper(qxCreateDoubleScalar(2)));
    signal.set("decimation", vtu::qxArrayWrapper(qxCreateDoubleScalar(decimation)));
    vtu::qxCellArrayWrapper signals(1, 1);
    signals.set(0, std::move(signal));
    vtu::qxStructWrapper selection({"signals"});
    selection.set("signals", std::move(signals));
    catalogue_.setModelLoggingInfo(selection.get());
  }

  /// The message of the exception that attaching ends in.
  std::string refusal(const SignalDescriptor& descriptor, Accessor& accessor, const vtu::ustring& dataset) {
    try {
      session_.attach(descriptor, accessor, dataset);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "accepted";
  }

  void expectNothingLeft(const Accessor& accessor) {
    EXPECT_TRUE(catalogue_.empty());
    EXPECT_TRUE(catalogue_.snapshotInterfaces().empty());
    EXPECT_FALSE(accessor.hasSubscribedClients());
  }
};

TEST_F(SessionAttach, UsedAccessorRecordsFromTheNextDueSampleOnWhateverTheDecimations) {
  for (unsigned long before = 1; before <= 6; ++before) {
    for (unsigned long now = 1; now <= 6; ++now) {
      for (int used = 0; used <= 8; ++used) {
        const SignalDescriptor& descriptor = describe(leaf(u"x"), 0, before);
        const auto accessor = access(descriptor);
        const double value = 1.0;
        for (int i = 0; i < used; ++i) {
          const double time = i - used;
          accessor->update(&time, &value, 0);
        }
        overrideDecimation(static_cast<double>(now));
        MemoryRecorder* recorder = session_.attach(descriptor, *accessor);
        ASSERT_NE(recorder, nullptr);
        for (int i = 0; i < 20; ++i) {
          const double time = i;
          accessor->update(&time, &value, 0);
        }
        // Due: d calls after the last delivery, that is at once if more have passed or none was ever made.
        const auto since = static_cast<unsigned long>(used == 0 ? 0 : (used - 1) % static_cast<int>(before) + 1);
        const bool isDue = used == 0 || since == before || since >= now;
        const auto first = static_cast<double>(isDue ? 0 : now - since);
        std::vector<double> expected;
        for (double time = first; time < 20; time += static_cast<double>(now)) expected.push_back(time);
        EXPECT_EQ(timesOf(*recorder), expected) << before << " to " << now << " after " << used << " calls";
      }
    }
  }
}

TEST_F(SessionAttach, EachLeafOfAUsedBusRecordsFromItsNextDueSampleOn) {
  const SignalDescriptor& descriptor = describe(with(topBus(u"b"), leaf(u"x"), leaf(u"y")), 0, 5);
  const auto accessor = access(descriptor);
  const double value = 1.0;
  const auto step = [&](double time, unsigned long position) { accessor->update(&time, &value, position); };
  for (int i = 0; i < 4; ++i) step(i, 0);  // the counter of x is at 4, y was never used
  overrideDecimation(2);
  MemoryRecorder* recorder = session_.attach(descriptor, *accessor);
  for (int i = 10; i < 14; ++i) {
    step(i, 0);
    step(i, 1);
  }
  const vtu::qxArrayWrapper element = recorder->datasetElement();
  EXPECT_EQ(numbers<double>(values(element, "x", "Time")), (std::vector<double>{10, 12}));
  EXPECT_EQ(numbers<double>(values(element, "y", "Time")), (std::vector<double>{10, 12}));
}

TEST_F(SessionAttach, DecimationZeroIsRefused) {
  const SignalDescriptor& descriptor = describe(leaf(u"x"), 0, 0);
  const auto accessor = access(descriptor);
  EXPECT_EQ(refusal(descriptor, *accessor, u"logsout"),
            "Cannot record the signal 'signal': its decimation is 0; 1 records every sample");
  expectNothingLeft(*accessor);
}

TEST_F(SessionAttach, SecondTimeIsRefusedAndLeavesOneRecorder) {
  const Recorded r = record(leaf(u"x"));
  const auto another = access(*r.descriptor);
  EXPECT_EQ(refusal(*r.descriptor, *r.accessor, u"logsout"),
            "Cannot record the signal 'signal': it is recorded already");
  EXPECT_EQ(refusal(*r.descriptor, *another, u"logsout"), "Cannot record the signal 'signal': it is recorded already");
  EXPECT_EQ(r.accessor->clients().size(), 1U);
  EXPECT_FALSE(another->hasSubscribedClients());
  EXPECT_EQ(catalogue_.clientCollection(u"logsout").size(), 1U);
  EXPECT_EQ(catalogue_.snapshotInterfaces().size(), 1U);
}

TEST_F(SessionAttach, SignalWhoseRecorderWasDeletedIsRecordedAgain) {
  Recorded r = record(leaf(u"x"));
  r.accessor->removeClient(*r.recorder);
  catalogue_.deleteClient(*r.recorder);
  r.recorder = session_.attach(*r.descriptor, *r.accessor);
  r.add(1.0, 2.0);
  EXPECT_EQ(timesOf(*r.recorder), std::vector<double>{1.0});
}

TEST_F(SessionAttach, SecondDatasetOfOneTypeIsRefused) {
  const Recorded first = record(leaf(u"x"));
  const SignalDescriptor& second = describe(leaf(u"y"), 0, 1, u"second");
  const auto accessor = access(second);
  EXPECT_EQ(refusal(second, *accessor, u"mine"),
            "Cannot record the signal 'second': the dataset 'mine' would be saved as the variable "
            "'DATASET_SIGNAL_LOGGING', which is the dataset 'logsout'");
  EXPECT_FALSE(catalogue_.hasDataset(u"mine"));
  EXPECT_FALSE(accessor->hasSubscribedClients());
  EXPECT_NE(session_.attach(second, *accessor, u"logsout"), nullptr);
}

TEST_F(SessionAttach, DatasetIsKnownByTheTypeOfItsFirstClient) {
  const SignalDescriptor& port = catalogue_.createSignalDescriptor(
      {.root = leaf(u"p"), .name = u"port", .blockPath = {u"m/Out"}, .kind = SignalDescription::Kind::outport});
  const auto portAccessor = access(port);
  ASSERT_NE(session_.attach(port, *portAccessor, u"all"), nullptr);
  const SignalDescriptor& ordinary = describe(leaf(u"x"));
  const auto accessor = access(ordinary);
  EXPECT_NE(session_.attach(ordinary, *accessor, u"all"), nullptr) << "joins the dataset of the outport";
  const SignalDescriptor& other = describe(leaf(u"y"));
  const auto otherAccessor = access(other);
  EXPECT_NE(session_.attach(other, *otherAccessor, u"logsout"), nullptr) << "is saved under another variable";
}

TEST_F(SessionAttach, DatasetWithoutANameIsRefused) {
  const SignalDescriptor& descriptor = describe(leaf(u"x"));
  const auto accessor = access(descriptor);
  EXPECT_EQ(refusal(descriptor, *accessor, u""),
            "Cannot record the signal 'signal': its dataset has no name and would not be saved");
  expectNothingLeft(*accessor);
}

/// An accessor of another library that accepts no clients.
class Unwilling final : public Scalar {
 public:
  using Scalar::Scalar;
  void addClient(Client& client) override {
    if (!isWilling) throw std::runtime_error("takes no clients");
    Scalar::addClient(client);
  }
  bool isWilling = false;
};

TEST_F(SessionAttach, FailureAtTheLastStepLeavesNothingBehind) {
  for (const bool withSnapshots : {false, true}) {
    const SignalDescriptor& descriptor = describe(leaf(u"x"));
    Unwilling accessor(descriptor, session_.loggingInterval());
    EXPECT_THROW(session_.attach(descriptor, accessor), std::runtime_error);
    expectNothingLeft(accessor);
    session_.captureSnapshot(withSnapshots);
    session_.captureSnapshot(false);
    session_.rollBack();
  }
  const SignalDescriptor& descriptor = describe(leaf(u"x"));
  Unwilling accessor(descriptor, session_.loggingInterval());
  EXPECT_THROW(session_.attach(descriptor, accessor), std::runtime_error);
  accessor.isWilling = true;
  MemoryRecorder* recorder = session_.attach(descriptor, accessor);
  const double time = 3;
  accessor.update(&time, &time, 0);
  EXPECT_EQ(timesOf(*recorder), std::vector<double>{3});
  session_.rollBack();
  EXPECT_TRUE(timesOf(*recorder).empty());
}

TEST_F(SessionAttach, FailureKeepsADatasetThatWasThereBefore) {
  catalogue_.registerDataset(u"logsout");
  const SignalDescriptor& descriptor = describe(leaf(u"x"));
  Unwilling accessor(descriptor, session_.loggingInterval());
  EXPECT_THROW(session_.attach(descriptor, accessor), std::runtime_error);
  EXPECT_TRUE(catalogue_.hasDataset(u"logsout"));
}

TEST_F(SessionAttach, ClientAddedPastTheSessionStepsBackWithIt) {
  Recorded r = record(leaf(u"x"));
  session_.captureSnapshot(true);
  session_.captureSnapshot(false);
  auto owned = std::make_unique<OtherClient>(*r.descriptor);
  OtherClient& other = *owned;
  catalogue_.addClient(std::move(owned), u"logsout");
  r.accessor->addClient(other);
  r.add(0.0, 1.0);
  session_.rollBack();  // the client has no snapshot of that time: it stays as it is
  EXPECT_EQ(other.times, std::vector<double>{0.0});
  EXPECT_TRUE(timesOf(*r.recorder).empty());
  r.add(1.0, 1.0);
  session_.captureSnapshot(false);
  r.add(2.0, 1.0);
  session_.rollBack();
  EXPECT_EQ(other.times, (std::vector<double>{0.0, 1.0}));
  session_.reset();
  EXPECT_EQ(other.times, std::vector<double>{0.0});
  session_.popLatestSnapshots(2);
  EXPECT_EQ(session_.snapshots(), 0U);
}

/// Fails at the n-th snapshot.
class FailingSnapshots final : public vtsim::SnapshotInterface {
 public:
  explicit FailingSnapshots(int& balance) : balance_(balance) {}
  void captureSnapshot(bool) override {
    if (balance_ == 1) throw std::runtime_error("no memory");
    ++balance_;
  }
  void rollBack() override {}
  void reset() override {}
  void clear() override {}
  void popLatest(int n) override { balance_ -= n; }
  void popOldest(int) override {}
  void size(int) override {}

 private:
  int& balance_;
};

TEST_F(SessionAttach, SnapshotThatFailsHalfWayIsNoSnapshot) {
  Recorded first = record(leaf(u"x"));
  int balance = 0;
  catalogue_.snapshotInterfaces().push_back(std::make_unique<FailingSnapshots>(balance));
  first.add(0.0, 1.0);
  session_.captureSnapshot(false);
  first.add(1.0, 1.0);
  EXPECT_THROW(session_.captureSnapshot(false), std::runtime_error);
  EXPECT_EQ(session_.snapshots(), 1U);
  session_.rollBack();
  EXPECT_EQ(timesOf(*first.recorder), std::vector<double>{0.0});
  EXPECT_EQ(balance, 1);
}

TEST_F(SessionAttach, SamplesOfLeavesThatThereAreNotAreCountedAsLost) {
  Recorded r = record(leaf(u"x"));
  const double time = 1.0;
  EXPECT_EQ(session_.lostSamples(), 0U);
  EXPECT_THROW(r.recorder->update(7, &time, &time), std::out_of_range);
  r.add(1.0, 2.0);
  EXPECT_EQ(session_.lostSamples(), 1U);
  catalogue_.deleteClient(*r.recorder);
  EXPECT_EQ(session_.lostSamples(), 0U);
}

}  // namespace
