#include "vtio/core/utils/signal_descriptor.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "vtio/core/utils/delivery_epoch.hpp"

namespace vtio::core::utils {
namespace {

struct NumericType {
  std::string_view name;
  qxClassID id;
};

constexpr std::array kNumericTypes = {NumericType{"double", qxDOUBLE}, NumericType{"single", qxSINGLE},
                                      NumericType{"int8", qxINT8},     NumericType{"uint8", qxUINT8},
                                      NumericType{"int16", qxINT16},   NumericType{"uint16", qxUINT16},
                                      NumericType{"int32", qxINT32},   NumericType{"uint32", qxUINT32},
                                      NumericType{"int64", qxINT64},   NumericType{"uint64", qxUINT64}};

const NumericType* findNumericType(std::string_view name) {
  const auto* found = std::find_if(kNumericTypes.begin(), kNumericTypes.end(),
                                   [name](const NumericType& type) { return type.name == name; });
  return found == kNumericTypes.end() ? nullptr : found;
}

vtu::FullBlkPathToTopMdl onOneLine(vtu::FullBlkPathToTopMdl path) {
  path.replaceNewlineWithSpace();
  return path;
}

bool samePath(const vtu::FullBlkPathToTopMdl& a, const vtu::FullBlkPathToTopMdl& b) {
  if (a.subPath() != b.subPath() || a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!(a.element(i) == b.element(i))) return false;
  }
  return true;
}

}  // namespace

SignalDescriptor::SignalDescriptor(unsigned long catalogueIndex, std::unique_ptr<Node> root,
                                   unsigned long numberOfInputPorts, unsigned long maxPoints, unsigned long decimation,
                                   const ustring& signalName, const ustring& propagatedName,
                                   const vtu::FullBlkPathToTopMdl& blockPath, unsigned long connectedPortIndex,
                                   const std::vector<unsigned long>& foreachDimensions,
                                   const std::vector<int>& foreachIterationIndices)
    : catalogueIndex_(catalogueIndex),
      root_(std::move(root)),
      numberOfInputPorts_(numberOfInputPorts),
      signalType_(root_->getSignalType()),
      maxPoints_(maxPoints),
      decimation_(decimation),
      signalName_(signalName),
      propagatedName_(propagatedName),
      blockPath_(onOneLine(blockPath)),
      connectedPortIndex_(connectedPortIndex),
      foreachIterationIndices_(foreachIterationIndices) {
  if (!foreachDimensions.empty()) this->foreachDimensions(foreachDimensions);
}

SignalDescriptor::~SignalDescriptor() = default;

int SignalDescriptor::operator<(const SignalDescriptor& other) const {
  if (this == &other) return -1;
  return compareByPathNamePort(other);
}

int SignalDescriptor::compareByPathNamePort(const SignalDescriptor& other) const {
  if (blockPath_ < other.blockPath_) return 1;
  if (!samePath(blockPath_, other.blockPath_)) return -1;
  if (const int names = signalName_.compare(other.signalName_); names != 0) return names < 0 ? 1 : -1;
  if (connectedPortIndex_ == other.connectedPortIndex_) return 0;
  return connectedPortIndex_ < other.connectedPortIndex_ ? 1 : -1;
}

std::unique_ptr<SignalDescriptor> SignalDescriptor::getCopy() const {
  auto copy = std::make_unique<SignalDescriptor>(catalogueIndex_, root_->getCopy(), numberOfInputPorts_, maxPoints_,
                                                 decimation_, signalName_, propagatedName_, blockPath_,
                                                 connectedPortIndex_, foreachDimensions_, foreachIterationIndices_);
  copy->foreachIterationIdx_ = foreachIterationIdx_;
  return copy;
}

unsigned long SignalDescriptor::inportOrder() const { return 0; }

bool SignalDescriptor::operator==(const SignalDescriptor& other) const {
  if (this == &other) return true;
  return connectedPortIndex_ == other.connectedPortIndex_ && signalName_ == other.signalName_ &&
         samePath(blockPath_, other.blockPath_);
}

void SignalDescriptor::foreachDimensions(const std::vector<unsigned long>& dimensions) {
  if (&dimensions != &foreachDimensions_) foreachDimensions_ = dimensions;
  const std::size_t levels = foreachDimensions_.size();
  foreachIterationIdx_ = 0;
  unsigned long stride = 1;
  for (std::size_t j = 0; j < levels && j < foreachIterationIndices_.size(); ++j) {
    const std::size_t level = levels - 1 - j;  // innermost first
    if (level < foreachIterationIndices_.size()) {
      foreachIterationIdx_ += stride * static_cast<unsigned long>(long{foreachIterationIndices_[level]});
    }
    stride *= foreachDimensions_[level];
  }
}

LeafIterator SignalDescriptor::leafIterator() const { return LeafIterator(*root_); }

LeafNVBusIterator SignalDescriptor::leafNVBusIterator() const { return LeafNVBusIterator(*root_); }

void SignalDescriptor::overrideSignal(const sigstg::LoggingInfo& info) {
  if (info.getUseCustomSignalName()) signalName_ = info.getCustomSignalName();
  decimation_ = info.getDecimateData() ? info.getDecimation() : 1;
  maxPoints_ = info.getLimitDataPoints() ? info.getMaxPoints() : 0;
  DeliveryEpoch::advance();
}

bool SignalDescriptor::isBuiltInType(const std::string& typeName) {
  return typeName == "boolean" || typeName == "logical" || findNumericType(typeName) != nullptr;
}

qxClassID SignalDescriptor::classNameToQxClassID(const std::string& className) {
  const NumericType* type = findNumericType(className);
  return type == nullptr ? qxLOGICAL : type->id;
}

}  // namespace vtio::core::utils
