// Attaching in one call, and stepping everything back together.
#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

class Session : public Recording {
 protected:
  std::vector<double> dataOf(const Recorded& r) { return numbers<double>(values(r.element(), "Data")); }

  void select(const char* fieldName, double value, int selector) {
    vtu::qxStructWrapper signal({"blockPath", "port", "selector", fieldName});
    signal.set("blockPath", vtu::qxArrayWrapper(qxCreateString("model/block")));
    signal.set("port", vtu::qxArrayWrapper(qxCreateDoubleScalar(0)));
    signal.set("selector", vtu::qxArrayWrapper(qxCreateDoubleScalar(selector)));
    signal.set(fieldName, vtu::qxArrayWrapper(qxCreateDoubleScalar(value)));
    vtu::qxCellArrayWrapper signals(1, 1);
    signals.set(0, std::move(signal));
    vtu::qxStructWrapper selection({"signals"});
    selection.set("signals", std::move(signals));
    catalogue_.setModelLoggingInfo(selection.get());
  }
};

TEST_F(Session, DatasetsByDefault) {
  Recorded ordinary = record(leaf(u"x"));
  Recorded port;
  port.descriptor = &catalogue_.createSignalDescriptor(leaf(u"y"), 1, InportOutportSignalDescriptor::outport, 0, 1,
                                                       u"y", u"", pathOf(u"m/Out"), 0);
  port.accessor = access(*port.descriptor);
  port.recorder = session_.attach(*port.descriptor, *port.accessor);
  EXPECT_EQ(catalogue_.clientCollection(u"logsout").size(), 1U);
  EXPECT_EQ(catalogue_.clientCollection(u"yout").size(), 1U);
  EXPECT_EQ(port.recorder->type(), Client::OutportLogging);
  EXPECT_TRUE(ordinary.accessor->hasSubscribedClients());
}

TEST_F(Session, DatasetByName) {
  const SignalDescriptor& descriptor = describe(leaf(u"x"));
  const auto accessor = access(descriptor);
  ASSERT_NE(session_.attach(descriptor, *accessor, u"mine"), nullptr);
  EXPECT_TRUE(catalogue_.hasDataset(u"mine"));
  EXPECT_FALSE(catalogue_.hasDataset(u"logsout"));
}

TEST_F(Session, SignalSwitchedOffIsNotRecorded) {
  select("maxPoints", 5, 0);
  Recorded r = record(leaf(u"x"));
  EXPECT_EQ(r.recorder, nullptr);
  EXPECT_FALSE(r.accessor->hasSubscribedClients());
  EXPECT_FALSE(catalogue_.hasDataset(u"logsout"));
}

TEST_F(Session, OverriddenLimitIsApplied) {
  select("maxPoints", 5, 2);
  Recorded r = record(leaf(u"x"));
  for (int i = 0; i < 8; ++i) r.add(i, 1.0 * i);
  EXPECT_EQ(dataOf(r), (std::vector<double>{3, 4, 5, 6, 7}));
}

TEST_F(Session, AccessorMadeBeforeTheOverrideFollowsItsDecimation) {
  select("decimation", 3, 2);
  Recorded slower = record(leaf(u"x"));                             // made with decimation 1
  Recorded busLeaf = record(with(topBus(u"b"), leaf(u"x")), 0, 7);  // made with decimation 7
  for (int i = 0; i < 8; ++i) {
    slower.add(i, 1.0 * i);
    busLeaf.add(i, 1.0 * i);
  }
  EXPECT_EQ(dataOf(slower), (std::vector<double>{0, 3, 6}));
  EXPECT_EQ(numbers<double>(values(busLeaf.element(), "x", "Data")), (std::vector<double>{0, 3, 6}));
}

TEST_F(Session, AccessorOfAnotherSignalIsRefused) {
  const SignalDescriptor& one = describe(leaf(u"x"));
  const SignalDescriptor& other = describe(leaf(u"y"), 0, 1, u"other");
  const auto accessor = access(other);
  EXPECT_THROW(session_.attach(one, *accessor), std::invalid_argument);
  EXPECT_TRUE(catalogue_.empty());
}

TEST_F(Session, RollBackRestoresDataAndDecimation) {
  Recorded r = record(leaf(u"x"), 0, 2);
  for (int i = 0; i < 3; ++i) r.add(i, 1.0 * i);
  session_.captureSnapshot(false);
  for (int i = 3; i < 6; ++i) r.add(i, -1.0);
  session_.rollBack();
  for (int i = 3; i < 6; ++i) r.add(i, 1.0 * i);
  EXPECT_EQ(dataOf(r), (std::vector<double>{0, 2, 4}));
}

