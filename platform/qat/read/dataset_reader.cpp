// The part of the reader that turns datasets into arrays.
#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/read/reader.hpp"
#include "platform/qat/read/structures.hpp"
#include "platform/qat/row_major_order.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {

qalc::ArrayPtr Reader::readDataset(hid_t dataset) {
  const Handle type = typeOf(dataset);
  auto extents = extentsOf(dataset);
  // A product of extents that overflows must not reach the library, which does not check it.
  const std::size_t count = checkedElements(extents);
  requireChunks(dataset, budget_);
  if (samplesAs_ == Samples::found && !isReferenceType(type.get())) return referenceRows({});
  if (H5Tget_class(type.get()) == H5T_STRING) return readTexts(dataset, extents);
  if (isReferenceType(type.get())) {
    if (!extents.empty()) throw Failure(kDamaged, "several references that are no column of a table");
    return samplesOf(readReferences(dataset).front());
  }
  ElementKind kind = elementKindOf(type.get());
  if (kind.id == qxUNKNOWN) throw Failure(kUnsupported, "a dataset of a type that arrays do not have");
  if (kind == ElementKind{qxUINT16, false} && textAttribute(dataset, kKindAttribute) == "char") kind.id = qxCHAR;
  if (extents.size() == 1 && H5Aexists(dataset, kDimsAttribute) > 0) {
    auto dims = dimsAttribute(dataset);
    if (checkedElements(dims) != count) throw Failure(kDamaged, "qat.dims disagrees with the dataset");
    extents = std::move(dims);
  }
  return readElements(dataset, kind, extents);
}

qalc::ArrayPtr Reader::readElements(hid_t dataset, ElementKind kind, const std::vector<std::size_t>& dims) {
  budget_.take(checkedElements(dims), elementBytes(kind));
  qalc::ArrayPtr array(qxCreateNumericArrayRowMajor(dims.size(), dims.data(), kind.id, kind.complex));
  if (array->dims.elements() == 0) return array;
  checked(H5Dread(dataset, source_.kit.elementType(kind), H5S_ALL, H5S_ALL, H5P_DEFAULT, array->storage->values.data()),
          kDamaged, "a dataset cannot be read");
  if (kind.id == qxLOGICAL) normaliseLogicals(*array);
  return array;
}

qalc::ArrayPtr Reader::readTexts(hid_t dataset, const std::vector<std::size_t>& extents) {
  const Texts texts = texts_.datasetTexts(dataset);
  if (extents.empty() && texts.size() == 1) return rowOfText(texts[0]);
  budget_.take(texts.size(), kArrayBytes);
  qalc::ArrayPtr cells(qxCreateCellArray(extents.size(), extents.data()));
  RowMajorOrder order(cells->dims);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    budget_.take(texts[i].size(), sizeof(char16_t));
    cells->storage->ownCells.at(order.next()) = rowOfText(texts[i]);
  }
  return cells;
}

std::vector<Reference> Reader::readReferences(hid_t dataset) {
  const std::size_t count = checkedElements(extentsOf(dataset));
  budget_.take(count, sizeof(Reference));
  std::vector<Reference> references(count);
  if (count == 0) return references;
  checked(H5Dread(dataset, source_.kit.referenceType(), H5S_ALL, H5S_ALL, H5P_DEFAULT, references.data()), kDamaged,
          "references cannot be read");
  return references;
}

std::vector<std::uint64_t> Reader::readIndices(hid_t group, const std::string& link) {
  const Handle dataset = openDataset(source_, group, link);
  if (!(elementKindOf(typeOf(dataset.get()).get()) == ElementKind{qxUINT64, false})) {
    throw Failure(kDamaged, link + " does not hold indices");
  }
  requireChunks(dataset.get(), budget_);
  const std::size_t count = checkedElements(extentsOf(dataset.get()));
  budget_.take(count, sizeof(std::uint64_t));
  std::vector<std::uint64_t> indices(count + 1);  // never without memory
  checked(H5Dread(dataset.get(), H5T_NATIVE_UINT64, H5S_ALL, H5S_ALL, H5P_DEFAULT, indices.data()), kDamaged,
          link + " cannot be read");
  indices.pop_back();
  return indices;
}

}  // namespace vtu::qat
