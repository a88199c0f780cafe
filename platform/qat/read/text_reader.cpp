#include "platform/qat/read/text_reader.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/qat/failure.hpp"
#include "platform/qat/kit.hpp"

namespace vtu::qat {
namespace {

constexpr const char* kReferenceTag = "vtio text reference";

/// A text of variable length as stored in the file.
struct HeapReference {
  std::uint32_t length;
  std::uint64_t heapAddress;
  std::uint32_t index;
};
constexpr std::size_t kReferenceBytes = 16;

HeapReference decode(const unsigned char* bytes) {
  HeapReference reference{};
  std::memcpy(&reference.length, bytes, 4);
  std::memcpy(&reference.heapAddress, bytes + 4, 8);
  std::memcpy(&reference.index, bytes + 12, 4);
  return reference;
}

bool hasReferenceTag(hid_t type) {
  if (H5Tget_class(type) != H5T_OPAQUE) return false;
  char* tag = H5Tget_tag(type);
  const bool same = tag != nullptr && std::string_view(tag) == kReferenceTag;
  H5free_memory(tag);
  return same;
}

/// Conversion from text of variable length to its bare reference: the bytes stay as they are.
herr_t keepReference(hid_t source, hid_t target, H5T_cdata_t* data, size_t, size_t, size_t, void*, void*, hid_t) {
  if (data->command != H5T_CONV_INIT) return 0;
  data->need_bkg = H5T_BKG_NO;
  return H5Tis_variable_str(source) > 0 && hasReferenceTag(target) ? 0 : -1;
}

Handle makeReferenceType() {
  Handle type(checked(H5Tcreate(H5T_OPAQUE, kReferenceBytes), kStorage, "cannot make a type"));
  checked(H5Tset_tag(type.get(), kReferenceTag), kStorage, "cannot make a type");
  return type;
}

/// The type to read references with; the conversion is registered by the first call.
Handle referenceType() {
  Handle type = makeReferenceType();
  static const bool registered = [&type] {
    Handle text(checked(H5Tcopy(H5T_C_S1), kStorage, "cannot make a type"));
    checked(H5Tset_size(text.get(), H5T_VARIABLE), kStorage, "cannot make a type");
    checked(H5Tregister(H5T_PERS_SOFT, kReferenceTag, text.get(), type.get(), keepReference), kStorage,
            "cannot register a conversion");
    return true;
  }();
  static_cast<void>(registered);
  return type;
}

herr_t readDataset(hid_t dataset, hid_t type, void* target) {
  return H5Dread(dataset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, target);
}

}  // namespace

void Texts::assign(std::string block, std::size_t size, H5T_str_t padding) {
  bytes_ = std::move(block);
  for (std::size_t at = 0; at < bytes_.size(); at += size) {
    runs_.emplace_back(at, sizeWithoutPadding(std::string_view(bytes_).substr(at, size), padding));
  }
}

Texts TextReader::attributeTexts(hid_t attribute) {
  const Handle type(checked(H5Aget_type(attribute), kDamaged, "an attribute has no type"));
  const Handle space(checked(H5Aget_space(attribute), kDamaged, "an attribute has no dataspace"));
  return texts(attribute, type.get(), space.get(), H5Aread);
}

Texts TextReader::datasetTexts(hid_t dataset) {
  const Handle type(checked(H5Dget_type(dataset), kDamaged, "a dataset has no type"));
  const Handle space(checked(H5Dget_space(dataset), kDamaged, "a dataset has no dataspace"));
  return texts(dataset, type.get(), space.get(), readDataset);
}

Texts TextReader::texts(hid_t object, hid_t type, hid_t space, ReadCall read) {
  if (H5Tget_class(type) != H5T_STRING) throw Failure(kDamaged, "text expected, another type found");
  const auto count =
      static_cast<std::size_t>(checked(H5Sget_simple_extent_npoints(space), kDamaged, "a dataspace cannot be read"));
  if (count == 0) return {};
  budget_.take(count, sizeof(std::pair<std::size_t, std::size_t>));
  return H5Tis_variable_str(type) > 0 ? variableTexts(object, count, read) : fixedTexts(object, type, count, read);
}

Texts TextReader::fixedTexts(hid_t object, hid_t type, std::size_t count, ReadCall read) {
  const std::size_t size = H5Tget_size(type);
  if (size == 0) throw Failure(kDamaged, "text of no length");
  budget_.take(count, size);
  std::string block(count * size, '\0');
  checked(read(object, type, block.data()), kDamaged, "text cannot be read");
  Texts result;
  result.assign(std::move(block), size, H5Tget_strpad(type));
  return result;
}

Texts TextReader::variableTexts(hid_t object, std::size_t count, ReadCall read) {
  if (count > fileSize_ / kReferenceBytes) throw Failure(kDamaged, "more texts than the file has room for");
  std::vector<unsigned char> block(count * kReferenceBytes);
  checked(read(object, referenceType().get(), block.data()), kDamaged, "text references cannot be read");
  Texts result;
  for (std::size_t i = 0; i < count; ++i) {
    const HeapReference reference = decode(block.data() + i * kReferenceBytes);
    if (reference.length == 0) {
      result.append({});
      continue;
    }
    const Heap& heap = heapAt(reference.heapAddress);
    const auto found = heap.objects.find(reference.index);
    if (found == heap.objects.end() || reference.length > found->second.second) {
      throw Failure(kDamaged, "a text is not in the heap at address " + std::to_string(reference.heapAddress));
    }
    budget_.take(1, reference.length);
    const char* text = heap.bytes.data() + found->second.first;
    result.append({text, strnlen(text, reference.length)});
  }
  return result;
}

const TextReader::Heap& TextReader::heapAt(std::uint64_t address) {
  constexpr std::size_t kMostHeapBytes = 64U << 20U;
  const auto found = heaps_.find(address);
  if (found != heaps_.end()) return found->second;
  if (heapBytes_ > kMostHeapBytes) {
    heaps_.clear();
    heapBytes_ = 0;
  }
  Heap heap = loadHeap(address);
  heapBytes_ += heap.bytes.size();
  return heaps_.emplace(address, std::move(heap)).first->second;
}

TextReader::Heap TextReader::loadHeap(std::uint64_t address) const {
  constexpr std::size_t kHeader = 16;
  const Failure damaged(kDamaged, "the text heap at address " + std::to_string(address) + " is damaged");
  if (address > fileSize_ || fileSize_ - address < kHeader) throw damaged;
  char header[kHeader];
  bytes_.read(address, header, kHeader);
  std::uint64_t size = 0;
  std::memcpy(&size, header + 8, sizeof size);
  if (std::memcmp(header, "GCOL\x01", 5) != 0 || size < kHeader || size > fileSize_ - address) throw damaged;
  Heap heap;
  heap.bytes.resize(size);
  bytes_.read(address, heap.bytes.data(), size);
  for (std::size_t at = kHeader; size - at >= kHeader;) {
    std::uint16_t index = 0;
    std::uint64_t length = 0;
    std::memcpy(&index, heap.bytes.data() + at, sizeof index);
    std::memcpy(&length, heap.bytes.data() + at + 8, sizeof length);
    if (index == 0) break;  // the free rest
    at += kHeader;
    if (length > size - at) throw damaged;
    heap.objects[index] = {at, length};
    at += std::min<std::uint64_t>((length + 7) / 8 * 8, size - at);
  }
  return heap;
}

}  // namespace vtu::qat
