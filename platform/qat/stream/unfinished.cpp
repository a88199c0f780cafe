#include "platform/qat/stream/unfinished.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <string>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/open_tables.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/qat/write/remove_link.hpp"

namespace vtu::qat {
namespace {

/// Does nothing to a dataset that cannot grow either: that of a table that was written whole.
void cutTo(const Source& source, hid_t table, const std::string& name, std::uint64_t rows) {
  if (!hasMember(table, name)) return;
  const Handle dataset = openDataset(source, table, name);
  std::array<hsize_t, H5S_MAX_RANK> extents{}, most{};
  checked(H5Sget_simple_extent_dims(spaceOf(dataset.get()).get(), extents.data(), most.data()), kDamaged, "no extents");
  if (extents[0] <= rows || most[0] != H5S_UNLIMITED) return;
  extents[0] = rows;
  checked(H5Dset_extent(dataset.get(), extents.data()), kStorage, "a dataset cannot be cut to size");
}

/// Writes the counts of the records and leaves their other members as they are.
void writeCounts(const Source& source, hid_t table, const std::vector<StoredColumn>& columns) {
  if (columns.empty()) return;
  const Handle dataset = openDataset(source, table, kColumnsMember);
  const Handle type(checked(H5Tcreate(H5T_COMPOUND, sizeof(std::uint64_t)), kStorage, "cannot make a type"));
  checked(H5Tinsert(type.get(), "count", 0, H5T_NATIVE_UINT64), kStorage, "cannot make a type");
  std::vector<std::uint64_t> counts;
  counts.reserve(columns.size());
  for (const StoredColumn& column : columns) counts.push_back(column.count);
  checked(H5Dwrite(dataset.get(), type.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, counts.data()), kStorage,
          "the counts of rows cannot be written");
}

/// The group of a table; none where it is damaged or a link.
Handle openTable(const Source& source, hid_t tables, std::uint32_t number) {
  try {
    return openGroup(source, tables, std::to_string(number));
  } catch (const Failure&) {
    return {};
  }
}

/// Makes a table exact; the counts of valid rows stay. @param rows It keeps at least.
/// @return false if there are none: the table is finished already
bool makeExact(const Source& source, hid_t tables, std::uint32_t number, std::uint64_t rows) {
  const Handle table = openTable(source, tables, number);
  if (!table || !hasMember(table.get(), kRowsMember)) return false;
  FileTable open(source, std::to_string(number), openGroup(source, tables, std::to_string(number)));
  const std::vector<StoredColumn> columns = open.columns();
  open.refresh();
  std::set<std::string> datasets{kTimeMember};
  for (const StoredColumn& column : columns) {
    rows = std::max(rows, column.begin + column.count);
    datasets.insert(column.elementClass);
  }
  writeCounts(source, table.get(), columns);
  for (const std::string& name : datasets) cutTo(source, table.get(), name, rows);
  return true;
}

}  // namespace

void retireLeaves(const Source& source, std::uint32_t table, const std::vector<std::uint32_t>& records) {
  const Handle tables = openGroup(source, source.root, kSamplesGroup);
  const Handle group = openGroup(source, tables.get(), std::to_string(table));
  const Handle dataset = openDataset(source, group.get(), kColumnsMember);
  const std::vector<hsize_t> at(records.begin(), records.end());
  const Handle space = spaceOf(dataset.get());
  checked(H5Sselect_elements(space.get(), H5S_SELECT_SET, at.size(), at.data()), kStorage, "cannot select records");
  const hsize_t count = at.size();
  const Handle memory(checked(H5Screate_simple(1, &count, nullptr), kStorage, "cannot make a dataspace"));
  const Handle name = fixedTextType(1);
  const Handle type(checked(H5Tcreate(H5T_COMPOUND, 9), kStorage, "cannot make a type"));
  checked(H5Tinsert(type.get(), "count", 0, H5T_NATIVE_UINT64), kStorage, "cannot make a type");
  checked(H5Tinsert(type.get(), "name", 8, name.get()), kStorage, "cannot make a type");
  const std::vector<char> nothing(9 * records.size());
  checked(H5Dwrite(dataset.get(), type.get(), memory.get(), space.get(), H5P_DEFAULT, nothing.data()), kStorage,
          "the records of signals cannot be changed");
}

void finishStream(const Source& source, std::span<const std::uint64_t> rows) {
  if (!hasMember(source.root, kSamplesGroup)) return;
  const Handle tables = openGroup(source, source.root, kSamplesGroup);
  std::vector<std::uint32_t> unfinished;
  for (const std::uint32_t number : OpenTables(source).numbers()) {
    atPlace(std::string(kSamplesGroup) + "/" + std::to_string(number), [&] {
      const std::uint64_t least = number < rows.size() ? rows[number] : 0;
      if (makeExact(source, tables.get(), number, least)) unfinished.push_back(number);
    });
  }
  if (unfinished.empty()) return;
  // The records must be in the file before the counts go.
  checked(H5Fflush(tables.get(), H5F_SCOPE_LOCAL), kStorage, "cannot be written");
  for (const std::uint32_t number : unfinished) {
    const Handle table = openTable(source, tables.get(), number);
    removeLink(source, table.get(), kRowsMember, false);
  }
}

}  // namespace vtu::qat
