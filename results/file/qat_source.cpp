#include "results/file/qat_source.hpp"

#include <sys/stat.h>

#include "platform/diagnostics.hpp"
#include "platform/text.hpp"
#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

// What `read` returns; an error of the file service names the file as users do.
template <class Read>
auto reading(const std::string& path, Read read) {
  try {
    return read();
  } catch (const vtsv::IException& error) {
    throw ResultsError::ofService(path, error.what());
  }
}

}  // namespace

std::string stateOfFile(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return "";
  std::string state;
  for (const auto number : {static_cast<long long>(found.st_dev), static_cast<long long>(found.st_ino),
                            static_cast<long long>(found.st_size), static_cast<long long>(found.st_mtim.tv_sec),
                            static_cast<long long>(found.st_mtim.tv_nsec)}) {
    state += std::to_string(number) + " ";
  }
  return state;
}

QatSource::QatSource(const std::string& path) : path_(path) {
  open();
  state_ = stateOfFile(path);
  const std::vector<std::uint32_t> tables = samples_->tables();
  arrays_.emplace(tables.empty() ? 0 : tables.back() + 1);
}

QatSource::~QatSource() { release(); }

void QatSource::open() {
  file_ = vtu::QatFileWrapper(path_, "r");
  if (file_.get() == nullptr) throw ResultsError::ofService(path_, qatLastError());
  samples_ = reading(path_, [&] { return std::make_unique<vtu::QatSamples>(*file_.get()); });
}

void QatSource::release() {
  samples_.reset();  // before the file that it reads
  file_ = vtu::QatFileWrapper();
}

// The file's lock keeps it as it is once it is open.
vtu::QatSamples& QatSource::opened() {
  if (samples_ != nullptr) return *samples_;
  open();
  if (stateOfFile(path_) == state_) return *samples_;
  release();
  throw ResultsError(path_, "has changed since it was opened");
}

void QatSource::refresh() {
  reading(path_, [&] { samples_->refresh(); });
}

std::uint64_t QatSource::storedBytes(const SignalInfo& signal) {
  const SignalPlace& place = signal.place;
  if (arrays_->has(place.table)) {
    const bool isText = signal.type.id == ElementClass::text;
    return isText ? arrays_->textBytes(place.table, place.column) : signal.valueBytes();
  }
  return reading(path_, [&] { return opened().storedBytes(place.table, place.column); });
}

void QatSource::readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) {
  if (arrays_->has(table)) return arrays_->readTimes(table, first, count, out);
  reading(path_, [&] { opened().readTimes(table, first, count, out); });
}

void QatSource::readBlock(std::uint32_t table, ElementType type, std::size_t firstColumn, std::size_t width,
                          std::uint64_t firstRow, std::uint64_t count, std::byte* out) {
  if (arrays_->has(table)) return arrays_->readBlock(table, firstColumn, firstRow, count, out);
  std::string name(nameOf(type.id));
  if (type.isComplex) name += ".complex";
  reading(path_, [&] { opened().readBlock(table, name, firstColumn, width * type.words, firstRow, count, out); });
}

std::vector<std::string> QatSource::readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                              std::uint64_t count) {
  if (arrays_->has(table)) return arrays_->readTexts(table, column, firstRow, count);
  std::vector<std::string> texts;
  const auto stored = reading(path_, [&] { return opened().readTexts(table, column, firstRow, count); });
  texts.reserve(stored.size());
  for (const std::u16string& text : stored) texts.push_back(vtu::to_string(text));
  return texts;
}

}  // namespace vtio::results
