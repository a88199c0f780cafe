#include "runner/signals/value_store.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace vtio::runner {
namespace {

constexpr std::size_t kClocks = static_cast<std::size_t>(-1);

}  // namespace

std::size_t ValueStore::original(std::size_t variable) const {
  const std::size_t first = model_.variables[variable].aliasOf.value_or(variable);
  // FMI 2 lets an integer and an enumeration share a reference.
  return model_.variables[first].type == model_.variables[variable].type ? first : variable;
}

ValueStore::ValueStore(const ModelDescription& model, const std::vector<std::size_t>& variables) : model_(model) {
  std::array<Batch, kVariableTypes> byType;
  for (const std::size_t index : variables) {
    const Variable& variable = model.variables[original(index)];
    const std::size_t elements = variable.elements();
    if (elements == 0 || places_.contains(original(index)) || textPlaces_.contains(original(index)) ||
        binaryPlaces_.contains(original(index))) {
      continue;
    }
    if (variable.type == VariableType::string) {
      textPlaces_.emplace(original(index), texts_.size());
      textReferences_.push_back(variable.valueReference);
      texts_.resize(texts_.size() + elements);
      continue;
    }
    if (variable.type == VariableType::binary) {
      binaryPlaces_.emplace(original(index), binaries_.size());
      binaryReferences_.push_back(variable.valueReference);
      binaries_.resize(binaries_.size() + elements);
      continue;
    }
    const bool isClock = variable.type == VariableType::clock;
    Batch& batch = byType[static_cast<std::size_t>(variable.type)];
    places_.emplace(original(index), std::pair(isClock ? kClocks : static_cast<std::size_t>(variable.type),
                                               batch.valueCount * bytesOf(variable.type)));
    batch.type = variable.type;
    batch.references.push_back(variable.valueReference);
    batch.valueCount += elements;
    batch.values.resize(batch.valueCount * bytesOf(variable.type));
  }
  clocks_ = std::move(byType[static_cast<std::size_t>(VariableType::clock)]);
  byType[static_cast<std::size_t>(VariableType::clock)] = Batch();
  batches_.assign(std::make_move_iterator(byType.begin()), std::make_move_iterator(byType.end()));
  for (std::size_t i = 0; i < batches_.size(); ++i) {
    if (!batches_[i].references.empty()) used_.push_back(i);
  }
  rawTexts_.resize(texts_.size());
  rawBinaries_.resize(binaries_.size());
  binarySizes_.resize(binaries_.size());
}

void ValueStore::read(Instance& instance) {
  for (const std::size_t index : used_) {
    Batch& batch = batches_[index];
    instance.get(batch.type, batch.references, batch.values.data(), batch.valueCount);
  }
  std::fill(clocks_.values.begin(), clocks_.values.end(), std::byte{0});
  if (!textReferences_.empty()) readTexts(instance);
  if (!binaryReferences_.empty()) readBinaries(instance);
}

void ValueStore::readClocks(Instance& instance) {
  if (clocks_.references.empty()) return;
  instance.get(VariableType::clock, clocks_.references, clocks_.values.data(), clocks_.valueCount);
}

void ValueStore::readTexts(Instance& instance) {
  instance.getTexts(textReferences_, rawTexts_);
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    texts_[i] = rawTexts_[i] != nullptr ? vtu::to_ustring(rawTexts_[i]) : vtu::ustring();
  }
}

void ValueStore::readBinaries(Instance& instance) {
  instance.getBinaries(binaryReferences_, binarySizes_, rawBinaries_);
  for (std::size_t i = 0; i < binaries_.size(); ++i) {
    const bool has = rawBinaries_[i] != nullptr;
    binaries_[i].assign(has ? reinterpret_cast<const char*>(rawBinaries_[i]) : "", has ? binarySizes_[i] : 0);
  }
}

const std::byte* ValueStore::numbers(std::size_t variable) const {
  const auto& [batch, offset] = places_.at(original(variable));
  return (batch == kClocks ? clocks_ : batches_[batch]).values.data() + offset;
}

const vtu::ustring& ValueStore::text(std::size_t variable, std::uint64_t element) const {
  return texts_.at(textPlaces_.at(original(variable)) + element);
}

const std::string& ValueStore::binary(std::size_t variable, std::uint64_t element) const {
  return binaries_.at(binaryPlaces_.at(original(variable)) + element);
}

}  // namespace vtio::runner
