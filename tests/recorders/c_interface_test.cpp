// recorders.h: what a C target can call, and the errors that it gets.
#include "recorders/recorders.h"
#include "tests/recorders/c_consumer.h"
#include "tests/recorders/recording_fixture.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace {

using namespace recording;

const qxArray* onlyElement(const vtu::qxArrayWrapper& dataset) {
  const qxArray* elements = field(field(dataset.get(), "Dataset"), "Elements");
  if (qxGetNumberOfElements(elements) != 1) throw std::runtime_error("not one element");
  return qxGetCell(elements, 0);
}

TEST(CInterface, RecordsAndStepsBack) {
  Catalogue catalogue;
  ASSERT_EQ(consumeRecord(&catalogue), 0) << vtioRecordingLastError();
  const vtu::qxArrayWrapper dataset = catalogue.datasetArray(u"from C");
  EXPECT_EQ(numbers<double>(field(field(onlyElement(dataset), "Values"), "Data")),
            (std::vector<double>{0, 1, 2, 3, 4, 50}));
}

TEST(CInterface, MergesIterations) {
  Catalogue catalogue;
  ASSERT_EQ(consumeForEach(&catalogue), 0) << vtioRecordingLastError();
  const vtu::qxArrayWrapper dataset = catalogue.datasetArray(u"logsout");
  const qxArray* element = onlyElement(dataset);
  EXPECT_EQ(numbers<std::uint64_t>(field(field(element, "ForEach"), "Iteration")), (std::vector<std::uint64_t>{0, 1}));
  EXPECT_EQ(numbers<double>(field(qxGetCell(field(element, "Values"), 1), "Data")), std::vector<double>{1.0});
}

TEST(CInterface, TakesMatricesInTheOrderThatIsSet) {
  Catalogue catalogue;
  ASSERT_EQ(consumeSampleOrder(&catalogue), 0) << vtioRecordingLastError();
  const vtu::qxArrayWrapper dataset = catalogue.datasetArray(u"matrices");
  const qxArray* elements = field(field(dataset.get(), "Dataset"), "Elements");
  const auto data = [elements](std::size_t i) {
    return numbers<double>(field(field(qxGetCell(elements, i), "Values"), "Data"));
  };
  EXPECT_EQ(data(0), (std::vector<double>{1, 2, 3, 4, 5, 6})) << "the element 'columns'";
  EXPECT_EQ(data(1), (std::vector<double>{1, 4, 2, 5, 3, 6})) << "the element 'rows'";
}

TEST(CInterface, CommandsReachEverySnapshot) {
  Catalogue catalogue;
  EXPECT_EQ(consumeAllCommands(&catalogue), 0) << vtioRecordingLastError();
}

TEST(CInterface, NullsAreFailuresWithAReason) {
  EXPECT_EQ(vtioRecordingCreate(nullptr), nullptr);
  EXPECT_STREQ(vtioRecordingLastError(), "vtioRecordingCreate: the catalogue is null");
  EXPECT_EQ(vtioRecordingLoggingInterval(nullptr), nullptr);
  EXPECT_STREQ(vtioRecordingLastError(), "vtioRecordingLoggingInterval: the session is null");
  EXPECT_EQ(vtioRecordingRollBack(nullptr), -1);
  EXPECT_EQ(vtioRecordingSnapshots(nullptr), -1);
  vtioRecordingDestroy(nullptr);

  Catalogue catalogue;
  VtioRecordingSession* session = vtioRecordingCreate(&catalogue);
  EXPECT_EQ(vtioRecordingAttach(session, nullptr, nullptr, nullptr), -1);
  EXPECT_STREQ(vtioRecordingLastError(), "vtioRecordingAttach: the descriptor is null");
  const SignalDescriptor& descriptor =
      catalogue.createSignalDescriptor(leaf(u"x"), 1, 0, 1, u"x", u"", pathOf(u"m/b"), 0);
  EXPECT_EQ(vtioRecordingAttach(session, &descriptor, nullptr, nullptr), -1);
  EXPECT_STREQ(vtioRecordingLastError(), "vtioRecordingAttach: the accessor handle is null");
  EXPECT_EQ(vtioRecordingRollBack(session), -1);
  EXPECT_STREQ(vtioRecordingLastError(), "vtioRecordingRollBack: Cannot roll back: no snapshot was taken");
  EXPECT_EQ(vtioRecordingReset(session), -1);
  EXPECT_EQ(vtioRecordingSampleOrder(session, 2), -1);
  EXPECT_STREQ(vtioRecordingLastError(), "vtioRecordingSampleOrder: there is no sample order 2");
  EXPECT_EQ(vtioRecordingSampleOrder(nullptr, VTIO_SAMPLES_ROW_MAJOR), -1);
  EXPECT_EQ(vtioRecordingDetach(session, nullptr), -1);
  vtioRecordingDestroy(session);
}

TEST(CInterface, LoggingIntervalIsTheCataloguesOwn) {
  Catalogue catalogue;
  VtioRecordingSession* session = vtioRecordingCreate(&catalogue);
  EXPECT_EQ(vtioRecordingLoggingInterval(session), &catalogue.disabledLoggingIntervals());
  vtioRecordingDestroy(session);
}

TEST(CInterface, SwitchedOffSignalGivesZero) {
  Catalogue catalogue;
  vtu::qxStructWrapper selection({"default", "signals"});
  selection.set("default", vtu::qxArrayWrapper(qxCreateDoubleScalar(0)));
  selection.set("signals", vtu::qxCellArrayWrapper(1, 0));
  catalogue.setModelLoggingInfo(selection.get());
  VtioRecordingSession* session = vtioRecordingCreate(&catalogue);
  const SignalDescriptor& descriptor =
      catalogue.createSignalDescriptor(leaf(u"x"), 1, 0, 1, u"x", u"", pathOf(u"m/b"), 0);
  void** accessor = mdlref_simtarget::zetGetAccessor(&descriptor, vtioRecordingLoggingInterval(session));
  EXPECT_EQ(vtioRecordingAttach(session, &descriptor, accessor, nullptr), 0);
  EXPECT_EQ(vtioRecordingAttachIteration(session, &descriptor, accessor, 1, nullptr), 0);
  mdlref_simtarget::zetDestructAccessorPointer(accessor);
  vtioRecordingDestroy(session);
}

}  // namespace
