#include "platform/qat/write/object_image.hpp"

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

// Messages of an object header.
constexpr std::uint8_t kNil = 0x00;
constexpr std::uint8_t kDataspace = 0x01;
constexpr std::uint8_t kLinkInfo = 0x02;
constexpr std::uint8_t kDatatype = 0x03;
constexpr std::uint8_t kFillValue = 0x05;
constexpr std::uint8_t kLink = 0x06;
constexpr std::uint8_t kLayout = 0x08;
constexpr std::uint8_t kGroupInfo = 0x0A;
constexpr std::uint8_t kAttribute = 0x0C;
constexpr std::uint8_t kAttributeInfo = 0x15;
constexpr std::uint8_t kReferenceCount = 0x16;

// Flags of a message.
constexpr std::uint8_t kConstant = 1;
constexpr std::uint8_t kNotShareable = 4;

constexpr std::size_t kMessagePrefix = 4;  // type, size, flags
constexpr std::size_t kChecksum = 4;
constexpr std::size_t kLinkInfoBytes = 18;
constexpr std::size_t kOrderedLinkInfoBytes = 34;
constexpr std::size_t kOrderBytes = 8;
constexpr std::size_t kAttributeInfoBytes = 18;
constexpr std::size_t kGroupInfoBytes = 2;
constexpr std::size_t kFillValueBytes = 2;
constexpr std::size_t kLayoutBytes = 18;
constexpr std::size_t kReferenceCountBytes = 5;

/// The number of bytes of all messages takes 1, 2 or 4 bytes: the exponent of that size.
std::uint8_t sizeExponent(std::size_t messages) { return messages <= 0xFF ? 0 : messages <= 0xFFFF ? 1 : 2; }

std::size_t headerBytes(std::size_t messages) { return 6 + (1U << sizeExponent(messages)) + messages + kChecksum; }

void putPrefix(ByteImage& image, std::size_t messages) {
  image.putText("OHDR");
  image.put(std::uint8_t{2});
  image.put(sizeExponent(messages));
  image.putSized(messages, std::size_t{1} << sizeExponent(messages));
}

void putMessage(ByteImage& image, std::uint8_t type, std::size_t size, std::uint8_t flags) {
  image.put(type);
  image.put(static_cast<std::uint16_t>(size));
  image.put(flags);
}

constexpr std::uint8_t kHasOrder = 4;  // flag of a link

/// A link up to where its number would stand.
void putLinkStart(ByteImage& image, const LinkImage& link, std::uint8_t flags) {
  image.put(std::uint8_t{1});  // version
  // A hard link; bytes of the name's length: 2 to the power of the lowest bits.
  image.put(static_cast<std::uint8_t>(flags | (link.name.size() <= 0xFF ? 0 : 1)));
}

void putLinkEnd(ByteImage& image, const LinkImage& link) {
  image.putSized(link.name.size(), link.name.size() <= 0xFF ? 1 : 2);
  image.putText(link.name);
  image.put(link.address);
}

std::size_t dataspaceBytes(const DatasetImage& dataset) { return 4 + 8 * dataset.extents.size(); }

std::size_t datasetMessages(const DatasetImage& dataset) {
  return 4 * kMessagePrefix + dataspaceBytes(dataset) + dataset.type.size() + kFillValueBytes + kLayoutBytes +
         (dataset.references > 1 ? kMessagePrefix + kReferenceCountBytes : 0);
}

std::size_t countBytes(std::uint32_t references) { return references > 1 ? kMessagePrefix + kReferenceCountBytes : 0; }

void putReferenceCount(ByteImage& image, std::uint32_t references) {
  if (references <= 1) return;
  putMessage(image, kReferenceCount, kReferenceCountBytes, kNotShareable);
  image.put(std::uint8_t{0});  // version
  image.put(references);
}

std::size_t groupMessages(const GroupShape& shape) {
  const std::size_t perLink = kMessagePrefix + (shape.ordered ? kOrderBytes : 0);
  const std::size_t info = shape.ordered ? kOrderedLinkInfoBytes : kLinkInfoBytes;
  return 2 * kMessagePrefix + info + kGroupInfoBytes + shape.links * perLink + shape.linkBytes +
         (shape.attributeBytes != 0 ? kMessagePrefix + kAttributeInfoBytes : 0) + shape.attributeBytes +
         countBytes(shape.references) + shape.spare;
}

void putLinkInfo(ByteImage& image, const GroupImage& group) {
  putMessage(image, kLinkInfo, group.ordered ? kOrderedLinkInfoBytes : kLinkInfoBytes, 0);
  image.put(std::uint8_t{0});                                       // version
  image.put(static_cast<std::uint8_t>(group.ordered ? 3 : 0));      // order kept and indexed
  if (group.ordered) image.put(std::uint64_t{group.links.size()});  // the next number
  image.put(group.index.heap);
  image.put(group.index.tree);
  if (group.ordered) image.put(std::uint64_t{HADDR_UNDEF});
}

void putLinkMessage(ByteImage& image, const LinkImage& link, bool ordered, std::uint64_t number) {
  putMessage(image, kLink, linkBytes(link.name) + (ordered ? kOrderBytes : 0), 0);
  if (!ordered) return putLink(image, link);
  putLinkStart(image, link, kHasOrder);
  image.put(number);
  putLinkEnd(image, link);
}

}  // namespace

