#include "results/file/qat_source.hpp"

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

QatSource::QatSource(const std::string& path) : path_(path), file_(path, "r") {
  if (file_.get() == nullptr) throw ResultsError::ofService(path, qatLastError());
  samples_ = std::make_unique<vtu::QatSamples>(*file_.get());
  const std::vector<std::uint32_t> tables = samples_->tables();
  arrays_.emplace(tables.empty() ? 0 : tables.back() + 1);
}

QatSource::~QatSource() {
  samples_.reset();  // before the file that it reads
}

void QatSource::refresh() {
  reading(path_, [&] { samples_->refresh(); });
}

void QatSource::readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) {
  if (arrays_->has(table)) return arrays_->readTimes(table, first, count, out);
  reading(path_, [&] { samples_->readTimes(table, first, count, out); });
}

void QatSource::readBlock(std::uint32_t table, ElementType type, std::size_t firstColumn, std::size_t width,
                          std::uint64_t firstRow, std::uint64_t count, std::byte* out) {
  if (arrays_->has(table)) return arrays_->readBlock(table, firstColumn, firstRow, count, out);
  std::string name(nameOf(type.id));
  if (type.isComplex) name += ".complex";
  reading(path_, [&] { samples_->readBlock(table, name, firstColumn, width * type.words, firstRow, count, out); });
}

std::vector<std::string> QatSource::readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                              std::uint64_t count) {
  if (arrays_->has(table)) return arrays_->readTexts(table, column, firstRow, count);
  std::vector<std::string> texts;
  const auto stored = reading(path_, [&] { return samples_->readTexts(table, column, firstRow, count); });
  texts.reserve(stored.size());
  for (const std::u16string& text : stored) texts.push_back(vtu::to_string(text));
  return texts;
}

}  // namespace vtio::results
