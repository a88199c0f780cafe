// The part of the writer that stores a cell array of like structures as columns and rows.
#include <algorithm>
#include <cstring>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/write/table_images.hpp"
#include "platform/qat/write/writer.hpp"

namespace vtu::qat {
namespace {

std::vector<std::string> linksOf(const std::vector<FieldPlan>& fields) {
  std::vector<std::string> links;
  links.reserve(fields.size());
  for (const FieldPlan& field : fields) links.push_back(field.link);
  return links;
}

bool anyRowMembers(const std::vector<FieldPlan>& fields) {
  return std::any_of(fields.begin(), fields.end(), [](const FieldPlan& field) { return field.hasRowMembers; });
}

/// True if a column says how many rows there are.
bool anyColumn(const std::vector<FieldPlan>& fields) {
  return std::any_of(fields.begin(), fields.end(), [](const FieldPlan& field) {
    return field.form == FieldForm::columns ? anyColumn(field.fields) : field.form != FieldForm::inRows;
  });
}

}  // namespace

Handle Writer::writeTable(hid_t group, const std::string& link, const qxArray& array,
                          const std::vector<FieldPlan>& plan, int depth) {
  const std::size_t rows = anyRowMembers(plan) || !anyColumn(plan) ? array.dims.elements() : 0;
  Handle table = writeTableRows(group, link, plan, rows, depth);
  writeTextAttribute(kit_, table.get(), kKindAttribute, "cell");
  writeTextAttribute(kit_, table.get(), kFormAttribute, "table");
  writeDimsAttribute(table.get(), array.dims);
  writeTextsAttribute(kit_, table.get(), kFieldsAttribute, linksOf(plan));
  return table;
}

Handle Writer::writeTableRows(hid_t group, const std::string& link, const std::vector<FieldPlan>& plan,
                              std::size_t rows, int depth) {
  TableImages images(kit_, shared_, plan, rows, kDeepestNesting - depth);
  if (images.any()) return writeTableOfImages(group, link, plan, images, depth);
  Handle table = makeGroup(group, link, kit_.groupList());
  writeColumns(table.get(), plan);
  for (std::size_t i = 0; i < rows; ++i) writeRowGroup(table.get(), plan, i, depth);
  return table;
}

Handle Writer::writeTableOfImages(hid_t group, const std::string& link, const std::vector<FieldPlan>& plan,
                                  TableImages& images, int depth) {
  // What HDF5 makes stands in a group of its own until the table takes it over.
  const Handle parts(checked(H5Gcreate_anon(file_, kit_.groupList(), H5P_DEFAULT), kStorage, "cannot make a group"));
  writeColumns(parts.get(), plan);
  images.writeRows(file_, parts.get(), bytes_);
  for (const std::size_t row : images.otherRows()) writeRowGroup(parts.get(), plan, row, depth);
  return images.writeTable(file_, parts.get(), group, link, bytes_);
}

void Writer::writeRowGroup(hid_t group, const std::vector<FieldPlan>& plan, std::size_t row, int depth) {
  const std::string name = std::to_string(row);
  const Handle made = makeGroup(group, name, kit_.groupList());
  atPlace(name, [&] { writeRow(made.get(), plan, row, depth + 1); });
}

void Writer::writeColumns(hid_t group, const std::vector<FieldPlan>& fields) {
  for (const FieldPlan& field : fields) {
    atPlace(field.link, [&] {
      if (field.form == FieldForm::numbers) {
        writeNumberColumn(group, field);
      } else if (field.form == FieldForm::texts) {
        datasets_.writeTexts(group, field.link, field.texts, {field.texts.size()});
      } else if (field.form == FieldForm::textCells) {
        writeTextCellColumn(group, field);
      } else if (field.form == FieldForm::columns) {
        const Handle columns = makeGroup(group, field.link, kit_.groupList());
        writeTextAttribute(kit_, columns.get(), kFormAttribute, "columns");
        writeTextsAttribute(kit_, columns.get(), kFieldsAttribute, linksOf(field.fields));
        writeColumns(columns.get(), field.fields);
      }
    });
  }
}

void Writer::writeNumberColumn(hid_t group, const FieldPlan& field) {
  const std::size_t size = qalc::storedValues(*field.values.front()).elementBytes;
  std::vector<std::byte> column(field.values.size() * size);
  for (std::size_t i = 0; i < field.values.size(); ++i) {
    std::memcpy(column.data() + i * size, qalc::storedValues(*field.values[i]).data, size);
  }
  datasets_.writeColumn(group, field.link, kit_.elementType(field.kind), field.values.size(), column.data(),
                        column.size());
}

void Writer::writeTextCellColumn(hid_t group, const FieldPlan& field) {
  const std::size_t rows = field.values.size();
  const std::uint64_t perRow = field.offsets[1];
  bool regular = perRow > 0;
  for (std::size_t i = 0; i < rows; ++i) regular = regular && field.offsets[i + 1] - field.offsets[i] == perRow;
  const auto extents = regular ? std::vector<hsize_t>{rows, perRow} : std::vector<hsize_t>{field.texts.size()};
  const Handle texts = datasets_.writeTexts(group, field.link, field.texts, extents);
  if (field.cellsAreRows) writeTextAttribute(kit_, texts.get(), kShapeAttribute, "row");
  if (!regular) {
    datasets_.writeColumn(group, kOffsetsPrefix + field.link, H5T_STD_U64LE, field.offsets.size(), field.offsets.data(),
                          field.offsets.size() * sizeof(std::uint64_t));
  }
}

void Writer::writeRow(hid_t group, const std::vector<FieldPlan>& fields, std::size_t row, int depth) {
  for (const FieldPlan& field : fields) {
    if (!field.hasRowMembers) continue;
    atPlace(field.link, [&] {
      if (field.form == FieldForm::columns) {
        const Handle inner = makeGroup(group, field.link, kit_.groupList());
        writeRow(inner.get(), field.fields, row, depth + 1);
      } else if (const qxArray* value = field.values[row]; value != nullptr) {
        writeField(group, field.link, *value, depth);
      }
    });
  }
}

}  // namespace vtu::qat
