#include "platform/qat/integrity/integrity.hpp"

#include <unordered_set>

#include "platform/qat/integrity/dense.hpp"
#include "platform/qat/integrity/layout.hpp"
#include "platform/qat/integrity/messages.hpp"

namespace vtu::qat {
namespace {

constexpr const char* kNotInQat = ", which Qat files do not have";

[[noreturn]] void refuse(const Message& message, const std::string& what) {
  throw Failure(kUnsupported, inWords(message.body.place()) + ": " + what + kNotInQat);
}

void checkFreeSpaceInfo(Cursor at) {
  at.require(at.u8() == 1, "its free space information has an unknown version");
  at.skip(1);
  if (at.u8() != 0) throw Failure(kUnsupported, inWords(at.place()) + ": kept account of free space" + kNotInQat);
  at.skip(8 + 8 + 2 + 8);
}

void checkTreeSizes(Cursor at) {
  constexpr unsigned kUsual = 32;
  at.require(at.u8() == 0, "its sizes of trees have an unknown version");
  if (at.u16() != kUsual)
    throw Failure(kUnsupported, inWords(at.place()) + ": trees of chunks of another size" + kNotInQat);
  at.skip(4);
}

void checkComment(Cursor at) {
  while (at.u8() != 0) {
  }
}

void checkModificationTime(Cursor at) {
  at.require(at.u8() == 1, "its time of modification has an unknown version");
  at.skip(7);
}

void checkReferenceCount(Cursor at) {
  at.require(at.u8() == 0, "its number of links has an unknown version");
  at.skip(4);
}

}  // namespace

void Integrity::requireExtension(std::uint64_t extension) {
  if (extension == kNoAddress) return;
  for (const Message& message : readObjectHeader(blocks_, extension).messages) {
    switch (message.type) {
      case MessageType::treeSizes:
        checkTreeSizes(message.body);
        break;
      case MessageType::freeSpaceInfo:
        checkFreeSpaceInfo(message.body);
        break;
      default:
        refuse(message, "the superblock's extension has a message of type " +
                            std::to_string(static_cast<unsigned>(message.type)));
    }
  }
}

void Integrity::requireObject(std::uint64_t address) {
  std::unordered_set<std::uint64_t> seen;
  std::vector<std::uint64_t> open{address};
  while (!open.empty()) {
    const std::uint64_t next = open.back();
    open.pop_back();
    if (!seen.insert(next).second) continue;
    const Verdict* verdict = check(next);
    if (verdict == nullptr) continue;
    if (verdict->failure) throw Failure(*verdict->failure);
    open.insert(open.end(), verdict->types.begin(), verdict->types.end());
  }
}

void Integrity::requireTree(std::uint64_t address) {
  constexpr std::size_t kDeepest = 1000;                 // two objects for each level of nesting, and some
  std::unordered_map<std::uint64_t, std::size_t> links;  // to each object, from those below the first
  std::vector<std::uint64_t> open{address};
  links[address] = 0;
  while (!open.empty()) {
    const std::uint64_t next = open.back();
    open.pop_back();
    requireObject(next);
    for (const std::uint64_t target : targetsOf(next)) {
      if (links[target]++ == 0 && target != address) open.push_back(target);
    }
  }
  // Level by level: an object is deleted with the last link to it. What links to itself is never deleted.
  open.assign(1, address);
  for (std::size_t depth = 0; !open.empty(); ++depth) {
    if (depth > kDeepest) throw Failure(kDamaged, "nested deeper than any Qat file");
    std::vector<std::uint64_t> below;
    for (const std::uint64_t object : open) {
      for (const std::uint64_t target : targetsOf(object)) {
        if (--links[target] == 0) below.push_back(target);
      }
    }
    open = std::move(below);
  }
}

const std::vector<std::uint64_t>& Integrity::targetsOf(std::uint64_t address) {
  static const std::vector<std::uint64_t> none;
  const Verdict* verdict = check(address);
  return verdict == nullptr ? none : verdict->targets;
}

void Integrity::forget() {
  blocks_.clear();
  verdicts_.clear();
  namedTypes_.clear();
}

const Integrity::Verdict* Integrity::check(std::uint64_t address) {
  const auto [found, isNew] = verdicts_.try_emplace(address);
  if (!isNew) return found->second.get();
  Verdict verdict;
  usedTypes_.clear();
  try {
    checkObject(address, verdict.targets);
  } catch (const Failure& failure) {
    verdict.failure = failure;
  }
  verdict.types = std::move(usedTypes_);
  if (purpose_ == Purpose::reading) verdict.targets.clear();
  if (!verdict.failure && verdict.targets.empty() && verdict.types.empty()) return nullptr;
  std::unique_ptr<Verdict>& kept = verdicts_[address];
  kept = std::make_unique<Verdict>(std::move(verdict));
  return kept.get();
}

void Integrity::checkObject(std::uint64_t address, std::vector<std::uint64_t>& targets) {
  const ObjectHeader header = readObjectHeader(blocks_, address);
  for (const Message& message : header.messages) checkMessage(message, targets);
  if (const Message* layout = header.find(MessageType::layout)) checkDataset(header, *layout);
}

void Integrity::checkMessage(const Message& message, std::vector<std::uint64_t>& targets) {
  const NamedTypes named = [this](std::uint64_t address) { return namedType(address); };
  if (message.shared() && message.type != MessageType::datatype) refuse(message, "a message that is kept elsewhere");
  switch (message.type) {
    case MessageType::dataspace:
      static_cast<void>(readDataspace(message.body));
      break;
    case MessageType::datatype:
      static_cast<void>(readTypeMessage(message.body, message.shared(), named));
      break;
    case MessageType::linkInfo:
      if (const DenseInfo info = readLinkInfo(message.body); info.heap != kNoAddress) {
        checkDenseLinks(blocks_, info, purpose_, targets);
      }
      break;
    case MessageType::attributeInfo:
      if (const DenseInfo info = readAttributeInfo(message.body); info.heap != kNoAddress) {
        checkDenseAttributes(blocks_, info, purpose_, named);
      }
      break;
    case MessageType::link:
      if (const LinkInfo link = readLink(message.body); link.target != kNoAddress) targets.push_back(link.target);
      break;
    case MessageType::attribute:
      readAttribute(message.body, named);
      break;
    case MessageType::groupInfo:
      checkGroupInfo(message.body);
      break;
    case MessageType::fillValue:
      static_cast<void>(readFillValue(message.body));
      break;
    case MessageType::oldFillValue:
      static_cast<void>(readOldFillValue(message.body));
      break;
    case MessageType::filters:
      static_cast<void>(readFilters(message.body));
      break;
    case MessageType::comment:
      checkComment(message.body);
      break;
    case MessageType::modificationTime:
      checkModificationTime(message.body);
      break;
    case MessageType::referenceCount:
      checkReferenceCount(message.body);
      break;
    case MessageType::layout:
      break;  // once all else is known
    default:
      refuse(message, "a message of type " + std::to_string(static_cast<unsigned>(message.type)));
  }
}

void Integrity::checkDataset(const ObjectHeader& header, const Message& layout) {
  const Message* space = header.find(MessageType::dataspace);
  const Message* type = header.find(MessageType::datatype);
  if (space == nullptr || type == nullptr) layout.body.fail("a dataset without type or extents");
  DatasetInfo dataset;
  dataset.space = readDataspace(space->body);
  dataset.type =
      readTypeMessage(type->body, type->shared(), [this](std::uint64_t address) { return namedType(address); });
  if (const Message* filters = header.find(MessageType::filters)) dataset.filters = readFilters(filters->body);
  if (const Message* fill = header.find(MessageType::fillValue)) {
    requireFillValue(fill->body, readFillValue(fill->body), dataset.type);
  }
  if (const Message* fill = header.find(MessageType::oldFillValue)) {
    requireFillValue(fill->body, readOldFillValue(fill->body), dataset.type);
  }
  checkLayout(blocks_, layout.body, dataset);
}

TypeInfo Integrity::namedType(std::uint64_t address) {
  usedTypes_.push_back(address);
  const auto found = namedTypes_.find(address);
  if (found != namedTypes_.end()) return found->second;
  Blocks aside(blocks_.source());  // the header is entered into the account when the object itself is checked
  const ObjectHeader header = readObjectHeader(aside, address);
  const Message* type = header.find(MessageType::datatype);
  if (type == nullptr || type->shared()) {
    throw Failure(kDamaged, inWords({"object header", address}) + ": it is used as a type, but has none");
  }
  Cursor body = type->body;
  return namedTypes_.emplace(address, readDatatype(body)).first->second;
}

}  // namespace vtu::qat
