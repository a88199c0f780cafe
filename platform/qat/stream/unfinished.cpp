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

void cutTo(const Source& source, hid_t table, const std::string& name, std::uint64_t rows) {
  if (!hasMember(table, name)) return;
  const Handle dataset = openDataset(source, table, name);
  std::array<hsize_t, H5S_MAX_RANK> extents{};
  checked(H5Sget_simple_extent_dims(spaceOf(dataset.get()).get(), extents.data(), nullptr), kDamaged, "no extents");
  if (extents[0] <= rows) return;
  extents[0] = rows;
  checked(H5Dset_extent(dataset.get(), extents.data()), kStorage, "a dataset cannot be cut to size");
}

/// Writes one member of the records and leaves the others as they are.
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

/// Makes a table exact; the counts of valid rows stay.
/// @return false if there are none: the table is finished already
bool makeExact(const Source& source, hid_t tables, std::uint32_t number) {
  const Handle table = openTable(source, tables, number);
  if (!table || !hasMember(table.get(), kRowsMember)) return false;
  OpenTable open(source, std::to_string(number), openGroup(source, tables, std::to_string(number)));
  const std::vector<StoredColumn> columns = open.columns();
  open.refresh();
  std::uint64_t rows = 0;
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

void finishStream(const Source& source) {
  if (!hasMember(source.root, kSamplesGroup)) return;
  const Handle tables = openGroup(source, source.root, kSamplesGroup);
  std::vector<std::uint32_t> unfinished;
  for (const std::uint32_t number : OpenTables(source).numbers()) {
    atPlace(std::string(kSamplesGroup) + "/" + std::to_string(number), [&] {
      if (makeExact(source, tables.get(), number)) unfinished.push_back(number);
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
