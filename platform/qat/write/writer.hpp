/// @file
/// Writes arrays of any kind as members of a group.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "platform/qat/write/dataset_writer.hpp"
#include "platform/qat/write/sample_store.hpp"
#include "platform/qat/write/shared_objects.hpp"
#include "platform/qat/write/table_plan.hpp"

namespace vtu::qat {

/// Writes one variable: an array and everything below it. Does not own its arguments.
class Writer final {
 public:
  /// @param samples Holds the samples of the variable already.
  Writer(hid_t file, Kit& kit, SharedObjects& shared, const SampleStore& samples)
      : file_(file), kit_(kit), datasets_(kit), shared_(shared), samples_(samples) {}

  /// Writes an array as the member `link` of a group, or links the object that holds it already.
  /// @param owner The structure that has the array as a field, or null.
  /// @throws Failure
  void writeMember(hid_t group, const std::string& link, const qxArray& array, const qxArray* owner = nullptr,
                   int depth = 0);

 private:
  bool linkKnown(hid_t group, const std::string& link, const qxArray& array);
  Handle writeObject(hid_t group, const std::string& link, const qxArray& array, int depth);
  Handle writeCells(hid_t group, const std::string& link, const qxArray& array, int depth);
  Handle writeCellGroup(hid_t group, const std::string& link, const qxArray& array, int depth);
  Handle writeTextCells(hid_t group, const std::string& link, const qxArray& array);
  Handle writeStructures(hid_t group, const std::string& link, const qxArray& array, int depth);
  void writeFields(hid_t group, const qxArray& array, std::size_t element, int depth);
  bool writeAsAttribute(hid_t group, const std::string& link, const qxArray& value, const qxArray& owner);

  Handle writeTable(hid_t group, const std::string& link, const qxArray& array, const TablePlan& plan, int depth);
  void writeColumns(hid_t group, const std::vector<FieldPlan>& fields, int depth);
  void writeColumn(hid_t group, const FieldPlan& field, int depth);
  void writeColumnGroup(hid_t group, const FieldPlan& field, int depth);
  void writeMembers(hid_t group, const FieldPlan& field, int depth);
  Handle makeGroup(hid_t group, const std::string& link, hid_t list);

  hid_t file_;
  Kit& kit_;
  DatasetWriter datasets_;
  SharedObjects& shared_;
  const SampleStore& samples_;
  std::unordered_map<haddr_t, Handle>
      linked_;  // objects linked more than once, kept open: opening costs more than linking
};

}  // namespace vtu::qat
