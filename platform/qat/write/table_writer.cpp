// The part of the writer that stores a cell array of like structures as columns.
#include <cstring>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/write/writer.hpp"

namespace vtu::qat {
namespace {

std::vector<std::string> linksOf(const std::vector<FieldPlan>& fields) {
  std::vector<std::string> links;
  links.reserve(fields.size());
  for (const FieldPlan& field : fields) links.push_back(field.link);
  return links;
}

}  // namespace

Handle Writer::writeTable(hid_t group, const std::string& link, const qxArray& array,
                          const std::vector<FieldPlan>& plan, int depth) {
  Handle table = makeGroup(group, link, kit_.groupList());
  writeTextAttribute(kit_, table.get(), kKindAttribute, "cell");
  writeTextAttribute(kit_, table.get(), kFormAttribute, "table");
  writeDimsAttribute(table.get(), array.dims);
  writeTextsAttribute(kit_, table.get(), kFieldsAttribute, linksOf(plan));
  writeColumns(table.get(), borrowed(array.storage->cells()), plan, depth + 1);
  return table;
}

void Writer::writeColumns(hid_t group, const std::vector<const qxArray*>& rows, const std::vector<FieldPlan>& fields,
                          int depth) {
  for (const FieldPlan& field : fields) {
    atPlace(field.link, [&] { writeColumn(group, rows, field, depth); });
  }
}

void Writer::writeColumn(hid_t group, const std::vector<const qxArray*>& rows, const FieldPlan& field, int depth) {
  switch (field.form) {
    case FieldForm::numbers:
      return writeNumberColumn(group, field);
    case FieldForm::texts:
      datasets_.writeTexts(group, field.link, field.texts, {field.texts.size()});
      return;
    case FieldForm::textCells:
      return writeTextCellColumn(group, field);
    case FieldForm::references:
      datasets_.writeValues(group, field.link, kit_.referenceType(), {field.references.size()},
                            field.references.data());
      return;
    case FieldForm::columns:
      return writeColumnGroup(group, field, depth);
    case FieldForm::members:
      return writeMembers(group, rows, field, depth);
  }
}

void Writer::writeNumberColumn(hid_t group, const FieldPlan& field) {
  const std::size_t size = qalc::storedValues(*field.values.front()).elementBytes;
  std::vector<std::byte> column(field.values.size() * size);
  for (std::size_t i = 0; i < field.values.size(); ++i) {
    std::memcpy(column.data() + i * size, qalc::storedValues(*field.values[i]).data, size);
  }
  datasets_.writeValues(group, field.link, kit_.elementType(field.kind), {field.values.size()}, column.data());
}

void Writer::writeTextCellColumn(hid_t group, const FieldPlan& field) {
  const Handle texts =
      datasets_.writeTexts(group, field.link, field.texts, {field.values.size(), field.textsPerRow});
  if (field.cellsAreRows) writeTextAttribute(kit_, texts.get(), kShapeAttribute, "row");
}

void Writer::writeColumnGroup(hid_t group, const FieldPlan& field, int depth) {
  const Handle columns = makeGroup(group, field.link, kit_.groupList());
  writeTextAttribute(kit_, columns.get(), kFormAttribute, "columns");
  writeTextsAttribute(kit_, columns.get(), kFieldsAttribute, linksOf(field.fields));
  writeColumns(columns.get(), field.values, field.fields, depth + 1);
}

void Writer::writeMembers(hid_t group, const std::vector<const qxArray*>& rows, const FieldPlan& field, int depth) {
  const Handle members = makeGroup(group, field.link, kit_.groupList());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (field.values[i] == nullptr) continue;
    const std::string name = std::to_string(i);
    atPlace(name, [&] { writeMember(members.get(), name, *field.values[i], rows[i], depth + 1); });
  }
}

}  // namespace vtu::qat
