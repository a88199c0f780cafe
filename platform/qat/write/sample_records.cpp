// The part of the writer of sample tables that describes the columns.
#include <algorithm>
#include <cstring>
#include <string>

#include "platform/qat/failure.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/qat/write/sample_table_writer.hpp"
#include "platform/text.hpp"

namespace vtu::qat {
namespace {

/// One record before it is laid out.
struct Record {
  std::array<std::string, 4> texts;  // as kTextFields
  std::uint32_t first, width;
  std::uint64_t begin, count;
};

/// The type of records whose texts have these sizes.
class RecordLayout final {
 public:
  explicit RecordLayout(const std::vector<Record>& records) {
    for (std::size_t t = 0; t < sizes_.size(); ++t) {
      for (const Record& record : records) sizes_[t] = std::max(sizes_[t], record.texts[t].size());
    }
    for (const std::size_t size : sizes_) textBytes_ += size;
    type_ = Handle(checked(H5Tcreate(H5T_COMPOUND, size()), kStorage, kWhat));
    std::size_t at = 0;
    for (std::size_t t = 0; t < sizes_.size(); ++t) {
      insert(kRecordTexts[t], at, fixedTextType(sizes_[t]).get());
      at += sizes_[t];
    }
    insert("first", at, H5T_STD_U32LE);
    insert("width", at + 4, H5T_STD_U32LE);
    insert("begin", at + 8, H5T_STD_U64LE);
    insert("count", at + 16, H5T_STD_U64LE);
  }

  [[nodiscard]] hid_t type() const { return type_.get(); }
  [[nodiscard]] std::size_t size() const { return textBytes_ + 24; }

  void put(const Record& record, char* target) const {
    for (std::size_t t = 0; t < sizes_.size(); ++t) {
      std::copy(record.texts[t].begin(), record.texts[t].end(), target);
      target += sizes_[t];
    }
    std::memcpy(target, &record.first, 4);
    std::memcpy(target + 4, &record.width, 4);
    std::memcpy(target + 8, &record.begin, 8);
    std::memcpy(target + 16, &record.count, 8);
  }

 private:
  static constexpr const char* kWhat = "cannot make the type of column records";

  void insert(const char* name, std::size_t at, hid_t type) {
    checked(H5Tinsert(type_.get(), name, at, type), kStorage, kWhat);
  }

  std::array<std::size_t, 4> sizes_{1, 1, 1, 1};
  std::size_t textBytes_ = 0;
  Handle type_;
};

/// The text without NUL, which would end it for some readers.
std::string plainText(const std::u16string& text) {
  std::u16string plain = text;
  std::replace(plain.begin(), plain.end(), u'\0', u'\xFFFD');
  return vtu::to_string(plain);
}

/// Records whose texts are padded by more than they hold are worth compressing.
Handle listFor(const std::vector<char>& block, std::size_t records, const Kit& kit) {
  constexpr std::size_t kAlwaysFine = 1U << 20U;
  const auto padding = static_cast<std::size_t>(std::count(block.begin(), block.end(), '\0'));
  const bool sparse = block.size() > kAlwaysFine && padding > block.size() / 8 * 7;
  Handle list(
      checked(H5Pcopy(sparse ? kit.chunkedList() : kit.datasetList()), kStorage, "cannot make a property list"));
  if (!sparse) return list;
  const hsize_t chunk = std::max<std::size_t>(1, kAlwaysFine / (block.size() / records));
  checked(H5Pset_chunk(list.get(), 1, &chunk), kStorage, "cannot set up chunks");
  checked(H5Pset_deflate(list.get(), 1), kStorage, "cannot set up compression");
  return list;
}

}  // namespace

void SampleTableWriter::writeRecords(SignalNames& names) {
  std::vector<Record> records;
  records.reserve(selection_.columns.size());
  for (const SampleColumn* column : selection_.columns) {
    const ElementKind kind{column->id, column->isComplex};
    const auto width = static_cast<std::uint32_t>(column->bytes() / elementBytes(kind));
    records.push_back({{names.unique(plainText(column->name)), plainText(column->unit), elementClassName(kind),
                        dimsText(column->dims)},
                       0,
                       width,
                       column->first - selection_.first,
                       column->count});
  }
  for (const SampleClass& leaves : classes_) {
    std::size_t next = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
      if (ElementKind{selection_.columns[i]->id, selection_.columns[i]->isComplex} == leaves.kind) {
        records[i].first = static_cast<std::uint32_t>(leaves.firsts[next++]);
      }
    }
  }
  const RecordLayout layout(records);
  std::vector<char> block(records.size() * layout.size(), '\0');
  for (std::size_t i = 0; i < records.size(); ++i) layout.put(records[i], block.data() + i * layout.size());
  datasets_.writeValues(group_, kColumnsMember, layout.type(), {records.size()}, block.data(),
                        listFor(block, records.size(), kit_).get());
}

}  // namespace vtu::qat
