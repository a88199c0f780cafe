/// @file
/// Writes arrays of any kind as members of a group.
#pragma once

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/qat/dataset_writer.hpp"
#include "platform/qat/table_plan.hpp"

namespace vtu::qat {

/// Deepest nesting of cells and structures in a file.
inline constexpr int kDeepestNesting = 400;

/// Which arrays a file holds already, by their storage: such an array is linked, not written again.
///
/// Within one variable equal storage means an equal value. Between variables the storage may have been written or
/// reused, so the first hit is compared with what the file holds.
class SharedObjects final {
 public:
  /// Says whether the object at an address holds the array's value.
  using Comparison = std::function<bool(haddr_t, const qxArray&)>;

  explicit SharedObjects(Comparison comparison) : holds_(std::move(comparison)) {}

  /// From here on every known object is compared before it is used.
  void beginVariable() { ++variable_; }

  /// Forgets everything; to be called when objects may have been deleted.
  void clear() { known_.clear(); }

  /// The address of an object with this array's value, or HADDR_UNDEF.
  [[nodiscard]] haddr_t find(const qxArray& array);

  void add(const qxArray& array, haddr_t address) { known_[qalc::storageIdentity(array)] = {address, variable_}; }

 private:
  struct Entry {
    haddr_t address;
    unsigned long variable;  // the variable for which the address is known to be right
  };

  Comparison holds_;
  std::unordered_map<const void*, Entry> known_;
  unsigned long variable_ = 0;
};

/// Writes the tree of arrays below one variable. Borrows everything it is made with.
class Writer final {
 public:
  Writer(hid_t file, Kit& kit, FileBytes bytes, SharedObjects& shared)
      : file_(file), kit_(kit), datasets_(kit, bytes), shared_(shared) {}

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
  void writeColumns(hid_t group, const std::vector<FieldPlan>& fields);
  void writeNumberColumn(hid_t group, const FieldPlan& field);
  void writeTextCellColumn(hid_t group, const FieldPlan& field);
  void writeRow(hid_t group, const std::vector<FieldPlan>& fields, std::size_t row, int depth);
  Handle makeGroup(hid_t group, const std::string& link, hid_t list);

  hid_t file_;
  Kit& kit_;
  DatasetWriter datasets_;
  SharedObjects& shared_;
  std::unordered_map<haddr_t, Handle>
      linked_;  // objects linked more than once, kept open: opening costs more than linking
};

}  // namespace vtu::qat
