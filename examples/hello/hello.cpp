// Logs a sine wave from C++, and writes the configuration that hello.c starts from: hello_cpp CONFIG.qat RESULTS.qat
#include <cmath>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "recorders/recording_session.hpp"
#include "vtio/vtio.hpp"

/// The six switches that a catalogue reads; the same file may hold a logging selection.
bool writeConfiguration(const char* name) {
  QatFile* file = qatOpen(name, "w");
  const auto put = [file](const char* variable, qxArray* array) {
    const vtu::qxArrayWrapper value(array);
    return qatPutVariable(file, variable, value.get()) == 0;
  };
  const bool put6 = put("signalLoggingToPersistentStorage", qxCreateDoubleScalar(0)) &&
                    put("signalLogging", qxCreateLogicalScalar(true)) &&
                    put("signalStorageParameters", qxCreateString("")) &&
                    put("outputLogging", qxCreateDoubleScalar(1)) && put("DSMLogging", qxCreateLogicalScalar(false)) &&
                    put("disableSignalLoggingToR2forXIL", qxCreateDoubleScalar(0));
  return qatClose(file) == 0 && put6;
}

int main(int argc, char** argv) {
  if (argc != 3 || !writeConfiguration(argv[1])) {
    std::cerr << "usage: " << argv[0] << " CONFIG.qat RESULTS.qat; " << qatLastError() << "\n";
    return 2;
  }
  using namespace vtio::core;
  client::Catalogue catalogue;

  // Describe the signal once: a tree of one leaf, then the descriptor around it.
  auto leaf = std::make_unique<utils::LeafNode>(0, u"height", false, "linear", std::vector<long long>{}, "double",
                                                utils::units(u"m"), u"", utils::leafSignal);
  vtu::FullBlkPathToTopMdl path;
  path.append(vtu::InternedUstring(u"hello/Wave"));
  const utils::SignalDescriptor& height =
      catalogue.createSignalDescriptor(std::move(leaf), 1UL, 0UL, 1UL, u"height", u"", path, 0UL);

  // Record it in memory.
  accessor::Scalar accessor(height, catalogue.disabledLoggingIntervals());
  vtio::recorders::RecordingSession session(catalogue);
  session.attach(height, accessor);

  // One call per step.
  for (int step = 0; step < 1000; ++step) {
    const double time = 0.01 * step;
    const double value = std::sin(time);
    accessor.update(&time, &value, 0);
  }
  catalogue.saveDatasetsToQatFile(vtu::to_ustring(argv[2]));
  return 0;
}
