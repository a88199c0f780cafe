#include "platform/qat/integrity/integrity.hpp"

#include "platform/qat/integrity/dense.hpp"
#include "platform/qat/integrity/layout.hpp"
#include "platform/qat/integrity/messages.hpp"

namespace vtu::qat {

void Integrity::requireObject(std::uint64_t address, Purpose purpose) {
  const auto [entry, isNew] = verdicts_.try_emplace(address, Verdict::unfinished);
  Verdict& verdict = entry->second;
  if (verdict == Verdict::sound) return;
  if (verdict == Verdict::refused) throw Failure(failures_.at(address));
  if (!isNew) throw Failure(kOutOfMemory, inWords({"object", address}) + ": its check could not be finished");
  try {
    checkObject(address, purpose);
    verdict = Verdict::sound;
  } catch (const Failure& failure) {
    failures_.emplace(address, failure);
    verdict = Verdict::refused;
    throw;
  }
}

void Integrity::forget() {
  blocks_.clear();
  verdicts_.clear();
  failures_.clear();
}

void Integrity::endAt(std::uint64_t endOfFileAddress) {
  forget();
  blocks_.endAt(endOfFileAddress);
}

void Integrity::checkObject(std::uint64_t address, Purpose purpose) {
  const ObjectHeader header = readObjectHeader(blocks_, address);
  for (const Message& message : header.messages) checkMessage(message, purpose);
  if (header.find(MessageType::linkInfo) == nullptr) checkDataset(header);
}

void Integrity::checkMessage(const Message& message, Purpose purpose) {
  const Cursor& body = message.body;
  switch (message.type) {
    case MessageType::linkInfo:
      if (const DenseInfo info = readLinkInfo(body); info.heap != kNoAddress) checkDenseLinks(blocks_, info, purpose);
      break;
    case MessageType::attributeInfo:
      if (const DenseInfo info = readAttributeInfo(body); info.heap != kNoAddress) {
        checkDenseAttributes(blocks_, info, purpose);
      }
      break;
    case MessageType::link:
      readLink(body);
      break;
    case MessageType::attribute:
      readAttribute(body);
      break;
    case MessageType::groupInfo:
      checkGroupInfo(body);
      break;
    case MessageType::referenceCount:
      checkReferenceCount(body);
      break;
    default:
      break;  // of a dataset: once all of them are known
  }
}

void Integrity::checkDataset(const ObjectHeader& header) {
  const Message* space = header.find(MessageType::dataspace);
  const Message* type = header.find(MessageType::datatype);
  const Message* layout = header.find(MessageType::layout);
  if (space == nullptr || type == nullptr || layout == nullptr) {
    header.blocks.front().cursor().refuse("an object that is neither a group nor a dataset");
  }
  DatasetInfo dataset{readDataspace(space->body), readDatatype(type->body), {}};
  if (const Message* filters = header.find(MessageType::filters)) dataset.filters = readFilters(filters->body);
  if (const Message* fill = header.find(MessageType::fillValue)) checkFillValue(fill->body, dataset.type);
  checkLayout(blocks_, layout->body, dataset);
}

}  // namespace vtu::qat
