// The part of the writer that stores a cell array of like structures as columns.
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

Handle Writer::writeTable(hid_t group, const std::string& link, const qxArray& array, const TablePlan& plan,
                          int depth) {
  Handle table = makeGroup(group, link, kit_.groupList());
  writeTextAttribute(kit_, table.get(), kKindAttribute, "cell");
  writeTextAttribute(kit_, table.get(), kFormAttribute, "table");
  writeDimsAttribute(table.get(), array.dims);
  writeTextsAttribute(kit_, table.get(), kFieldsAttribute, linksOf(plan.fields()));
  writeColumns(table.get(), plan.fields(), depth + 1);
  return table;
}

void Writer::writeColumns(hid_t group, const std::vector<FieldPlan>& fields, int depth) {
  for (const FieldPlan& field : fields) {
    atPlace(field.link, [&] { writeColumn(group, field, depth); });
  }
}

void Writer::writeColumn(hid_t group, const FieldPlan& field, int depth) {
  const std::string& link = field.link;
  const std::size_t rows = field.values.size();
  switch (field.form) {
    case FieldPlan::Form::numbers:
      datasets_.writeColumn(group, link, kit_.elementType(field.kind), {rows}, field.numbers.data());
      return;
    case FieldPlan::Form::texts:
      datasets_.writeTexts(group, link, field.texts, {rows});
      return;
    case FieldPlan::Form::textCells: {
      const Handle texts = datasets_.writeTexts(group, link, field.texts, {rows, field.textsPerRow});
      if (field.cellsAreRows) writeTextAttribute(kit_, texts.get(), kShapeAttribute, "row");
      return;
    }
    case FieldPlan::Form::references:
      datasets_.writeValues(group, link, kit_.storedReferenceType(), {rows}, packed(field.references).data());
      return;
    case FieldPlan::Form::columns:
      return writeColumnGroup(group, field, depth);
    case FieldPlan::Form::members:
      return writeMembers(group, field, depth);
  }
}

void Writer::writeColumnGroup(hid_t group, const FieldPlan& field, int depth) {
  const Handle columns = makeGroup(group, field.link, kit_.groupList());
  writeTextAttribute(kit_, columns.get(), kFormAttribute, "columns");
  writeTextsAttribute(kit_, columns.get(), kFieldsAttribute, linksOf(field.fields));
  writeColumns(columns.get(), field.fields, depth + 1);
}

void Writer::writeMembers(hid_t group, const FieldPlan& field, int depth) {
  const Handle members = makeGroup(group, field.link, kit_.groupList());
  for (std::size_t i = 0; i < field.values.size(); ++i) {
    const qxArray* value = field.values[i];
    if (value == nullptr) continue;
    const std::string name = std::to_string(i);
    atPlace(name, [&] { writeMember(members.get(), name, *value, field.owners[i], depth + 1); });
  }
}

}  // namespace vtu::qat
