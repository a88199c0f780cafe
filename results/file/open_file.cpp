#include <memory>
#include <string>
#include <utility>

#include "results/file/qat_source.hpp"
#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/file/signal_list.hpp"

namespace vtio::results {

ResultsFile::ResultsFile(const std::string& path) : path_(path) {
  auto source = std::make_unique<QatSource>(path);
  try {
    signals_ = readSignalList(*source, path);
    complete_ = source->samples().isComplete();
  } catch (const ResultsError&) {
    throw;
  } catch (const std::exception& error) {
    throw ResultsError::ofService(path, error.what());
  }
  source_ = std::move(source);
  indexNames();
}

}  // namespace vtio::results
