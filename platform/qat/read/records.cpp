// Reading the records that describe the columns of a sample table.
#include <array>
#include <cstring>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/memory_budget.hpp"
#include "platform/qat/read/open_table.hpp"
#include "platform/qat/read/text_reader.hpp"

namespace vtu::qat {
namespace {

constexpr const char* kWhat = "the records cannot be read";

/// The records' type as it is read: texts as they are stored, numbers as in memory, without padding.
class RecordType final {
 public:
  explicit RecordType(hid_t stored) {
    if (H5Tget_class(stored) != H5T_COMPOUND) throw Failure(kDamaged, "records that are no compound");
    std::array<Handle, kRecordTexts.size()> texts;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const int index = memberIndex(stored, kRecordTexts[i]);
      texts[i] = Handle(checked(H5Tget_member_type(stored, static_cast<unsigned>(index)), kDamaged, kWhat));
      if (H5Tget_class(texts[i].get()) != H5T_STRING || H5Tis_variable_str(texts[i].get()) != 0) {
        throw Failure(kUnsupported, std::string(kRecordTexts[i]) + " is not text of a fixed length");
      }
      sizes_[i] = H5Tget_size(texts[i].get());
      paddings_[i] = H5Tget_strpad(texts[i].get());
      textBytes_ += sizes_[i];
    }
    type_ = Handle(checked(H5Tcreate(H5T_COMPOUND, size()), kDamaged, kWhat));
    std::size_t at = 0;
    for (std::size_t i = 0; i < texts.size(); ++i, at += sizes_[i - 1]) insert(kRecordTexts[i], at, texts[i].get());
    for (const char* name : kNumbers) {
      if (H5Tget_member_class(stored, static_cast<unsigned>(memberIndex(stored, name))) != H5T_INTEGER) {
        throw Failure(kDamaged, std::string(name) + " is not an integer");
      }
      insert(name, at, H5T_NATIVE_UINT64);
      at += sizeof(std::uint64_t);
    }
  }

  [[nodiscard]] hid_t type() const { return type_.get(); }
  [[nodiscard]] std::size_t size() const { return textBytes_ + kNumbers.size() * sizeof(std::uint64_t); }

  [[nodiscard]] StoredColumn record(const char* bytes) const {
    std::array<std::string, kRecordTexts.size()> texts;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      texts[i].assign(bytes, sizeWithoutPadding({bytes, sizes_[i]}, paddings_[i]));
      bytes += sizes_[i];
    }
    std::array<std::uint64_t, kNumbers.size()> numbers{};
    std::memcpy(numbers.data(), bytes, sizeof numbers);
    const auto dims = dimsOfText(texts[3]);
    if (!dims || !elementClassOf(texts[2]) || numbers[0] > UINT32_MAX || !isProduct(*dims, numbers[1])) {
      throw Failure(kDamaged, "the record \"" + texts[0] + "\": class \"" + texts[2] + "\", dims \"" + texts[3] +
                                  "\", width " + std::to_string(numbers[1]));
    }
    return {std::move(texts[0]),
            std::move(texts[1]),
            std::move(texts[2]),
            *dims,
            static_cast<std::uint32_t>(numbers[0]),
            static_cast<std::uint32_t>(numbers[1]),
            numbers[2],
            numbers[3]};
  }

 private:
  static constexpr std::array kNumbers = {"first", "width", "begin", "count"};

  static int memberIndex(hid_t type, const char* name) {
    const int index = H5Tget_member_index(type, name);
    if (index < 0) throw Failure(kDamaged, "records without " + std::string(name));
    return index;
  }

  static bool isProduct(const std::vector<std::size_t>& dims, std::uint64_t width) {
    std::uint64_t product = 1;
    bool fits = width <= UINT32_MAX;
    for (const std::size_t dim : dims) fits = !__builtin_mul_overflow(product, dim, &product) && fits;
    return fits && product == width;
  }

  void insert(const char* name, std::size_t at, hid_t type) {
    checked(H5Tinsert(type_.get(), name, at, type), kDamaged, kWhat);
  }

  std::array<std::size_t, kRecordTexts.size()> sizes_{};
  std::array<H5T_str_t, kRecordTexts.size()> paddings_{};
  std::size_t textBytes_ = 0;
  Handle type_;
};

}  // namespace

std::vector<StoredColumn> readRecords(const Source& source, hid_t table) {
  const Handle dataset = openDataset(source, table, kColumnsMember);
  const auto extents = extentsOf(dataset.get());
  if (extents.size() != 1) throw Failure(kDamaged, "a dataset that does not have 1 axis");
  const RecordType type(typeOf(dataset.get()).get());
  MemoryBudget(source.bytes.size()).take(extents.front(), type.size() + sizeof(StoredColumn));
  std::vector<char> block(extents.front() * type.size());
  if (!block.empty()) {
    checked(H5Dread(dataset.get(), type.type(), H5S_ALL, H5S_ALL, H5P_DEFAULT, block.data()), kDamaged, kWhat);
  }
  std::vector<StoredColumn> columns;
  columns.reserve(extents.front());
  for (std::size_t at = 0; at < block.size(); at += type.size()) columns.push_back(type.record(block.data() + at));
  return columns;
}

}  // namespace vtu::qat
