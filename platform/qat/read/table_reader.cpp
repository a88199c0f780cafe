// The part of the reader that puts the columns and rows of a table together.
#include <algorithm>
#include <cstring>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/read/reader.hpp"
#include "platform/qat/read/table_column.hpp"
#include "platform/qat/utf8_rows.hpp"
#include "platform/qat/write/writer.hpp"

namespace vtu::qat {
namespace {

bool anyColumn(const std::vector<TableColumn>& columns) {
  return std::any_of(columns.begin(), columns.end(), [](const TableColumn& column) {
    return column.form == TableColumn::Form::columns ? anyColumn(column.fields)
                                                     : column.form != TableColumn::Form::inRows;
  });
}

qalc::ArrayPtr elementOf(const qxArray& numbers, std::size_t index) {
  const std::size_t dims[] = {1, 1};
  qalc::ArrayPtr single(qxCreateNumericArray(2, dims, numbers.id, numbers.complex));
  const qalc::ValueView view = qalc::storedValues(numbers);
  std::memcpy(qxGetData(single.get()), view.data + index * view.elementBytes, view.elementBytes);
  return single;
}

qalc::ArrayPtr cellsOf(const TableColumn& column, std::size_t row) {
  const std::size_t first = column.offsets[row];
  const std::size_t count = column.offsets[row + 1] - first;
  const std::size_t dims[] = {column.cellsAreRows ? 1 : count, column.cellsAreRows ? count : 1};
  qalc::ArrayPtr cells(qxCreateCellArray(2, dims));
  for (std::size_t i = 0; i < count; ++i) cells->storage->ownCells[i] = rowOfText(column.texts[first + i]);
  return cells;
}

void requireOffsets(const TableColumn& column, std::size_t rows) {
  const auto& offsets = column.offsets;
  if (offsets.size() != rows + 1 || offsets.front() != 0 || offsets.back() != column.texts.size() ||
      !std::is_sorted(offsets.begin(), offsets.end())) {
    throw Failure(kDamaged, "the offsets do not fit the column");
  }
}

}  // namespace

qalc::ArrayPtr Reader::readTable(hid_t group) {
  const auto dims = dimsAttribute(group);
  const std::size_t rows = checkedElements(dims, fileSize_);
  tableValues_ = 0;
  const auto columns = readColumns(group, rows);
  const bool hasRows = hasMember(group, "0");
  H5G_info_t info;
  checked(H5Gget_info(group, &info), kDamaged, "a group cannot be read");
  if ((!hasRows && !anyColumn(columns)) || (hasRows && info.nlinks < rows)) {
    throw Failure(kDamaged, "the members do not fit " + std::to_string(rows) + " rows");
  }
  qalc::ArrayPtr cells(qxCreateCellArray(dims.size(), dims.data()));
  for (std::size_t i = 0; i < rows; ++i) {
    const std::string name = std::to_string(i);
    cells->storage->ownCells[i] = atPlace(name, [&] {
      haddr_t address = HADDR_UNDEF;
      const Handle members = hasRows ? openMember(group, name, &address) : Handle();
      return readRow(columns, i, members.get());
    });
  }
  return cells;
}

std::vector<TableColumn> Reader::readColumns(hid_t group, std::size_t rows) {
  std::vector<TableColumn> columns;
  const auto links = fieldLinks(group);
  tableValues_ += links.size();
  if (rows > 0 && tableValues_ > 64 * fileSize_ / rows) {
    throw Failure(kDamaged, std::to_string(links.size()) + " fields for " + std::to_string(rows) + " rows");
  }
  columns.reserve(links.size());
  for (const std::string& link : links) {
    columns.push_back(atPlace(link, [&] { return readColumn(group, link, rows); }));
  }
  return columns;
}

TableColumn Reader::readColumn(hid_t group, const std::string& link, std::size_t rows) {
  TableColumn column;
  column.link = link;
  column.name = decodeName(link);
  if (link.empty()) throw Failure(kDamaged, "an empty field name");
  if (!hasMember(group, link)) return column;
  haddr_t address = HADDR_UNDEF;
  const Handle object = openMember(group, link, &address);
  if (H5Iget_type(object.get()) == H5I_GROUP) {
    if (!columnGroups_.insert(address).second || columnGroups_.size() > fileSize_) {
      throw Failure(kDamaged, "a group of columns that is used twice");
    }
    if (++depth_ > kDeepestNesting + 2) throw Failure(kDamaged, "nested deeper than any Qat file");
    column.form = TableColumn::Form::columns;
    column.fields = readColumns(object.get(), rows);
    --depth_;
    return column;
  }
  if (H5Iget_type(object.get()) != H5I_DATASET) throw Failure(kDamaged, "a column that is not a dataset");
  const Handle type(checked(H5Dget_type(object.get()), kDamaged, "a column has no type"));
  if (H5Tget_class(type.get()) == H5T_STRING) {
    readTextCells(group, object.get(), rows, column);
    return column;
  }
  column.form = TableColumn::Form::numbers;
  column.numbers = readDataset(object.get());
  if (column.numbers->dims.elements() != rows || !column.numbers->dims.isLine()) {
    throw Failure(kDamaged, "a column that does not have " + std::to_string(rows) + " rows");
  }
  return column;
}

void Reader::readTextCells(hid_t group, hid_t dataset, std::size_t rows, TableColumn& column) {
  const Handle space(checked(H5Dget_space(dataset), kDamaged, "a column has no dataspace"));
  const Handle type(checked(H5Dget_type(dataset), kDamaged, "a column has no type"));
  const hssize_t count = H5Sget_simple_extent_npoints(space.get());
  requireJustified(dataset, static_cast<std::uint64_t>(std::max<hssize_t>(count, 0)), H5Tget_size(type.get()));
  column.texts = texts_.datasetTexts(dataset);
  column.cellsAreRows = textAttribute(dataset, kShapeAttribute) == "row";
  column.form = TableColumn::Form::textCells;
  if (const std::string link = kOffsetsPrefix + column.link; hasMember(group, link)) {
    column.offsets = readNumbers(group, link);
  } else if (H5Sget_simple_extent_ndims(space.get()) == 1) {
    column.form = TableColumn::Form::texts;
    if (column.texts.size() != rows) throw Failure(kDamaged, "a column that does not have all rows");
    return;
  } else {
    for (std::size_t i = 0; i <= rows; ++i) column.offsets.push_back(column.texts.size() / rows * i);
  }
  requireOffsets(column, rows);
}

qalc::ArrayPtr Reader::readRow(const std::vector<TableColumn>& columns, std::size_t row, hid_t members) {
  std::vector<std::string> names;
  names.reserve(columns.size());
  for (const TableColumn& column : columns) names.push_back(column.name);
  qalc::ArrayPtr structure = makeStructures({1, 1}, names);
  for (std::size_t f = 0; f < columns.size(); ++f) {
    structure->storage->fields[f].values.front() = readRowValue(columns[f], row, members);
  }
  return structure;
}

qalc::ArrayPtr Reader::readRowValue(const TableColumn& column, std::size_t row, hid_t members) {
  switch (column.form) {
    case TableColumn::Form::numbers:
      return elementOf(*column.numbers, row);
    case TableColumn::Form::texts:
      return rowOfText(column.texts[row]);
    case TableColumn::Form::textCells:
      return cellsOf(column, row);
    case TableColumn::Form::inRows:
      return members >= 0 ? readField(members, column.link) : nullptr;
    case TableColumn::Form::columns:
      break;
  }
  if (members < 0 || !hasMember(members, column.link)) return readRow(column.fields, row, H5I_INVALID_HID);
  return atPlace(column.link, [&] {
    haddr_t address = HADDR_UNDEF;
    const Handle inner = openMember(members, column.link, &address);
    return readRow(column.fields, row, inner.get());
  });
}

}  // namespace vtu::qat
