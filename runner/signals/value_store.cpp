#include "runner/signals/value_store.hpp"

#include <algorithm>

namespace vtio::runner {

std::size_t ValueStore::original(std::size_t variable) const {
  const std::size_t first = model_.variables[variable].aliasOf.value_or(variable);
  // FMI 2 lets an integer and an enumeration share a reference.
  return model_.variables[first].type == model_.variables[variable].type ? first : variable;
}

ValueStore::ValueStore(const ModelDescription& model, const std::vector<std::size_t>& variables)
    : model_(model), groups_(2) {
  for (const std::size_t index : variables) add(model.variables[original(index)], original(index));
  clockValues_.resize(clocks_.size());
  for (Group& group : groups_) {
    for (Batch& batch : group.batches) {
      if (batch.type == VariableType::string) {
        batch.texts.resize(batch.count);
      } else if (batch.type == VariableType::binary) {
        batch.binaries.resize(batch.count);
      } else {
        batch.values.resize(batch.count * bytesOf(batch.type));
      }
    }
  }
}

void ValueStore::add(const Variable& variable, std::size_t index) {
  const std::size_t elements = variable.elements();
  if (elements == 0 || places_.contains(index)) return;
  if (variable.type == VariableType::clock) {
    if (clockPlaces_.emplace(index, clocks_.size()).second) clocks_.push_back(variable.valueReference);
    return;
  }
  const std::size_t group = groupOf(variable);
  std::vector<Batch>& batches = groups_[group].batches;
  auto batch =
      std::find_if(batches.begin(), batches.end(), [&](const Batch& one) { return one.type == variable.type; });
  if (batch == batches.end()) batch = batches.insert(batch, Batch{{variable.type, {}, 0}, {}, {}, {}});
  places_.emplace(index, Place{group, static_cast<std::size_t>(batch - batches.begin()), batch->count});
  batch->references.push_back(variable.valueReference);
  batch->count += elements;
}

std::size_t ValueStore::groupOf(const Variable& variable) {
  if (variable.clocks.empty()) return variable.isIntermediate ? 1 : 0;
  const auto found =
      std::find_if(groups_.begin(), groups_.end(), [&](const Group& group) { return group.clocks == variable.clocks; });
  const auto index = static_cast<std::size_t>(found - groups_.begin());
  if (found == groups_.end()) groups_.push_back({variable.clocks, {}});
  return index;
}

std::vector<VariableBatch> ValueStore::intermediate() const {
  return {groups_[1].batches.begin(), groups_[1].batches.end()};
}

const std::byte* ValueStore::takeIntermediate(const std::byte* sample) {
  for (Batch& batch : groups_[1].batches) {
    std::copy_n(sample, batch.values.size(), batch.values.begin());
    sample += batch.values.size();
  }
  return sample;
}

void ValueStore::read(Group& group, Instance& instance) {
  for (Batch& batch : group.batches) {
    if (batch.type == VariableType::string) {
      readTexts(batch, instance);
    } else if (batch.type == VariableType::binary) {
      readBinaries(batch, instance);
    } else {
      instance.get(batch.type, batch.references, batch.values.data(), batch.count);
    }
  }
}

void ValueStore::readAll(Instance& instance) {
  for (Group& group : groups_) read(group, instance);
}

void ValueStore::readTicking(Instance& instance, const std::vector<std::uint32_t>& ticking) {
  const auto ticks = [&ticking](std::uint32_t clock) {
    return std::find(ticking.begin(), ticking.end(), clock) != ticking.end();
  };
  for (std::size_t i = 0; i < clocks_.size(); ++i) {
    if (ticks(clocks_[i])) clockValues_[i] = 1;
  }
  for (Group& group : groups_) {
    if (std::any_of(group.clocks.begin(), group.clocks.end(), ticks)) read(group, instance);
  }
}

void ValueStore::clearClocks() { std::fill(clockValues_.begin(), clockValues_.end(), std::uint8_t{0}); }

ValueStore::Held ValueStore::hold() const {
  Held held;
  held.groups.assign(groups_.begin() + 2, groups_.end());
  return held;
}

// Every value stays in its place: the log has its address.
void ValueStore::restore(const Held& held) {
  for (std::size_t i = 0; i < held.groups.size(); ++i) {
    std::vector<Batch>& batches = groups_[i + 2].batches;
    for (std::size_t k = 0; k < batches.size(); ++k) {
      const Batch& source = held.groups[i].batches[k];
      std::copy(source.values.begin(), source.values.end(), batches[k].values.begin());
      std::copy(source.texts.begin(), source.texts.end(), batches[k].texts.begin());
      std::copy(source.binaries.begin(), source.binaries.end(), batches[k].binaries.begin());
    }
  }
}

void ValueStore::readTexts(Batch& batch, Instance& instance) {
  rawTexts_.resize(batch.count);
  instance.getTexts(batch.references, rawTexts_);
  for (std::size_t i = 0; i < batch.count; ++i) {
    batch.texts[i] = rawTexts_[i] != nullptr ? vtu::to_ustring(rawTexts_[i]) : vtu::ustring();
  }
}

void ValueStore::readBinaries(Batch& batch, Instance& instance) {
  rawBinaries_.resize(batch.count);
  binarySizes_.resize(batch.count);
  instance.getBinaries(batch.references, binarySizes_, rawBinaries_);
  for (std::size_t i = 0; i < batch.count; ++i) {
    const bool has = rawBinaries_[i] != nullptr;
    batch.binaries[i].assign(has ? reinterpret_cast<const char*>(rawBinaries_[i]) : "", has ? binarySizes_[i] : 0);
  }
}

const std::byte* ValueStore::numbers(std::size_t variable) const {
  if (const auto clock = clockPlaces_.find(original(variable)); clock != clockPlaces_.end()) {
    return reinterpret_cast<const std::byte*>(&clockValues_[clock->second]);
  }
  const Place& place = places_.at(original(variable));
  const Batch& batch = batchOf(place);
  return batch.values.data() + place.first * bytesOf(batch.type);
}

const vtu::ustring& ValueStore::text(std::size_t variable, std::uint64_t element) const {
  const Place& place = places_.at(original(variable));
  return batchOf(place).texts.at(place.first + element);
}

const std::string& ValueStore::binary(std::size_t variable, std::uint64_t element) const {
  const Place& place = places_.at(original(variable));
  return batchOf(place).binaries.at(place.first + element);
}

}  // namespace vtio::runner
