#include "platform/qat/object_image.hpp"

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
constexpr std::uint8_t kReferenceCount = 0x16;

// Flags of a message.
constexpr std::uint8_t kConstant = 1;
constexpr std::uint8_t kNotShareable = 4;

constexpr std::size_t kMessagePrefix = 4;  // type, size, flags
constexpr std::size_t kChecksum = 4;
constexpr std::size_t kLinkInfoBytes = 18;
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

std::size_t dataspaceBytes(const DatasetImage& dataset) { return 4 + 8 * dataset.extents.size(); }

std::size_t datasetMessages(const DatasetImage& dataset) {
  return 4 * kMessagePrefix + dataspaceBytes(dataset) + dataset.type.size() + kFillValueBytes + kLayoutBytes +
         (dataset.references > 1 ? kMessagePrefix + kReferenceCountBytes : 0);
}

std::size_t groupMessages(std::size_t messageBytes, std::size_t links, std::size_t spare) {
  return 2 * kMessagePrefix + kLinkInfoBytes + kGroupInfoBytes + links * kMessagePrefix + messageBytes + spare;
}

}  // namespace

std::size_t linkBytes(std::string_view name) { return 2 + (name.size() <= 0xFF ? 1 : 2) + name.size() + 8; }

void putLink(ByteImage& image, const LinkImage& link) {
  const bool isShort = link.name.size() <= 0xFF;
  image.put(std::uint8_t{1});                             // version
  image.put(static_cast<std::uint8_t>(isShort ? 0 : 1));  // a hard link; bytes of the name's length: 2 to this power
  image.putSized(link.name.size(), isShort ? 1 : 2);
  image.putText(link.name);
  image.put(link.address);
}

std::size_t groupHeaderBytes(std::size_t messageBytes, std::size_t links, std::size_t spare) {
  return headerBytes(groupMessages(messageBytes, links, spare));
}

void putGroupHeader(ByteImage& image, std::span<const LinkImage> links, const LinkIndexPlace& index,
                    std::size_t spare) {
  const std::size_t start = image.size();
  std::size_t messageBytes = 0;
  for (const LinkImage& link : links) messageBytes += linkBytes(link.name);
  putPrefix(image, groupMessages(messageBytes, links.size(), spare));
  putMessage(image, kLinkInfo, kLinkInfoBytes, 0);
  image.put(std::uint16_t{0});  // version 0, no order of creation
  image.put(index.heap);
  image.put(index.tree);
  putMessage(image, kGroupInfo, kGroupInfoBytes, kConstant);
  image.put(std::uint16_t{0});  // version 0, nothing but defaults
  for (const LinkImage& link : links) {
    putMessage(image, kLink, linkBytes(link.name), 0);
    putLink(image, link);
  }
  if (spare != 0) {
    putMessage(image, kNil, spare - kMessagePrefix, 0);
    image.putZeros(spare - kMessagePrefix);
  }
  image.seal(start);
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
  if (dataset.references > 1) {
    putMessage(image, kReferenceCount, kReferenceCountBytes, kNotShareable);
    image.put(std::uint8_t{0});  // version
    image.put(dataset.references);
  }
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
