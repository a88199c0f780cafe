#include "platform/qat/sample_records.hpp"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/qat/failure.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/sample_format.hpp"

namespace vtu::qat {
namespace {

constexpr const char* kWhat = "the type of the records";
constexpr std::array kTextNames = {"name", "unit", "class", "dims"};
constexpr std::array kNumberNames = {"first", "width", "begin", "count"};

unsigned memberIndex(hid_t type, const char* name, H5T_class_t ofClass) {
  const int index = H5Tget_class(type) == H5T_COMPOUND ? H5Tget_member_index(type, name) : -1;
  if (index < 0 || H5Tget_member_class(type, static_cast<unsigned>(index)) != ofClass) {
    throw Failure(kDamaged, "records whose " + std::string(name) + " is missing or of another type");
  }
  return static_cast<unsigned>(index);
}

bool isProduct(const std::vector<std::size_t>& dims, std::uint64_t width) {
  std::uint64_t product = 1;
  const bool fits = std::all_of(dims.begin(), dims.end(),
                                [&](std::size_t dim) { return !__builtin_mul_overflow(product, dim, &product); });
  return fits && product == width;
}

}  // namespace

RecordLayout::RecordLayout(const std::vector<StoredColumn>& records) {
  std::array<Handle, kTexts> texts;
  for (const StoredColumn& record : records) {
    const std::array bytes = {record.name.size(), record.unit.size(), record.elementClass.size(),
                              dimsText(record.dims).size()};
    for (std::size_t t = 0; t < kTexts; ++t) sizes_[t] = std::max(sizes_[t], bytes[t]);
  }
  for (std::size_t t = 0; t < kTexts; ++t) texts[t] = fixedTextType(sizes_[t]);
  makeType(texts);
}

RecordLayout::RecordLayout(hid_t stored) {
  std::array<Handle, kTexts> texts;
  for (std::size_t t = 0; t < kTexts; ++t) {
    const unsigned index = memberIndex(stored, kTextNames[t], H5T_STRING);
    texts[t] = Handle(checked(H5Tget_member_type(stored, index), kDamaged, kWhat));
    if (H5Tis_variable_str(texts[t].get()) != 0) throw Failure(kUnsupported, "records with text of variable length");
    sizes_[t] = H5Tget_size(texts[t].get());
    paddings_[t] = H5Tget_strpad(texts[t].get());
  }
  for (const char* name : kNumberNames) static_cast<void>(memberIndex(stored, name, H5T_INTEGER));
  makeType(texts);
}

void RecordLayout::makeType(const std::array<Handle, kTexts>& texts) {
  for (const std::size_t size : sizes_) textBytes_ += size;
  type_ = Handle(checked(H5Tcreate(H5T_COMPOUND, size()), kStorage, kWhat));
  std::size_t at = 0;
  const auto insert = [&](const char* name, hid_t type) {
    checked(H5Tinsert(type_.get(), name, at, type), kStorage, kWhat);
    at += H5Tget_size(type);
  };
  for (std::size_t t = 0; t < kTexts; ++t) insert(kTextNames[t], texts[t].get());
  for (std::size_t n = 0; n < kNumberNames.size(); ++n) insert(kNumberNames[n], n < 2 ? H5T_STD_U32LE : H5T_STD_U64LE);
}

void RecordLayout::put(const StoredColumn& record, char* bytes) const {
  const std::string dims = dimsText(record.dims);
  const std::array texts = {&record.name, &record.unit, &record.elementClass, &dims};
  for (std::size_t t = 0; t < kTexts; ++t) {
    std::copy(texts[t]->begin(), texts[t]->end(), bytes);
    bytes += sizes_[t];
  }
  std::memcpy(bytes, &record.first, 4);
  std::memcpy(bytes + 4, &record.width, 4);
  std::memcpy(bytes + 8, &record.begin, 8);
  std::memcpy(bytes + 16, &record.count, 8);
}

StoredColumn RecordLayout::get(const char* bytes) const {
  StoredColumn record;
  std::string dims;
  const std::array texts = {&record.name, &record.unit, &record.elementClass, &dims};
  for (std::size_t t = 0; t < kTexts; ++t) {
    texts[t]->assign(bytes, sizeWithoutPadding({bytes, sizes_[t]}, paddings_[t]));
    bytes += sizes_[t];
  }
  std::memcpy(&record.first, bytes, 4);
  std::memcpy(&record.width, bytes + 4, 4);
  std::memcpy(&record.begin, bytes + 8, 8);
  std::memcpy(&record.count, bytes + 16, 8);
  const auto extents = dimsOfText(dims);
  if (!extents || !elementClassOf(record.elementClass) || !isProduct(*extents, record.width)) {
    throw Failure(kDamaged, "the record \"" + record.name + "\": class \"" + record.elementClass + "\", dims \"" +
                                dims + "\", width " + std::to_string(record.width));
  }
  record.dims = *extents;
  return record;
}

}  // namespace vtu::qat
