// A sample for which there is no memory is dropped by the entry function and counted by the session.
#include "recorders/recorders.h"
#include "tests/allocation/allocation_counter.hpp"
#include "tests/recorders/recording_fixture.hpp"
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

}  // namespace
