#include "platform/qat/write/dataset_writer.hpp"

#include <algorithm>
#include <functional>
#include <numeric>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

std::size_t longest(std::span<const std::string> texts) {
  std::size_t size = 1;
  for (const std::string& text : texts) size = std::max(size, text.size());
  return size;
}

/// The extents of the dataset for an array: trailing ones dropped, none for a single element.
std::vector<hsize_t> storedExtents(const qalc::Dimensions& dims) {
  std::vector<hsize_t> extents(dims.begin(), dims.end());
  while (!extents.empty() && extents.back() == 1) extents.pop_back();
  if (extents.size() > H5S_MAX_RANK) extents = {dims.elements()};
  return extents;
}

bool isWorthDeflating(std::string_view bytes, std::size_t rowBytes) {
  constexpr std::size_t kTooSmall = 4096;
  constexpr std::size_t kLarge = 1U << 20U;
  if (bytes.size() < kTooSmall) return false;
  if (bytes.substr(rowBytes) == bytes.substr(0, bytes.size() - rowBytes)) return true;
  const auto padding = bytes.size() < kLarge ? 0 : std::count(bytes.begin(), bytes.end(), '\0');
  return static_cast<std::size_t>(padding) > bytes.size() / 8 * 7;
}

}  // namespace

bool fitFixedLength(std::span<const std::string> texts) {
  constexpr std::size_t kAlwaysFine = 1U << 20U;
  const std::size_t size = longest(texts);
  std::size_t total = 0;
  for (const std::string& text : texts) total += text.size();
  return size <= kLongestText && texts.size() * size <= kAlwaysFine + 16 * total;
}

Handle makeSpace(const std::vector<hsize_t>& extents) {
  const auto rank = static_cast<int>(extents.size());
  return Handle(checked(rank == 0 ? H5Screate(H5S_SCALAR) : H5Screate_simple(rank, extents.data(), nullptr), kStorage,
                        "cannot make a dataspace"));
}

Handle DatasetWriter::write(hid_t group, const std::string& link, hid_t type, const std::vector<hsize_t>& extents,
                            const void* values, hid_t list) {
  Handle dataset(
      checked(H5Dcreate2(group, link.c_str(), type, makeSpace(extents).get(), H5P_DEFAULT, list, H5P_DEFAULT), kStorage,
              "cannot make a dataset"));
  if (std::find(extents.begin(), extents.end(), hsize_t{0}) != extents.end()) return dataset;
  checked(H5Dwrite(dataset.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values), kStorage, "cannot be written");
  return dataset;
}

Handle DatasetWriter::writeColumn(hid_t group, const std::string& link, hid_t type, const std::vector<hsize_t>& extents,
                                  const void* values) {
  constexpr std::size_t kChunkBytes = 1U << 20U;
  const std::size_t elements = std::accumulate(extents.begin(), extents.end(), std::size_t{1}, std::multiplies<>());
  const std::string_view bytes(static_cast<const char*>(values), elements * H5Tget_size(type));
  const std::size_t rowBytes = bytes.size() / std::max<std::size_t>(extents.front(), 1);
  if (!isWorthDeflating(bytes, rowBytes)) return writeValues(group, link, type, extents, values);
  auto chunk = extents;
  chunk.front() = std::clamp<hsize_t>(kChunkBytes / rowBytes, 1, extents.front());
  const Handle list(checked(H5Pcopy(kit_.chunkedList()), kStorage, "cannot make a property list"));
  checked(H5Pset_chunk(list.get(), static_cast<int>(chunk.size()), chunk.data()), kStorage, "cannot set up chunks");
  checked(H5Pset_deflate(list.get(), 1), kStorage, "cannot set up compression");
  return write(group, link, type, extents, values, list.get());
}

Handle DatasetWriter::writeElements(hid_t group, const std::string& link, const qxArray& array) {
  const auto extents = storedExtents(array.dims);
  const qalc::ValueView view = qalc::storedValues(array);
  const bool transposed = !view.rowMajor && !array.dims.isLine() && array.dims.elements() > 0;
  qalc::Buffer rowMajor(transposed ? array.dims.elements() * view.elementBytes : 0);
  if (transposed) qalc::reorder(view.data, rowMajor.data(), array.dims, view.elementBytes, false);
  Handle dataset = writeValues(group, link, kit_.elementType({array.id, array.complex}), extents,
                               transposed ? rowMajor.data() : view.data);
  if (extents.size() == 1 && array.dims.size() > H5S_MAX_RANK) writeDimsAttribute(dataset.get(), array.dims);
  if (array.id == qxCHAR) writeTextAttribute(kit_, dataset.get(), kKindAttribute, "char");
  return dataset;
}

Handle DatasetWriter::writeText(hid_t group, const std::string& link, std::string_view text) {
  const std::string padded = text.empty() ? std::string(1, '\0') : std::string(text);
  return writeValues(group, link, fixedTextType(padded.size()).get(), {}, padded.data());
}

Handle DatasetWriter::writeTexts(hid_t group, const std::string& link, std::span<const std::string> texts,
                                 const std::vector<hsize_t>& extents) {
  const std::size_t size = longest(texts);
  std::vector<char> block(texts.size() * size, '\0');
  for (std::size_t i = 0; i < texts.size(); ++i) std::copy(texts[i].begin(), texts[i].end(), block.data() + i * size);
  return writeColumn(group, link, fixedTextType(size).get(), extents, block.data());
}

}  // namespace vtu::qat