TEST_F(Session, SnapshotsAreCountedAndDropped) {
  Recorded r = record(leaf(u"x"));
  session_.captureSnapshot(true);
  for (int i = 0; i < 5; ++i) {
    r.add(i, 1.0 * i);
    session_.captureSnapshot(false);
  }
  EXPECT_EQ(session_.snapshots(), 5U);
  session_.popLatestSnapshots(1);
  session_.rollBack();
  EXPECT_EQ(dataOf(r), (std::vector<double>{0, 1, 2, 3}));
  session_.popOldestSnapshots(1);
  EXPECT_EQ(session_.snapshots(), 3U);
  session_.limitSnapshots(2);
  EXPECT_EQ(session_.snapshots(), 2U);
  session_.popLatestSnapshots(1);
  session_.rollBack();
  EXPECT_EQ(dataOf(r), (std::vector<double>{0, 1, 2}));
  session_.popLatestSnapshots(-1);
  session_.popOldestSnapshots(9);
  EXPECT_EQ(session_.snapshots(), 0U);
  session_.reset();
  EXPECT_TRUE(dataOf(r).empty());
  session_.clearSnapshots();
  session_.reset();
}

TEST_F(Session, WithoutSnapshotsThereIsNoWayBack) {
  EXPECT_THROW(session_.rollBack(), std::logic_error);
  EXPECT_THROW(session_.reset(), std::logic_error);
  session_.captureSnapshot(false);
  session_.clearSnapshots();
  EXPECT_THROW(session_.rollBack(), std::logic_error);
}

TEST_F(Session, SignalAttachedLateStepsBackToItsBeginning) {
  session_.captureSnapshot(true);
  session_.captureSnapshot(false);
  Recorded r = record(leaf(u"x"));
  r.add(0.0, 1.0);
  session_.rollBack();
  EXPECT_TRUE(dataOf(r).empty());
  r.add(0.0, 2.0);
  session_.reset();
  EXPECT_TRUE(dataOf(r).empty());
}

TEST_F(Session, DetachedAccessorMayGo) {
  Recorded r = record(leaf(u"x"));
  r.add(0.0, 1.0);
  session_.captureSnapshot(false);
  session_.detach(*r.accessor);
  r.accessor.reset();
  session_.rollBack();
  EXPECT_EQ(dataOf(r), std::vector<double>{1.0});
}

TEST_F(Session, SnapshotsOfADeletedRecorderDoNothing) {
  Recorded r = record(leaf(u"x"));
  session_.captureSnapshot(false);
  r.accessor->removeClient(*r.recorder);
  catalogue_.deleteClient(*r.recorder);
  session_.captureSnapshot(false);
  session_.rollBack();
  EXPECT_TRUE(catalogue_.clientCollection(u"logsout").empty());
}

TEST_F(Session, RecordersThatTakeThePlaceOfDeletedOnesBeginAnew) {
  std::vector<Recorded> signals;
  const auto remove = [this](Recorded& r) {
    r.accessor->removeClient(*r.recorder);
    catalogue_.deleteClient(*r.recorder);
  };
  for (int i = 0; i < 300; ++i) {
    signals.push_back(record(leaf(u"x", i % 2 == 0 ? "double" : "int32")));
    signals.back().add(0.0, 1.0 + i);
  }
  for (std::size_t i = 0; i < 300; i += 3) {
    remove(signals[i]);
    signals[i] = record(leaf(u"x"));
    EXPECT_TRUE(dataOf(signals[i]).empty());
  }
  for (int step = 1; step < 300; ++step) {
    for (std::size_t i = 0; i < 300; i += 3) signals[i].add(step, static_cast<double>(i) + step);
  }
  for (std::size_t i = 0; i < 300; i += 3) {
    ASSERT_EQ(signals[i].recorder->heldSamples(), 299U);
    EXPECT_EQ(dataOf(signals[i]).back(), static_cast<double>(i) + 299);
  }
  for (std::size_t i = 2; i < 300; i += 6)
    EXPECT_EQ(dataOf(signals[i]), std::vector<double>{1.0 + static_cast<double>(i)});
}

TEST(SessionLifetime, SessionMayGoBeforeOrAfterTheCatalogue) {
  auto catalogue = std::make_unique<Catalogue>();
  auto session = std::make_unique<RecordingSession>(*catalogue);
  const SignalDescriptor& descriptor =
      catalogue->createSignalDescriptor(leaf(u"x"), 1, 0, 1, u"x", u"", pathOf(u"m/b"), 0);
  auto accessor = std::make_unique<Scalar>(descriptor, session->loggingInterval());
  MemoryRecorder* recorder = session->attach(descriptor, *accessor);
  session->captureSnapshot(false);
  auto second = std::make_unique<RecordingSession>(*catalogue);
  session.reset();
  const double time = 1.0;
  accessor->update(&time, &time, 0);
  EXPECT_EQ(recorder->heldSamples(), 1U);
  accessor.reset();
  catalogue.reset();
  second.reset();
}

}  // namespace
