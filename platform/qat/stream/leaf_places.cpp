#include "platform/qat/stream/leaf_places.hpp"

#include <array>
#include <utility>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

/// Reads a rectangle of a member of a group.
template <std::size_t kRank>
void readPart(hid_t group, const std::string& name, hid_t type, const std::array<hsize_t, kRank>& first,
              const std::array<hsize_t, kRank>& count, void* out) {
  const Handle dataset(checked(H5Dopen2(group, name.c_str(), H5P_DEFAULT), kDamaged, "a dataset cannot be opened"));
  readRectangle(dataset.get(), type, first, count, out);
}

}  // namespace

std::optional<LeafPlace> LeafPlaces::find(LeafPlace leaf) const {
  const auto known = places_.find(leaf);
  return known == places_.end() ? std::nullopt : std::optional(known->second);
}

void LeafPlaces::set(const std::map<LeafPlace, LeafPlace>& places, OpenTables& tables) {
  for (const auto& [leaf, place] : places) places_[leaf] = place;
  tables_.clear();
  for (const auto& [leaf, place] : places_) {
    Table& table = tables_[place.first];
    if (table.columns.empty()) table.columns = tables.table(place.first).columns();
  }
  for (auto& [number, table] : tables_) {
    for (const StoredColumn& column : table.columns) table.counts.push_back(column.count);
  }
}

void LeafPlaces::open(hid_t root) {
  for (auto& [number, table] : tables_) {
    const std::string link = std::string(kSamplesGroup) + "/" + std::to_string(number);
    table.group =
        Handle(checked(H5Gopen2(root, link.c_str(), H5P_DEFAULT), kDamaged, "a sample table cannot be opened"));
    table.rows.emplace(table.group.get(), table.counts.size());
    table.rows->write(table.counts);
  }
}

void LeafPlaces::linkCounts() const {
  for (const auto& [number, table] : tables_) table.rows->link(table.group.get());
}

void LeafPlaces::close() {
  for (auto& [number, table] : tables_) {
    table.rows.reset();
    table.group.reset();
  }
}

LeafPlaces::Table& LeafPlaces::tableOf(LeafPlace leaf) {
  const auto place = find(leaf);
  if (!place) throw Failure(kAbsent, "samples that are read before the file was closed");
  return tables_.at(place->first);
}

const StoredColumn& LeafPlaces::columnOf(LeafPlace leaf) { return tableOf(leaf).columns.at(find(leaf)->second); }

void LeafPlaces::keep(LeafPlace leaf, std::uint64_t samples) {
  Table& table = tableOf(leaf);
  std::uint64_t& count = table.counts.at(find(leaf)->second);
  if (count <= samples) return;
  count = samples;
  if (table.rows) table.rows->write(table.counts);
}

void LeafPlaces::readTimes(LeafPlace leaf, std::uint64_t first, std::uint64_t count, double* out) {
  if (count == 0) return;
  readPart<1>(tableOf(leaf).group.get(), kTimeMember, H5T_NATIVE_DOUBLE, {columnOf(leaf).begin + first}, {count}, out);
}

void LeafPlaces::readValues(Kit& kit, LeafPlace leaf, std::uint64_t first, std::uint64_t count, std::uint64_t element,
                            std::uint64_t elements, void* out) {
  if (count == 0 || elements == 0) return;
  const StoredColumn& column = columnOf(leaf);
  readPart<2>(tableOf(leaf).group.get(), column.elementClass, kit.elementType(*elementClassOf(column.elementClass)),
              {column.begin + first, column.first + element}, {count, elements}, out);
}

const std::string& LeafPlaces::readText(LeafPlace leaf, TextCell cell, std::string& utf8) {
  utf8.resize(cell.bytes);
  if (cell.bytes == 0) return utf8;
  readPart<1>(tableOf(leaf).group.get(), kTextBytesMember, H5T_NATIVE_UINT8, {cell.start}, {cell.bytes}, utf8.data());
  return utf8;
}

}  // namespace vtu::qat
