// The part of the reader that turns datasets into arrays.
#include <algorithm>
#include <array>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/read/reader.hpp"
#include "platform/qat/read/table_column.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {
namespace {

std::vector<std::size_t> extentsOf(hid_t space) {
  if (H5Sget_simple_extent_type(space) == H5S_NULL) return {0, 0};
  std::array<hsize_t, H5S_MAX_RANK> extents{};
  const int rank = checked(H5Sget_simple_extent_dims(space, extents.data(), nullptr), kDamaged, "no extents");
  return {extents.begin(), extents.begin() + rank};
}

/// How far the stored bytes of a dataset may be from its size: filters shrink chunks, up to 1032 times for deflate.
std::uint64_t expansion(hid_t dataset) {
  const Handle list(checked(H5Dget_create_plist(dataset), kDamaged, "a dataset has no layout"));
  return H5Pget_layout(list.get()) == H5D_CHUNKED && H5Pget_nfilters(list.get()) > 0 ? 1100 : 1;
}

qalc::ArrayPtr makeElements(const std::vector<std::size_t>& dims, ElementKind kind) {
  return qalc::ArrayPtr(qxCreateNumericArrayRowMajor(dims.size(), dims.data(), kind.id, kind.complex));
}

/// Truth values other than 0 and 1 would be undefined behaviour for who reads them as bool.
void normaliseLogicals(qxArray& array, std::size_t count) {
  auto* values = static_cast<unsigned char*>(qxGetRowMajorData(&array));
  std::transform(values, values + count, values, [](unsigned char value) -> unsigned char { return value != 0; });
}

}  // namespace

void Reader::requireJustified(hid_t dataset, std::uint64_t count, std::uint64_t elementBytes) const {
  constexpr std::uint64_t kFillAllowance = 4096;
  std::uint64_t bytes = 0;
  if (__builtin_mul_overflow(count, elementBytes, &bytes)) throw Failure(kDamaged, "a dataset of impossible size");
  const std::uint64_t stored = std::min<std::uint64_t>(H5Dget_storage_size(dataset), fileSize_);
  if (bytes <= stored || bytes <= kFillAllowance) return;
  if (bytes / expansion(dataset) > stored) {
    throw Failure(kDamaged, "a dataset of " + std::to_string(bytes) + " bytes with " + std::to_string(stored) +
                                " bytes in the file");
  }
}

qalc::ArrayPtr Reader::readDataset(hid_t dataset) {
  const Handle type(checked(H5Dget_type(dataset), kDamaged, "a dataset has no type"));
  const Handle space(checked(H5Dget_space(dataset), kDamaged, "a dataset has no dataspace"));
  auto extents = extentsOf(space.get());
  // A product of extents that overflows must not reach the library, which trusts it.
  const std::size_t count = checkedElements(extents, fileSize_ * 1100 + 4096);
  requireJustified(dataset, count, H5Tget_size(type.get()));
  if (H5Tget_class(type.get()) == H5T_STRING) return readTexts(dataset, extents);
  ElementKind kind = elementKindOf(type.get());
  if (kind.id == qxUNKNOWN) throw Failure(kUnsupported, "a dataset of a type that arrays do not have");
  if (kind == ElementKind{qxUINT16, false} && textAttribute(dataset, kKindAttribute) == "char") kind.id = qxCHAR;
  if (extents.size() == 1 && H5Aexists(dataset, kDimsAttribute) > 0) {
    auto dims = dimsAttribute(dataset);
    if (checkedElements(dims, count) != count) throw Failure(kDamaged, "qat.dims disagrees with the dataset");
    extents = std::move(dims);
  }
  return readElements(dataset, kind, extents);
}

qalc::ArrayPtr Reader::readElements(hid_t dataset, ElementKind kind, const std::vector<std::size_t>& dims) {
  qalc::ArrayPtr array = makeElements(dims, kind);
  const std::size_t count = array->dims.elements();
  if (count == 0) return array;
  checked(H5Dread(dataset, kit_.elementType(kind), H5S_ALL, H5S_ALL, H5P_DEFAULT, qxGetRowMajorData(array.get())),
          kDamaged, "a dataset cannot be read");
  if (kind.id == qxLOGICAL) normaliseLogicals(*array, count);
  return array;
}

qalc::ArrayPtr Reader::readTexts(hid_t dataset, const std::vector<std::size_t>& extents) {
  const auto texts = texts_.datasetTexts(dataset);
  if (extents.empty()) return rowOfText(texts.at(0));
  qalc::ArrayPtr cells(qxCreateCellArray(extents.size(), extents.data()));
  const qalc::Dimensions& dims = cells->dims;
  std::vector<std::size_t> index(dims.size(), 0);
  for (auto& cell : cells->storage->ownCells) {
    std::size_t place = 0;
    for (std::size_t axis = 0; axis < dims.size(); ++axis) place = place * dims.data()[axis] + index[axis];
    cell = rowOfText(texts.at(place));
    for (std::size_t axis = 0; axis < dims.size() && ++index[axis] == dims.data()[axis]; ++axis) index[axis] = 0;
  }
  return cells;
}

std::vector<std::uint64_t> Reader::readNumbers(hid_t group, const std::string& link) {
  const qalc::ArrayPtr numbers = readMember(group, link);
  if (numbers->id != qxUINT64 || numbers->complex) throw Failure(kDamaged, link + " does not hold indices");
  const auto* values = static_cast<const std::uint64_t*>(qxGetConstData(numbers.get()));
  return {values, values + numbers->dims.elements()};
}

}  // namespace vtu::qat