std::size_t linkBytes(std::string_view name) { return 2 + (name.size() <= 0xFF ? 1 : 2) + name.size() + 8; }

void putLink(ByteImage& image, const LinkImage& link) {
  putLinkStart(image, link, 0);
  putLinkEnd(image, link);
}

std::size_t groupHeaderBytes(const GroupShape& shape) { return headerBytes(groupMessages(shape)); }

void putGroupHeader(ByteImage& image, const GroupImage& group) {
  const std::size_t start = image.size();
  GroupShape shape{0, group.links.size(), group.ordered, group.attributes.size(), group.references, group.spare};
  for (const LinkImage& link : group.links) shape.linkBytes += linkBytes(link.name);
  putPrefix(image, groupMessages(shape));
  putLinkInfo(image, group);
  putMessage(image, kGroupInfo, kGroupInfoBytes, kConstant);
  image.put(std::uint16_t{0});  // version 0, nothing but defaults
  if (!group.attributes.empty()) {
    putMessage(image, kAttributeInfo, kAttributeInfoBytes, kNotShareable);
    image.put(std::uint16_t{0});  // version 0, no order
    image.put(std::uint64_t{HADDR_UNDEF});
    image.put(std::uint64_t{HADDR_UNDEF});
    image.putBytes(group.attributes);
  }
  std::uint64_t number = 0;
  for (const LinkImage& link : group.links) putLinkMessage(image, link, group.ordered, number++);
  putReferenceCount(image, group.references);
  if (group.spare != 0) {
    putMessage(image, kNil, group.spare - kMessagePrefix, 0);
    image.putZeros(group.spare - kMessagePrefix);
  }
  image.seal(start);
}

void putAttribute(ByteImage& image, const AttributeImage& attribute) {
  const std::size_t space = attribute.isList ? 12 : 4;
  const std::size_t name = attribute.name.size() + 1;
  putMessage(image, kAttribute, 9 + name + attribute.type.size() + space + attribute.values.size(), 0);
  image.put(std::uint16_t{3});  // version 3, nothing shared
  image.put(static_cast<std::uint16_t>(name));
  image.put(static_cast<std::uint16_t>(attribute.type.size()));
  image.put(static_cast<std::uint16_t>(space));
  image.put(std::uint8_t{0});  // the set of characters of the name, as HDF5 marks it by default
  image.putText(attribute.name);
  image.put(std::uint8_t{0});
  image.putBytes(attribute.type);
  image.put(std::uint8_t{2});                                      // version
  image.put(static_cast<std::uint8_t>(attribute.isList ? 1 : 0));  // rank
  image.put(std::uint8_t{0});                                      // the extents are the largest ones
  image.put(static_cast<std::uint8_t>(attribute.isList ? 1 : 0));  // scalar or simple
  if (attribute.isList) image.put(attribute.count);
  image.putBytes(attribute.values);
}

std::span<const std::byte> variableTextType() {
  // Class 9, a text of UTF-8, in 16 bytes; its elements are unsigned bytes.
  static constexpr unsigned char kType[] = {0x19, 0x01, 0x01, 0x00, 16, 0, 0, 0, 0x10, 0x00,
                                            0x00, 0x00, 1,    0,    0,  0, 0, 0, 8,    0};
  return std::as_bytes(std::span(kType));
}

std::size_t datasetHeaderBytes(const DatasetImage& dataset) { return headerBytes(datasetMessages(dataset)); }

void putDatasetHeader(ByteImage& image, const DatasetImage& dataset) {
  const std::size_t start = image.size();
  putPrefix(image, datasetMessages(dataset));
  putMessage(image, kDataspace, dataspaceBytes(dataset), 0);
  image.put(std::uint8_t{2});  // version
  image.put(static_cast<std::uint8_t>(dataset.extents.size()));
  image.put(std::uint8_t{0});                                             // the extents are the largest ones
  image.put(static_cast<std::uint8_t>(dataset.extents.empty() ? 0 : 1));  // scalar or simple
  for (const hsize_t extent : dataset.extents) image.put(extent);
  putMessage(image, kDatatype, dataset.type.size(), kConstant);
  image.putBytes(dataset.type);
  putMessage(image, kFillValue, kFillValueBytes, kConstant);
  image.put(std::uint8_t{3});     // version
  image.put(std::uint8_t{0x05});  // allocated early, never filled
  putMessage(image, kLayout, kLayoutBytes, 0);
  image.put(std::uint8_t{4});  // version
  image.put(std::uint8_t{1});  // contiguous
  image.put(dataset.address);
  image.put(dataset.size);
  putReferenceCount(image, dataset.references);
  image.seal(start);
}

std::vector<std::byte> encodedType(hid_t type) {
  constexpr const char* kWhat = "cannot encode a type";
  constexpr std::size_t kEnvelope = 2;  // message type and version of the encoding stand before the message
  std::size_t size = 0;
  checked(H5Tencode(type, nullptr, &size), kStorage, kWhat);
  std::vector<std::byte> bytes(size);
  checked(H5Tencode(type, bytes.data(), &size), kStorage, kWhat);
  if (size <= kEnvelope) throw Failure(kStorage, kWhat);
  bytes.erase(bytes.begin(), bytes.begin() + kEnvelope);
  return bytes;
}

}  // namespace vtu::qat
