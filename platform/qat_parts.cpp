#include "platform/qat_parts.hpp"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "platform/diagnostics.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/library_call.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/qat_file.hpp"
#include "platform/qat/read/open_tables.hpp"
#include "platform/qat/read/part_reader.hpp"
#include "platform/text.hpp"
#include "platform/text_bytes.hpp"

namespace vtu {
namespace {

using qat::ElementKind;
using qat::Failure;
using qat::LibraryCall;

[[noreturn]] void fail(const char* key, const std::string& file, const std::string& what) {
  vtsvThrowIExceptionFromDiagnostic(
      vtsvCreateDiagnostic("Vortan:Qat", key, {vtu::to_ustring(file), vtu::to_ustring(what)}));
}

/// Runs `work` as a call into HDF5; its failure becomes a diagnostic with the name of the file.
template <typename Work>
decltype(auto) reading(const std::string& file, Work&& work) {
  std::string what;
  const char* key = "Unreadable";
  try {
    const LibraryCall call;
    return std::forward<Work>(work)();
  } catch (const Failure& failure) {
    what = failure.message();
    if (failure.code() == qat::kAbsent || failure.code() == qat::kBadArgument) key = "NoSuchPart";
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    what = error.what();
  }
  fail(key, file, what);
}

ElementKind numericKind(const std::string& elementClass) {
  const auto kind = qat::elementClassOf(elementClass);
  if (!kind || kind->id == qxCELL) throw Failure(qat::kBadArgument, "\"" + elementClass + "\" is no class of numbers");
  return *kind;
}

}  // namespace

/// The open tables, and the file's name for errors.
class QatSamples::Inside {
 public:
  explicit Inside(QatFile& file) : name_(file.file->name()) {
    reading(name_, [&] { tables_.emplace(file.file->source()); });
  }
  ~Inside() {
    const LibraryCall call;
    tables_.reset();
  }

  /// Runs `work` on one table.
  template <typename Work>
  decltype(auto) onTable(std::uint32_t number, Work&& work) {
    return reading(name_, [&]() -> decltype(auto) { return work(tables_->table(number)); });
  }

  /// Runs `work` on all tables.
  template <typename Work>
  decltype(auto) onTables(Work&& work) {
    return reading(name_, [&]() -> decltype(auto) { return work(*tables_); });
  }

 private:
  std::string name_;
  std::optional<qat::OpenTables> tables_;
};

QatSamples::QatSamples(QatFile& file) : inside_(std::make_unique<Inside>(file)) {}

QatSamples::~QatSamples() = default;

std::vector<std::uint32_t> QatSamples::tables() const {
  return inside_->onTables([](qat::OpenTables& tables) {
    auto numbers = tables.numbers();
    const auto merged = tables.mergedNumbers();
    numbers.insert(numbers.end(), merged.begin(), merged.end());
    return numbers;
  });
}

std::uint64_t QatSamples::rows(std::uint32_t table) const {
  return inside_->onTable(table, [](qat::OpenTable& open) { return open.rows(); });
}

const std::vector<StoredColumn>& QatSamples::columns(std::uint32_t table) const {
  return inside_->onTable(
      table, [](qat::OpenTable & open) -> const auto& { return open.columns(); });
}

bool QatSamples::isComplete() const {
  return inside_->onTables([](qat::OpenTables& tables) {
    if (!tables.strays().leaves().empty() || !tables.rings().leaves().empty()) return false;
    const auto numbers = tables.numbers();
    return std::all_of(numbers.begin(), numbers.end(), [&](std::uint32_t n) { return tables.table(n).isComplete(); });
  });
}

bool QatSamples::isElsewhere(std::uint32_t table, std::uint32_t column) const {
  return inside_->onTables([&](qat::OpenTables& tables) { return tables.resolve({table, column}).table != table; });
}

void QatSamples::readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) const {
  inside_->onTable(table, [&](qat::OpenTable& open) { open.readTimes(first, count, out); });
}

void QatSamples::readColumn(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow, std::uint64_t count,
                            void* out) const {
  inside_->onTable(table, [&](qat::OpenTable& open) {
    const StoredColumn& leaf = open.column(column);
    open.readBlock(numericKind(leaf.elementClass), leaf.first, leaf.width, firstRow, count, out);
  });
}

void QatSamples::readBlock(std::uint32_t table, const std::string& elementClass, std::uint64_t firstColumn,
                           std::uint64_t width, std::uint64_t firstRow, std::uint64_t count, void* out) const {
  inside_->onTable(table, [&](qat::OpenTable& open) {
    open.readBlock(numericKind(elementClass), firstColumn, width, firstRow, count, out);
  });
}

std::vector<std::u16string> QatSamples::readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                                  std::uint64_t count) const {
  return inside_->onTable(table, [&](qat::OpenTable& open) {
    const StoredColumn& leaf = open.column(column);
    if (leaf.elementClass != qat::kTextMember) throw Failure(qat::kBadArgument, "\"" + leaf.name + "\" has no texts");
    std::vector<std::u16string> texts;
    open.forEachText(leaf, firstRow, count, [&](std::string_view bytes) { texts.push_back(textFromBytes(bytes)); });
    return texts;
  });
}

std::uint64_t QatSamples::storedBytes(std::uint32_t table, std::uint32_t column) const {
  return inside_->onTable(table, [&](qat::OpenTable& open) { return open.storedBytes(column); });
}

void QatSamples::refresh() {
  inside_->onTables([](qat::OpenTables& tables) { tables.refresh(); });
}

std::vector<QatLateElement> qatLateElements(QatFile& file) {
  return reading(file.file->name(), [&] {
    std::vector<QatLateElement> elements;
    for (qat::LateElement& late : qat::PartReader(file.file->source(), QatPartSamples::references).lateElements()) {
      elements.push_back({late.variable, late.dataset, qxArrayWrapper(late.element.release())});
    }
    return elements;
  });
}

qxArrayWrapper qatGetPart(QatFile* file, const char* variable, const std::vector<std::string>& path,
                          QatPartSamples samples) {
  if (file == nullptr || variable == nullptr) fail("NoSuchPart", "", "the file or the name of the variable is null");
  return reading(file->file->name(), [&] {
    const qat::Source source = file->file->source();
    const std::string link = qat::encodeName(variable);
    if (!qat::hasMember(source.root, link)) {
      throw Failure(qat::kAbsent, "no variable \"" + std::string(variable) + "\"");
    }
    return qxArrayWrapper(qat::PartReader(source, samples).read(link, path).release());
  });
}

}  // namespace vtu
