#include "platform/qat/write/dataset_writer.hpp"

#include <algorithm>
#include <cstring>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/write/gathered_write.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kPieceBytes = 4U << 20U;

/// Copies column-major elements to row-major order, a stretch of the row-major sequence at a time.
class RowMajorWalk final {
 public:
  RowMajorWalk(const std::byte* source, std::size_t elementBytes, const qalc::Dimensions& dims)
      : source_(source), elementBytes_(elementBytes), extents_(dims.begin(), dims.end()), index_(dims.size(), 0) {
    std::size_t step = elementBytes;
    for (const std::size_t extent : extents_) {
      steps_.push_back(step);
      step *= extent;
    }
  }

  /// Copies the next `count` elements.
  void copy(std::byte* target, std::size_t count) {
    switch (elementBytes_) {
      case 1:
        return copySized<1>(target, count);
      case 2:
        return copySized<2>(target, count);
      case 4:
        return copySized<4>(target, count);
      case 8:
        return copySized<8>(target, count);
      default:
        return copySized<16>(target, count);
    }
  }

 private:
  template <std::size_t kBytes>
  void copySized(std::byte* target, std::size_t count) {
    const std::size_t last = extents_.size() - 1;
    while (count > 0) {
      const std::size_t run = std::min(count, extents_[last] - index_[last]);
      for (std::size_t i = 0; i < run; ++i) {
        std::memcpy(target, source_, kBytes);
        target += kBytes;
        source_ += steps_[last];
      }
      index_[last] += run;
      count -= run;
      if (index_[last] == extents_[last]) carry(last);
    }
  }

  void carry(std::size_t axis) {
    while (index_[axis] == extents_[axis]) {
      source_ -= steps_[axis] * extents_[axis];
      index_[axis] = 0;
      if (axis == 0) return;
      --axis;
      ++index_[axis];
      source_ += steps_[axis];
    }
  }

  const std::byte* source_;
  std::size_t elementBytes_;
  std::vector<std::size_t> extents_, index_, steps_;
};

std::size_t longest(std::span<const std::string> texts) {
  std::size_t size = 1;
  for (const std::string& text : texts) size = std::max(size, text.size());
  return size;
}

}  // namespace

bool fitFixedLength(std::span<const std::string> texts) {
  constexpr std::size_t kAlwaysFine = 1U << 20U;
  const std::size_t size = longest(texts);
  std::size_t total = 0;
  for (const std::string& text : texts) total += text.size();
  return size <= kLongestText && texts.size() * size <= kAlwaysFine + 16 * total;
}

std::vector<hsize_t> storedExtents(const qalc::Dimensions& dims) {
  std::vector<hsize_t> extents(dims.begin(), dims.end());
  while (!extents.empty() && extents.back() == 1) extents.pop_back();
  if (extents.size() > H5S_MAX_RANK) extents = {dims.elements()};
  return extents;
}

void writeTransposed(const FileBytes& bytes, std::uint64_t address, const qxArray& array) {
  const qalc::ValueView view = qalc::storedValues(array);
  RowMajorWalk walk(view.data, view.elementBytes, array.dims);
  std::size_t left = array.dims.elements();
  std::vector<std::byte> piece(std::min(left * view.elementBytes, kPieceBytes));
  while (left > 0) {
    const std::size_t count = std::min(left, piece.size() / view.elementBytes);
    walk.copy(piece.data(), count);
    bytes.write(address, piece.data(), count * view.elementBytes);
    address += count * view.elementBytes;
    left -= count;
  }
}

Handle DatasetWriter::writeElements(hid_t group, const std::string& link, const qxArray& array) {
  const auto extents = storedExtents(array.dims);
  Handle dataset = create(group, link, kit_.elementType({array.id, array.complex}), extents);
  if (extents.size() == 1 && array.dims.size() > H5S_MAX_RANK) writeDimsAttribute(dataset.get(), array.dims);
  if (array.id == qxCHAR) writeTextAttribute(kit_, dataset.get(), kKindAttribute, "char");
  if (array.dims.elements() == 0) return dataset;
  GatheredWrite values(bytes_);
  values.addValues(addressOf(dataset), array);
  values.finish();
  return dataset;
}

Handle DatasetWriter::writeText(hid_t group, const std::string& link, std::string_view text) {
  const std::size_t size = std::max<std::size_t>(text.size(), 1);
  Handle dataset = create(group, link, fixedTextType(size).get(), {});
  fill(dataset, text.empty() ? "" : text.data(), size);
  return dataset;
}

Handle DatasetWriter::writeTexts(hid_t group, const std::string& link, std::span<const std::string> texts,
                                 const std::vector<hsize_t>& extents) {
  const std::size_t size = longest(texts);
  Handle dataset = create(group, link, fixedTextType(size).get(), extents);
  std::vector<char> block(texts.size() * size, '\0');
  for (std::size_t i = 0; i < texts.size(); ++i) std::copy(texts[i].begin(), texts[i].end(), block.data() + i * size);
  fill(dataset, block.data(), block.size());
  return dataset;
}

Handle DatasetWriter::writeColumn(hid_t group, const std::string& link, hid_t type, std::size_t count,
                                  const void* values, std::size_t size) {
  Handle dataset = create(group, link, type, {count});
  fill(dataset, values, size);
  return dataset;
}

Handle DatasetWriter::create(hid_t group, const std::string& link, hid_t type, const std::vector<hsize_t>& extents) {
  const int rank = static_cast<int>(extents.size());
  Handle simple;
  if (rank > 0) {
    simple = Handle(checked(H5Screate_simple(rank, extents.data(), nullptr), kStorage, "cannot make a dataspace"));
  }
  const hid_t space = rank > 0 ? simple.get() : kit_.scalarSpace();
  return Handle(checked(H5Dcreate2(group, link.c_str(), type, space, H5P_DEFAULT, kit_.datasetList(), H5P_DEFAULT),
                        kStorage, "cannot make a dataset"));
}

std::uint64_t DatasetWriter::addressOf(const Handle& dataset) const {
  const haddr_t address = H5Dget_offset(dataset.get());
  if (address == HADDR_UNDEF) throwLibraryFailure(kStorage, "a new dataset has no place in the file");
  return address;
}

void DatasetWriter::fill(const Handle& dataset, const void* values, std::size_t size) {
  if (size > 0) bytes_.write(addressOf(dataset), values, size);
}

}  // namespace vtu::qat
