// The part of the reader that puts the columns of a table together.
#include <algorithm>
#include <charconv>
#include <cstring>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/read/reader.hpp"
#include "platform/qat/read/structures.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {
namespace {

qalc::ArrayPtr elementOf(const qxArray& numbers, std::size_t index) {
  const std::size_t dims[] = {1, 1};
  qalc::ArrayPtr single(qxCreateNumericArray(2, dims, numbers.id, numbers.complex));
  const qalc::ValueView view = qalc::storedValues(numbers);
  std::memcpy(single->storage->values.data(), view.data + index * view.elementBytes, view.elementBytes);
  return single;
}

}  // namespace

qalc::ArrayPtr Reader::readTable(hid_t group) {
  const auto dims = dimsAttribute(group);
  const std::size_t rows = checkedElements(dims);
  budget_.take(rows, sizeof(void*) + kArrayBytes);
  const auto columns = readColumns(group, rows);
  if (samplesAs_ == Samples::found) {
    readMembers(columns);
    return referenceRows({});
  }
  qalc::ArrayPtr cells(qxCreateCellArray(dims.size(), dims.data()));
  for (std::size_t i = 0; i < rows; ++i) cells->storage->ownCells[i] = rowStructure(columns, i);
  return cells;
}

/// Reads the values that have objects of their own, so that the references in them are found.
void Reader::readMembers(const std::vector<Column>& columns) {
  for (const Column& column : columns) {
    for (const Reference& reference : column.references) tables_.insert(reference.table);
    for (const std::uint64_t row : column.present) readMember(column.members.get(), std::to_string(row));
    readMembers(column.fields);
  }
}

std::vector<Reader::Column> Reader::readColumns(hid_t group, std::size_t rows) {
  const Deeper deeper(depth_);
  std::vector<Column> columns;
  const auto links = fieldLinks(group);
  columns.reserve(links.size());
  for (const std::string& link : links) {
    budget_.take(rows, kFieldBytes);
    columns.push_back(atPlace(link, [&] { return readColumn(group, link, rows); }));
  }
  return columns;
}

Reader::Column Reader::readColumn(hid_t group, const std::string& link, std::size_t rows) {
  Column column;
  column.link = link;
  column.name = decodeName(link);
  if (link.empty()) throw Failure(kDamaged, "an empty field name");
  if (!hasMember(group, link)) throw Failure(kDamaged, "a field without a column");
  haddr_t address = HADDR_UNDEF;
  Handle object = openMember(source_, group, link, &address);
  if (H5Iget_type(object.get()) == H5I_DATASET) {
    readDatasetColumn(object, rows, column);
  } else if (H5Iget_type(object.get()) != H5I_GROUP) {
    throw Failure(kDamaged, "a column that is neither a dataset nor a group");
  } else if (!columnGroups_.insert(address).second) {
    throw Failure(kDamaged, "a group of columns that is used twice");
  } else {
    readGroupColumn(std::move(object), rows, column);
  }
  return column;
}

void Reader::readGroupColumn(Handle group, std::size_t rows, Column& column) {
  if (textAttribute(group.get(), kFormAttribute) == "columns") {
    column.form = Column::Form::columns;
    column.fields = readColumns(group.get(), rows);
    return;
  }
  for (const std::string& name : memberNames(group.get())) {
    std::uint64_t row = rows;
    std::from_chars(name.data(), name.data() + name.size(), row);
    if (row >= rows || std::to_string(row) != name) throw Failure(kDamaged, "a member \"" + name + "\" that is no row");
    column.present.push_back(row);
  }
  std::sort(column.present.begin(), column.present.end());
  column.members = std::move(group);
}

void Reader::readDatasetColumn(const Handle& dataset, std::size_t rows, Column& column) {
  const auto extents = extentsOf(dataset.get());
  if (extents.empty() || extents.front() != rows) {
    throw Failure(kDamaged, "a column that does not have " + std::to_string(rows) + " rows");
  }
  requireChunks(dataset.get(), budget_);
  const Handle type = typeOf(dataset.get());
  if (samplesAs_ == Samples::found && !isReferenceType(type.get())) return;
  const bool isText = H5Tget_class(type.get()) == H5T_STRING;
  if (extents.size() > (isText ? 2U : 1U)) throw Failure(kDamaged, "a column with too many axes");
  if (isText) {
    column.form = extents.size() == 1 ? Column::Form::texts : Column::Form::textCells;
    column.textsPerRow = extents.size() == 1 ? 1 : extents[1];
    column.texts = texts_.datasetTexts(dataset.get());
    column.cellsAreRows = textAttribute(dataset.get(), kShapeAttribute) == "row";
  } else if (isReferenceType(type.get())) {
    column.form = Column::Form::references;
    column.references = readReferences(dataset.get());
  } else {
    column.form = Column::Form::numbers;
    column.numbers = readDataset(dataset.get());
    if (column.numbers->dims.elements() != rows) throw Failure(kDamaged, "a column with qat.dims");
  }
}

qalc::ArrayPtr Reader::rowStructure(const std::vector<Column>& columns, std::size_t row) {
  qalc::ArrayPtr structure = makeStructures({1, 1}, {});
  auto& fields = structure->storage->fields;
  fields.reserve(columns.size());
  for (const Column& column : columns) {
    fields.push_back({column.name, qalc::FieldValues(1)});
    fields.back().values.front() = rowValue(column, row);
  }
  return structure;
}

qalc::ArrayPtr Reader::rowValue(const Column& column, std::size_t row) {
  budget_.take(1, kArrayBytes);
  switch (column.form) {
    case Column::Form::numbers:
      return elementOf(*column.numbers, row);
    case Column::Form::texts:
      return rowOfText(column.texts[row]);
    case Column::Form::references:
      return samplesOf(column.references[row]);
    case Column::Form::columns:
      return rowStructure(column.fields, row);
    case Column::Form::textCells:
      return textCells(column, row);
    case Column::Form::members:
      break;
  }
  if (!std::binary_search(column.present.begin(), column.present.end(), row)) return nullptr;
  return atPlace(column.link, [&] { return readMember(column.members.get(), std::to_string(row)); });
}

qalc::ArrayPtr Reader::textCells(const Column& column, std::size_t row) {
  const std::size_t count = column.textsPerRow;
  const std::size_t dims[] = {column.cellsAreRows ? 1 : count, column.cellsAreRows ? count : 1};
  budget_.take(count, kArrayBytes);
  qalc::ArrayPtr cells(qxCreateCellArray(2, dims));
  for (std::size_t i = 0; i < count; ++i) cells->storage->ownCells[i] = rowOfText(column.texts[row * count + i]);
  return cells;
}

}  // namespace vtu::qat
