/// @file
/// Writes arrays of any kind as members of a group.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "platform/qat/write/dataset_writer.hpp"
#include "platform/qat/write/shared_objects.hpp"
#include "platform/qat/write/table_plan.hpp"

namespace vtu::qat {

class TableImages;

/// Deepest nesting of cells and structures in a file.
inline constexpr int kDeepestNesting = 400;

/// Writes the tree of arrays below one variable. Borrows everything it is made with.
class Writer final {
 public:
  Writer(hid_t file, Kit& kit, FileBytes bytes, SharedObjects& shared)
      : file_(file), kit_(kit), bytes_(bytes), datasets_(kit, bytes), shared_(shared) {}

  /// Writes an array as the member `link` of a group, or links the object that holds it already.
  /// @throws Failure
  void writeMember(hid_t group, const std::string& link, const qxArray& array, int depth = 0);

 private:
  bool linkKnown(hid_t group, const std::string& link, const qxArray& array);
  Handle writeObject(hid_t group, const std::string& link, const qxArray& array, int depth);
  Handle writeCells(hid_t group, const std::string& link, const qxArray& array, int depth);
  Handle writeCellGroup(hid_t group, const std::string& link, const qxArray& array, int depth);
  Handle writeTextCells(hid_t group, const std::string& link, const qxArray& array);
  Handle writeStructures(hid_t group, const std::string& link, const qxArray& array, int depth);
  void writeFields(hid_t group, const qxArray& array, std::size_t element, int depth);
  void writeField(hid_t group, const std::string& link, const qxArray& value, int depth);

  Handle writeTable(hid_t group, const std::string& link, const qxArray& array, const std::vector<FieldPlan>& plan,
                    int depth);
  Handle writeTableRows(hid_t group, const std::string& link, const std::vector<FieldPlan>& plan, std::size_t rows,
                        int depth);
  Handle writeTableOfImages(hid_t group, const std::string& link, const std::vector<FieldPlan>& plan,
                            TableImages& images, int depth);
  void writeRowGroup(hid_t group, const std::vector<FieldPlan>& plan, std::size_t row, int depth);
  void writeColumns(hid_t group, const std::vector<FieldPlan>& fields);
  void writeNumberColumn(hid_t group, const FieldPlan& field);
  void writeTextCellColumn(hid_t group, const FieldPlan& field);
  void writeRow(hid_t group, const std::vector<FieldPlan>& fields, std::size_t row, int depth);
  Handle makeGroup(hid_t group, const std::string& link, hid_t list);

  hid_t file_;
  Kit& kit_;
  FileBytes bytes_;
  DatasetWriter datasets_;
  SharedObjects& shared_;
  std::unordered_map<haddr_t, Handle>
      linked_;  // objects linked more than once, kept open: opening costs more than linking
};

}  // namespace vtu::qat
