// Logs a sine wave from C++, and writes the configuration that hello.c starts from:
//   hello_cpp CONFIG.qat RESULTS.qat [STREAM.qat]
// With STREAM.qat both programs stream their samples into that file while they run.
#include <cmath>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "recorders/recording_session.hpp"
#include "vtio/vtio.hpp"

/// The six switches that a catalogue reads; the same file may hold a logging selection.
bool writeConfiguration(const char* name, const std::string& streamFile) {
  vtu::QatFileWrapper file(name, "w");
  const auto put = [&file](const char* variable, qxArray* array) {
    const vtu::qxArrayWrapper value(array);
    return file.put(variable, value.get()) == 0;
  };
  const bool put6 = put("signalLoggingToPersistentStorage", qxCreateDoubleScalar(streamFile.empty() ? 0 : 1)) &&
                    put("signalLogging", qxCreateLogicalScalar(true)) &&
                    put("signalStorageParameters", qxCreateString(streamFile.c_str())) &&
                    put("outputLogging", qxCreateDoubleScalar(1)) && put("DSMLogging", qxCreateLogicalScalar(false)) &&
                    put("disableSignalLoggingToR2forXIL", qxCreateDoubleScalar(0));
  return file.close() == 0 && put6;
}

/// Logs a sine wave of 10 s.
void logWave(const std::string& resultsFile, const std::string& streamFile) {
  using namespace vtio::core;
  client::Catalogue catalogue;

  // Describe the signal once: a tree of one leaf, then the descriptor around it.
  auto leaf = std::make_unique<utils::LeafNode>(0, u"height", false, "linear", std::vector<long long>{}, "double",
                                                utils::units(u"m"), u"", utils::leafSignal);
  const utils::SignalDescriptor& height =
      catalogue.createSignalDescriptor({.root = std::move(leaf), .name = u"height", .blockPath = {u"hello/Wave"}});

  // Record it, in memory or in a file that grows with the run.
  accessor::Scalar accessor(height, catalogue.disabledLoggingIntervals());
  vtio::recorders::RecordingSession session(catalogue);
  if (!streamFile.empty()) session.streamTo(streamFile);
  session.attach(height, accessor);

  // One call per step.
  for (int step = 0; step < 1000; ++step) {
    const double time = 0.01 * step;
    const double value = std::sin(time);
    accessor.update(&time, &value, 0);
  }
  session.save(resultsFile);
  if (!session.streamFailure().empty()) throw std::runtime_error(session.streamFailure());
}

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) return std::cerr << "usage: " << argv[0] << " CONFIG.qat RESULTS.qat [STREAM.qat]\n", 2;
  const std::string streamFile = argc == 4 ? argv[3] : "";
  if (!writeConfiguration(argv[1], streamFile)) return std::cerr << qatLastError() << "\n", 1;
  try {
    logWave(argv[2], streamFile);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
    return 1;
  }
}
