#include "platform/qat/read/part_reader.hpp"

#include <algorithm>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/read/array_path.hpp"
#include "platform/qat/read/structures.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {

PartReader::PartReader(const Source& source, QatPartSamples samples) : Reader(source) {
  setSamples(samples == QatPartSamples::references ? Samples::references : Samples::resolved);
}

qalc::ArrayPtr PartReader::read(const std::string& link, const std::vector<std::string>& path) {
  qalc::ArrayPtr part = member(source_.root, link, path);
  forgetObjects();
  loadSamples();  // of what is in the part: the rest is not in use any more
  return part;
}

qalc::ArrayPtr PartReader::member(hid_t group, const std::string& link, Path path) {
  if (path.empty()) return readMember(group, link);
  return atPlace(link, [&] {
    const Handle object = openMember(source_, group, link);
    if (H5Iget_type(object.get()) != H5I_GROUP) return partOf(readMember(group, link).get(), path);
    const std::string kind = textAttribute(object.get(), kKindAttribute);
    const bool isSingle = H5Aexists(object.get(), kDimsAttribute) == 0;
    if (kind == "struct" && isSingle) return structure(object.get(), path);
    if (kind == "cell" && textAttribute(object.get(), kFormAttribute) == "table" && !numberOfStep(path.front())) {
      return table(object.get(), path);
    }
    const bool isMember = kind == "cell" && numberOfStep(path.front()) && hasMember(object.get(), path.front());
    if (isMember) return member(object.get(), path.front(), path.subspan(1));
    return partOf(readMember(group, link).get(), path);
  });
}

qalc::ArrayPtr PartReader::structure(hid_t group, Path path) {
  const std::string link = encodeName(path.front());
  if (H5Aexists(group, link.c_str()) <= 0 && hasMember(group, link)) return member(group, link, path.subspan(1));
  const qalc::ArrayPtr value = readField(group, link);
  if (!value) failAtStep(path.front(), "no such field");
  return partOf(value.get(), path.subspan(1));
}

qalc::ArrayPtr PartReader::table(hid_t group, Path path) {
  const std::size_t rows = checkedElements(dimsAttribute(group));
  return column(group, encodeName(path.front(), NameRole::tableField), rows, path);
}

/// @param path Begins with the name of the column.
qalc::ArrayPtr PartReader::column(hid_t group, const std::string& link, std::size_t rows, Path path) {
  if (!hasMember(group, link)) failAtStep(path.front(), "no such field");
  const Path rest = path.subspan(1);
  const auto row = rest.empty() ? std::nullopt : numberOfStep(rest.front());
  if (row && *row >= rows) failAtStep(rest.front(), "there are " + std::to_string(rows) + " cells");
  return atPlace(link, [&] {
    const Handle object = openMember(source_, group, link);
    const bool isGroup = H5Iget_type(object.get()) == H5I_GROUP;
    if (isGroup && !rest.empty() && !row && textAttribute(object.get(), kFormAttribute) == "columns") {
      return column(object.get(), encodeName(rest.front(), NameRole::tableField), rows, rest);
    }
    const Column read = readColumn(group, link, rows);
    if (read.form == Column::Form::members) return members(read, rows, rest);
    if (!row && !rest.empty()) failAtStep(rest.front(), "the cells hold no structures");
    return row ? partOf(rowValue(read, *row).get(), rest.subspan(1)) : wholeColumn(read, rows);
  });
}

qalc::ArrayPtr PartReader::members(const Column& column, std::size_t rows, Path path) {
  const auto row = path.empty() ? std::nullopt : numberOfStep(path.front());
  if (row) {
    const bool isThere = std::binary_search(column.present.begin(), column.present.end(), *row);
    if (!isThere) return partOf(nullptr, path.subspan(1));
    return member(column.members.get(), path.front(), path.subspan(1));
  }
  const qalc::ArrayPtr cells = cellsOfColumn(column, rows);
  std::vector<const qxArray*> values;
  for (const auto& cell : cells->storage->ownCells) values.push_back(cell.get());
  return partOfAll(values, path);
}

qalc::ArrayPtr PartReader::cellsOfColumn(const Column& column, std::size_t rows) {
  budget_.take(rows, sizeof(void*));
  const std::size_t dims[] = {rows, 1};
  qalc::ArrayPtr cells(qxCreateCellArray(2, dims));
  for (std::size_t i = 0; i < rows; ++i) cells->storage->ownCells[i] = rowValue(column, i);
  return cells;
}

qalc::ArrayPtr PartReader::wholeColumn(const Column& column, std::size_t rows) {
  switch (column.form) {
    case Column::Form::numbers:
      return qalc::ArrayPtr(qxShareArray(column.numbers.get()));
    case Column::Form::references:
      if (samplesAre(Samples::references)) return referenceRows(resolved(column.references));
      return cellsOfColumn(column, rows);
    case Column::Form::columns: {
      std::vector<std::string> names;
      for (const Column& field : column.fields) names.push_back(field.name);
      qalc::ArrayPtr columns = makeStructures({1, 1}, names);
      for (std::size_t f = 0; f < names.size(); ++f) {
        columns->storage->fields[f].values.front() = wholeColumn(column.fields[f], rows);
      }
      return columns;
    }
    case Column::Form::members:
      return members(column, rows, {});
    default:
      return cellsOfColumn(column, rows);
  }
}

}  // namespace vtu::qat
