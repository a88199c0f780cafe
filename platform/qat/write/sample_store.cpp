#include "platform/qat/write/sample_store.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/file_format.hpp"
#include "platform/qat/write/remove_link.hpp"
#include "platform/qat/write/sample_table_writer.hpp"

namespace vtu::qat {
namespace {

constexpr const char* kGroupFailure = "cannot make the group of a sample table";

bool hasLink(hid_t group, const std::string& name) {
  return checked(H5Lexists(group, name.c_str(), H5P_DEFAULT), kStorage, "cannot look for a sample table") > 0;
}

std::string linkOf(std::uint32_t table) { return std::string(kSamplesGroup) + "/" + std::to_string(table); }

void requireSamplesGroup(hid_t parent, hid_t list) {
  if (hasLink(parent, kSamplesGroup)) return;
  const Handle made(
      checked(H5Gcreate2(parent, kSamplesGroup, H5P_DEFAULT, list, H5P_DEFAULT), kStorage, kGroupFailure));
}

/// The smallest number from `number` on that no table has.
std::uint32_t freeNumber(hid_t root, std::uint32_t number) {
  if (!hasLink(root, kSamplesGroup)) return number;
  while (hasLink(root, linkOf(number))) ++number;
  return number;
}

/// The folder of a file without symbolic links.
std::filesystem::path folderOf(const std::string& file) {
  std::error_code ignored;
  return std::filesystem::weakly_canonical(std::filesystem::absolute(file, ignored), ignored).parent_path();
}

SampleSelection selectionOf(const SampleTable& table, const std::vector<const qalc::Storage*>& values) {
  SampleSelection selection;
  selection.table = &table;
  std::uint64_t first = UINT64_MAX, end = 0;
  for (const qalc::Storage* storage : values) {
    const SampleColumn& column = storage->samples->column();
    selection.columns.push_back(&column);
    first = std::min(first, column.first);
    end = std::max(end, column.first + column.count);
  }
  selection.first = first;
  selection.count = end - first;
  return selection;
}

/// @param columns Takes the columns that are selected then.
void leaveRowsOut(SampleSelection& selection, std::vector<SampleColumn>& columns) {
  selection.first = selection.count = 0;
  columns.reserve(selection.columns.size());
  for (const SampleColumn*& column : selection.columns) {
    columns.push_back(*column);
    columns.back().first = columns.back().count = 0;
    column = &columns.back();
  }
}

}  // namespace

std::string SampleStore::key(const SampleColumn& column) {
  const std::array<std::uint64_t, 7> numbers = {
      column.offset,    column.bytes(),    column.first, column.count, static_cast<std::uint64_t>(column.id),
      column.isComplex, column.name.size()};
  std::string key;
  const auto append = [&key](const auto& list) {
    key.append(reinterpret_cast<const char*>(list.data()), list.size() * sizeof *list.data());
  };
  append(numbers);
  append(column.name);
  append(column.dims);
  append(column.unit);
  return key;
}

/// The offset of a leaf in a row, and whether it has no bytes.
std::pair<std::uint64_t, bool> SampleStore::placeInRow(const std::string& key) {
  std::array<std::uint64_t, 2> numbers{};
  std::memcpy(numbers.data(), key.data(), sizeof numbers);
  return {numbers[0], numbers[1] == 0};
}

void SampleStore::write(const qxArray& array, hid_t root, hid_t staging,
                        const std::function<SignalNames()>& takenNames) {
  std::erase_if(entries_, [](const auto& entry) { return entry.second.table.expired(); });
  visited_.clear();
  lackOf_.clear();
  references_.clear();
  staged_.clear();
  std::vector<Lack> lacking;
  collect(array, 0, root, lacking);
  if (lacking.empty()) return;
  SignalNames names = takenNames();
  for (Lack& lack : lacking) writeTable(lack, root, staging, names);
}

void SampleStore::adopt(const std::shared_ptr<const SampleTable>& table, const std::vector<SampleColumn>& leaves,
                        std::uint32_t number) {
  Entry& entry = entries_[table.get()];
  entry.table = table;
  for (std::uint32_t i = 0; i < leaves.size(); ++i) {
    const Reference reference{number, i, kValuesPart};
    entry.columns.try_emplace(key(leaves[i]), reference);
    entry.times.try_emplace({leaves[i].first, leaves[i].count}, Reference{number, i, kTimesPart});
  }
}

void SampleStore::collect(const qxArray& array, int depth, hid_t root, std::vector<Lack>& lacking) {
  const qalc::Storage& storage = *array.storage;
  if (storage.samples) {
    if (visited_.insert(&storage).second) collectSamples(storage, root, lacking);
    return;
  }
  if ((array.id != qxCELL && array.id != qxSTRUCT) || depth > kDeepestNesting) return;
  if (array.storage.use_count() > 1 && !visited_.insert(&storage).second) return;
  for (const auto& cell : storage.ownCells) {
    if (cell) collect(*cell, depth + 1, root, lacking);
  }
  for (const qalc::Field& field : storage.fields) {
    for (const auto& value : field.values) {
      if (value) collect(*value, depth + 1, root, lacking);
    }
  }
}

void SampleStore::collectSamples(const qalc::Storage& storage, hid_t root, std::vector<Lack>& lacking) {
  const qalc::Samples& samples = *storage.samples;
  if (samples.areTimes()) return;
  if (const auto known = entries_.find(samples.table().get()); known != entries_.end()) {
    const auto column = known->second.columns.find(key(samples.column()));
    if (column != known->second.columns.end()) {
      references_[&storage] = column->second;
      return;
    }
  }
  const StoredTable* stored = samples.table()->stored();
  if (stored != nullptr && refer(storage, *stored, root)) return;
  const auto [lack, isNew] = lackOf_.try_emplace(samples.table().get(), lacking.size());
  if (isNew) lacking.push_back({samples.table(), {}});
  lacking[lack->second].columns.emplace_back(samples.column().offset, &storage);
}

/// Makes a value refer to samples that are in a file already. @return false if it cannot
bool SampleStore::refer(const qalc::Storage& storage, const StoredTable& stored, hid_t root) {
  const qalc::Samples& samples = *storage.samples;
  const SampleColumn& column = samples.column();
  const auto record = stored.records.find(column.offset);
  if (record == stored.records.end() || column.bytes() == 0 || !reach(stored, root)) return false;
  Entry& entry = entries_[samples.table().get()];
  entry.table = samples.table();
  const Reference reference{stored.table, record->second, kValuesPart};
  entry.columns.try_emplace(key(column), reference);
  entry.times.try_emplace({column.first, column.count}, Reference{stored.table, record->second, kTimesPart});
  references_[&storage] = reference;
  return true;
}

/// True if the table is in this file, or will be linked under its own number from a file in the same folder.
bool SampleStore::reach(const StoredTable& stored, hid_t root) {
  std::error_code ignored;
  if (std::filesystem::equivalent(stored.file, file_, ignored)) return true;
  const std::string name = std::filesystem::path(stored.file).filename().string();
  if (const auto known = linked_.find(stored.table); known != linked_.end()) return known->second == name;
  if (folderOf(stored.file) != folderOf(file_) || freeNumber(root, stored.table) != stored.table) return false;
  linked_.emplace(stored.table, name);
  return true;
}

void SampleStore::writeTable(Lack& lack, hid_t root, hid_t staging, SignalNames& names) {
  std::stable_sort(lack.columns.begin(), lack.columns.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::uint32_t number = freeNumber(root, staged_.empty() ? 0 : staged_.back() + 1);
  while (linked_.count(number) != 0) number = freeNumber(root, number + 1);
  Entry& entry = entries_[lack.table.get()];
  entry.table = lack.table;
  std::vector<const qalc::Storage*> distinct;
  references_.reserve(references_.size() + lack.columns.size());
  entry.columns.reserve(entry.columns.size() + lack.columns.size());
  distinct.reserve(lack.columns.size());
  for (const auto& [offset, storage] : lack.columns) {
    const SampleColumn& column = storage->samples->column();
    const Reference reference{number, static_cast<std::uint32_t>(distinct.size()), kValuesPart};
    const auto [known, isNew] = entry.columns.try_emplace(key(column), reference);
    if (isNew) distinct.push_back(storage);
    references_[storage] = known->second;
    entry.times.try_emplace({column.first, column.count},
                            Reference{known->second.table, known->second.column, kTimesPart});
  }
  const std::string link = linkOf(number);
  requireSamplesGroup(staging, kit_.groupList());
  const Handle group(checked(
      H5Gcreate2(staging, link.c_str(), H5P_DEFAULT, growingList_ ? growingList_.get() : kit_.groupList(), H5P_DEFAULT),
      kStorage, kGroupFailure));
  keepWithoutLink(staging, link);
  staged_.push_back(number);
  SampleSelection selection = selectionOf(*lack.table, distinct);
  std::vector<SampleColumn> withoutRows;
  if (leftOut_.count(lack.table.get()) != 0) leaveRowsOut(selection, withoutRows);
  SampleTableWriter writer(kit_, group.get(), selection);
  atPlace(link, [&] {
    writer.writeTimes();
    writer.writeValues();
    writer.writeRecords(names);
  });
}

std::optional<Reference> SampleStore::find(const qxArray& value, const qxArray* owner) const {
  const qalc::Samples* samples = value.storage->samples.get();
  if (samples == nullptr) return {};
  if (!samples->areTimes()) {
    const auto found = references_.find(value.storage.get());
    return found != references_.end() ? std::optional(found->second) : std::nullopt;
  }
  const auto entry = entries_.find(samples->table().get());
  if (entry == entries_.end()) return {};
  if (owner != nullptr) {
    if (const auto beside = besideTimes(*samples, *owner)) return beside;
  }
  const Rows rows{samples->column().first, samples->column().count};
  const auto found = entry->second.times.find(rows);
  return found != entry->second.times.end() ? std::optional(found->second) : std::nullopt;
}

std::optional<Reference> SampleStore::besideTimes(const qalc::Samples& times, const qxArray& owner) const {
  const auto& fields = owner.storage->fields;
  const auto matches = [&](const qalc::Field& field) -> const qalc::Storage* {
    const qxArray* value = field.values.size() == 1 ? field.values.front().get() : nullptr;
    const qalc::Samples* samples = value != nullptr ? value->storage->samples.get() : nullptr;
    const bool same = samples != nullptr && !samples->areTimes() && samples->table() == times.table() &&
                      samples->column().first == times.column().first &&
                      samples->column().count == times.column().count;
    return same ? value->storage.get() : nullptr;
  };
  const qalc::Storage* values = besideField_ < fields.size() ? matches(fields[besideField_]) : nullptr;
  for (std::size_t f = 0; values == nullptr && f < fields.size(); ++f) {
    values = matches(fields[f]);
    besideField_ = f;
  }
  const auto found = references_.find(values);
  if (found == references_.end()) return {};
  return Reference{found->second.table, found->second.column, kTimesPart};
}

void SampleStore::link(hid_t root, hid_t staging) {
  if (staged_.empty() && linked_.empty()) return;
  requireSamplesGroup(root, kit_.groupList());
  for (const auto& [number, file] : linked_) {
    const std::string link = linkOf(number);
    if (hasLink(root, link)) continue;
    checked(H5Lcreate_external(file.c_str(), ("/" + link).c_str(), root, link.c_str(), H5P_DEFAULT, H5P_DEFAULT),
            kStorage, "a sample table cannot be linked");
  }
  for (const std::uint32_t number : staged_) {
    const std::string link = linkOf(number);
    checked(H5Lcreate_hard(staging, link.c_str(), root, link.c_str(), H5P_DEFAULT, H5P_DEFAULT), kStorage,
            "a sample table cannot be linked");
  }
  staged_.clear();
}

void SampleStore::leaveRoomForCounts() {
  growingList_ = Handle(checked(H5Pcopy(kit_.groupList()), kStorage, kGroupFailure));
  keepLinksInHeader(growingList_.get(), 32, 20);
}

void SampleStore::addPlaces(std::map<const SampleTable*, LeafRecords>& places) const {
  for (const auto& [table, entry] : entries_) {
    LeafRecords& records = places[table];
    records.clear();
    for (const auto& [key, reference] : entry.columns) records.emplace(placeInRow(key), reference);
  }
}

void SampleStore::clear() {
  entries_.clear();
  references_.clear();
  staged_.clear();
  linked_.clear();
}

}  // namespace vtu::qat
