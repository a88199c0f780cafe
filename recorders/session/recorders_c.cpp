#include <exception>
#include <stdexcept>
#include <string>

#include "platform/text.hpp"
#include "recorders/session/recorders.h"
#include "recorders/session/recording_session.hpp"
#include "recorders/stream/last_error.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

using vtio::core::accessor::Accessor;
using vtio::core::client::Catalogue;
using vtio::core::utils::SignalDescriptor;
using vtio::recorders::MemoryRecorder;
using vtio::recorders::RecordingSession;
using vtio::recorders::SampleOrder;

struct VtioRecordingSession {
  explicit VtioRecordingSession(Catalogue& catalogue) : session(catalogue) {}
  RecordingSession session;
};

namespace {

void note(const char* function, const char* message) noexcept {
  try {
    vtio::recorders::setLastError(std::string(function) + ": " + message);
  } catch (...) {
    vtio::recorders::setLastError({});
  }
}

// Calls the operation and turns an exception into the value of a failure.
template <typename Result, typename Operation>
Result guarded(const char* function, Result failure, const Operation& operation) noexcept {
  try {
    return operation();
  } catch (const std::exception& error) {
    note(function, error.what());
  } catch (...) {
    note(function, "unknown error");
  }
  return failure;
}

template <typename T>
T& require(T* pointer, const char* what) {
  if (pointer == nullptr) throw std::invalid_argument(std::string("the ") + what + " is null");
  return *pointer;
}

Accessor& accessorOf(void* handle) {
  require(static_cast<char*>(handle), "accessor handle");
  void* accessor = mdlref_simtarget::zetGetPointerFromUniquePtr(handle);
  return require(static_cast<Accessor*>(accessor), "accessor in the handle");
}

MemoryRecorder* attach(VtioRecordingSession* session, const void* descriptor, void* accessor, const char* dataset) {
  RecordingSession& recording = require(session, "session").session;
  const auto& signal = require(static_cast<const SignalDescriptor*>(descriptor), "descriptor");
  Accessor& entry = accessorOf(accessor);
  return recording.attach(signal, entry,
                          dataset != nullptr ? vtu::to_ustring(dataset) : RecordingSession::defaultDataset(signal));
}

SampleOrder sampleOrderOf(int order) {
  switch (order) {
    case VTIO_SAMPLES_ROW_MAJOR:
      return SampleOrder::rowMajor;
    case VTIO_SAMPLES_COLUMN_MAJOR:
      return SampleOrder::columnMajor;
    default:
      throw std::invalid_argument("there is no sample order " + std::to_string(order));
  }
}

template <typename Operation>
int onSession(const char* function, VtioRecordingSession* session, const Operation& operation) noexcept {
  return guarded(function, -1, [&] {
    operation(require(session, "session").session);
    return 0;
  });
}

}  // namespace

VtioRecordingSession* vtioRecordingCreate(void* catalogue) {
  return guarded(__func__, static_cast<VtioRecordingSession*>(nullptr), [catalogue] {
    return new VtioRecordingSession(require(static_cast<Catalogue*>(catalogue), "catalogue"));
  });
}

int vtioRecordingSampleOrder(VtioRecordingSession* session, int order) {
  return onSession(__func__, session, [order](RecordingSession& s) { s.sampleOrder(sampleOrderOf(order)); });
}

void vtioRecordingDestroy(VtioRecordingSession* session) { delete session; }

const void* vtioRecordingLoggingInterval(const VtioRecordingSession* session) {
  return guarded(__func__, static_cast<const void*>(nullptr), [session] {
    return static_cast<const void*>(&require(session, "session").session.loggingInterval());
  });
}

int vtioRecordingAttach(VtioRecordingSession* session, const void* descriptor, void* accessor, const char* dataset) {
  return guarded(__func__, -1, [&] { return attach(session, descriptor, accessor, dataset) != nullptr ? 1 : 0; });
}

int vtioRecordingAttachIteration(VtioRecordingSession* session, const void* descriptor, void* accessor,
                                 unsigned iteration, const char* dataset) {
  return guarded(__func__, -1, [&] {
    MemoryRecorder* recorder = attach(session, descriptor, accessor, dataset);
    if (recorder == nullptr) return 0;
    recorder->foreachIteration(iteration);
    return 1;
  });
}

int vtioRecordingDetach(VtioRecordingSession* session, void* accessor) {
  return onSession(__func__, session, [accessor](RecordingSession& s) { s.detach(accessorOf(accessor)); });
}

int vtioRecordingSave(VtioRecordingSession* session, const char* fileName) {
  return onSession(__func__, session,
                   [fileName](RecordingSession& s) { s.save(std::string(&require(fileName, "file name"))); });
}

int vtioRecordingStreamTo(VtioRecordingSession* session, const char* fileName) {
  return onSession(__func__, session,
                   [fileName](RecordingSession& s) { s.streamTo(std::string(&require(fileName, "file name"))); });
}

int vtioRecordingFlushInterval(VtioRecordingSession* session, double seconds) {
  return onSession(__func__, session, [seconds](RecordingSession& s) { s.flushInterval(seconds); });
}

int vtioRecordingSyncToDisk(VtioRecordingSession* session, int atEachFlush) {
  return onSession(__func__, session, [atEachFlush](RecordingSession& s) { s.syncToDisk(atEachFlush != 0); });
}

int vtioRecordingFlush(VtioRecordingSession* session) {
  return onSession(__func__, session, [](RecordingSession& s) { s.flush(); });
}

unsigned long long vtioRecordingLostSamples(const VtioRecordingSession* session) {
  return guarded(__func__, 0ULL,
                 [session]() -> unsigned long long { return require(session, "session").session.lostSamples(); });
}

int vtioRecordingCaptureSnapshot(VtioRecordingSession* session, int initial) {
  return onSession(__func__, session, [initial](RecordingSession& s) { s.captureSnapshot(initial != 0); });
}

int vtioRecordingRollBack(VtioRecordingSession* session) {
  return onSession(__func__, session, [](RecordingSession& s) { s.rollBack(); });
}

int vtioRecordingReset(VtioRecordingSession* session) {
  return onSession(__func__, session, [](RecordingSession& s) { s.reset(); });
}

int vtioRecordingClearSnapshots(VtioRecordingSession* session) {
  return onSession(__func__, session, [](RecordingSession& s) { s.clearSnapshots(); });
}

int vtioRecordingPopLatestSnapshots(VtioRecordingSession* session, int n) {
  return onSession(__func__, session, [n](RecordingSession& s) { s.popLatestSnapshots(n); });
}

int vtioRecordingPopOldestSnapshots(VtioRecordingSession* session, int n) {
  return onSession(__func__, session, [n](RecordingSession& s) { s.popOldestSnapshots(n); });
}

int vtioRecordingLimitSnapshots(VtioRecordingSession* session, int n) {
  return onSession(__func__, session, [n](RecordingSession& s) { s.limitSnapshots(n); });
}

int vtioRecordingSnapshots(const VtioRecordingSession* session) {
  return guarded(__func__, -1, [session] { return static_cast<int>(require(session, "session").session.snapshots()); });
}

const char* vtioRecordingLastError(void) { return vtio::recorders::lastError().c_str(); }
