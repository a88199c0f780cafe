// Updates and memory: a sample for which there is none is dropped by the entry function and counted by the session; a
// stray takes none.
#include <array>

#include "platform/qat_stream.hpp"
#include "recorders/recorders.h"
#include "tests/allocation/allocation_counter.hpp"
#include "tests/recorders/stream_fixture.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace {

using namespace recording;

TEST(LostSamples, AreCountedAndTheOthersAreRecorded) {
  Catalogue catalogue;
  VtioRecordingSession* session = vtioRecordingCreate(&catalogue);
  const SignalDescriptor& descriptor = catalogue.createSignalDescriptor({.root = leaf(u"x"), .name = u"x"});
  void** accessor = mdlref_simtarget::zetGetAccessor(&descriptor, vtioRecordingLoggingInterval(session));
  ASSERT_EQ(vtioRecordingAttach(session, &descriptor, accessor, nullptr), 1) << vtioRecordingLastError();
  const auto& recorder = dynamic_cast<const MemoryRecorder&>(*catalogue.clientCollection(u"logsout").begin()->second);
  constexpr unsigned kSteps = 3000;
  unsigned failures = 0;
  for (unsigned i = 0; i < kSteps; ++i) {
    const double value = i;
    const auto update = [&] { mdlref_simtarget::zetVtioUpdateAccessor(accessor, 0, value, &value); };
    if (failures == 3) {
      update();
      continue;
    }
    const vtio::test::FailingAllocation failure(0);
    update();
    failures += failure.happened() ? 1 : 0;
  }
  EXPECT_EQ(failures, 3U);
  EXPECT_EQ(vtioRecordingLostSamples(session), failures);
  // The accessor's counter is 0 after a failure: the call that follows one is not delivered.
  EXPECT_EQ(recorder.recordedSamples(), kSteps - 2 * failures);
  mdlref_simtarget::zetDestructAccessorPointer(accessor);
  vtioRecordingDestroy(session);
}

/// A run into a file with a number, a matrix that is not stored as delivered, and a text.
class StrayAllocations : public ::testing::Test {
 protected:
  StrayAllocations() {
    file_.stream(catalogue_);
    session_.sampleOrder(vtio::recorders::SampleOrder::columnMajor);
    session_.flushInterval(1000);
    attach({.root = leaf(u"always"), .name = u"always"});
    attach({.root = leaf(u"number"), .name = u"number"});
    attach({.root = leaf(u"matrix", "int16", {3, 2}), .name = u"matrix"});
    attach({.root = std::make_unique<StringLeafNode>(0, u"text", "zoh", Dims{}, "string", units(), u"", 8, 2),
            .name = u"text"});
  }

  void attach(SignalDescription description) {
    description.blockPath = {u"b"};
    const SignalDescriptor& descriptor = catalogue_.createSignalDescriptor(std::move(description));
    accessors_.push_back(std::make_unique<Scalar>(descriptor, catalogue_.disabledLoggingIntervals()));
    recorders_.push_back(session_.attach(descriptor, *accessors_.back()));
  }

  /// Rows [begin, end), without samples of one signal. Past the accessors, which copy texts.
  /// @return Allocations of all signals but the first one.
  std::size_t run(int begin, int end, std::size_t without = 4) {
    static constexpr std::array<double, 6> kValues{};
    const std::u16string text = u"a text of some length";
    const std::u16string* address = &text;
    std::size_t allocations = 0;
    for (int k = begin; k < end; ++k) {
      const double time = k;
      for (std::size_t i = 0; i < recorders_.size(); ++i) {
        const void* value = i == 3 ? static_cast<const void*>(&address) : kValues.data();
        const std::size_t before = vtio::test::allocationCount();
        if (i != without) recorders_[i]->update(&time, value);
        if (i != 0) allocations += vtio::test::allocationCount() - before;
      }
    }
    return allocations;
  }

  StreamedFile file_;
  Catalogue catalogue_;
  RecordingSession session_{catalogue_};
  std::vector<std::unique_ptr<Scalar>> accessors_;
  std::vector<MemoryRecorder*> recorders_;
};

TEST_F(StrayAllocations, AreNoneWhenTheBuffersHaveBeenFullOnce) {
  run(0, 200);
  session_.flush();
  for (int i = 0; i < 3; ++i) run(200 + i, 201 + i, 1 + static_cast<std::size_t>(i));  // now they have strays
  run(203, 3 * 1024);  // fills the buffers, and writes them to the file
  EXPECT_EQ(run(3 * 1024, 6 * 1024), 0U);
  EXPECT_EQ(session_.streamFailure(), "");
  session_.flush();
  const vtu::QatFileWrapper open(file_.path(), "r");
  const vtu::qxArrayWrapper variable = open.variable(kVariable);
  for (const char* name : {"number", "matrix", "text"}) {
    const qxArray* values = qxGetField(elementOf(variable.get(), name), 0, "Values");
    EXPECT_EQ(qxGetNumberOfElements(qxGetField(values, 0, "Time")), 6U * 1024 - 1) << name;
  }
  EXPECT_TRUE(vtu::isGrowing(file_.path())) << "nothing was closed: the samples are strays";
}

}  // namespace
