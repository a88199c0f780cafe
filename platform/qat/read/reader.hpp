/// @file
/// Reads arrays of any kind from the members of a group, trusting nothing that it finds.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/file_bytes.hpp"
#include "platform/qat/integrity/integrity.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/read/text_reader.hpp"

namespace vtu::qat {

struct TableColumn;

/// Reads the tree of arrays below one variable. Objects that are linked more than once become shared copies.
///
/// Memory is asked for only after the stored bytes justify it; nesting, repetition and cycles are bounded. One reader
/// serves one variable: what it remembers is right as long as the file does not change. Every object is checked before
/// HDF5 opens it; see integrity.hpp. Borrows everything.
class Reader final {
 public:
  Reader(Kit& kit, FileBytes bytes, Integrity& integrity)
      : kit_(kit), integrity_(integrity), fileSize_(bytes.size()), texts_(bytes, fileSize_) {}

  /// The array stored as the member `link` of a group. @throws Failure
  [[nodiscard]] qalc::ArrayPtr readMember(hid_t group, const std::string& link);

  /// The array stored in the object at an address. @throws Failure
  [[nodiscard]] qalc::ArrayPtr readAt(hid_t file, haddr_t address);

  /// The single text of an attribute; empty when the object has no such attribute.
  [[nodiscard]] std::string textAttribute(hid_t object, const char* name);

 private:
  qalc::ArrayPtr readOnce(const Handle& object, haddr_t address);
  qalc::ArrayPtr readObject(hid_t object);

  // Datasets.
  qalc::ArrayPtr readDataset(hid_t dataset);
  qalc::ArrayPtr readElements(hid_t dataset, ElementKind kind, const std::vector<std::size_t>& dims);
  qalc::ArrayPtr readTexts(hid_t dataset, const std::vector<std::size_t>& extents);
  void requireJustified(hid_t dataset, std::uint64_t count, std::uint64_t elementBytes) const;
  std::vector<std::uint64_t> readNumbers(hid_t group, const std::string& link);

  // Groups.
  qalc::ArrayPtr readGroup(hid_t group);
  qalc::ArrayPtr readCells(hid_t group);
  qalc::ArrayPtr readStructures(hid_t group);
  void readFields(hid_t group, qxArray& array, std::size_t element, const std::vector<std::string>& links);
  qalc::ArrayPtr readField(hid_t group, const std::string& link);
  qalc::ArrayPtr readAttribute(hid_t object, const std::string& name);
  std::vector<std::size_t> dimsAttribute(hid_t object);
  std::vector<std::string> fieldLinks(hid_t group);

  // Tables.
  qalc::ArrayPtr readTable(hid_t group);
  std::vector<TableColumn> readColumns(hid_t group, std::size_t rows);
  TableColumn readColumn(hid_t group, const std::string& link, std::size_t rows);
  void readTextCells(hid_t group, hid_t dataset, std::size_t rows, TableColumn& column);
  qalc::ArrayPtr readRow(const std::vector<TableColumn>& columns, std::size_t row, hid_t members);
  qalc::ArrayPtr readRowValue(const TableColumn& column, std::size_t row, hid_t members);

  [[nodiscard]] Handle openMember(hid_t group, const std::string& link, haddr_t* address) const;

  Kit& kit_;
  Integrity& integrity_;
  std::uint64_t fileSize_;
  TextReader texts_;
  std::unordered_map<haddr_t, qalc::ArrayPtr> done_;  // null while the object is being read
  std::unordered_set<haddr_t> columnGroups_;
  std::uint64_t tableValues_ = 0;  // fields of the table that is being read, nested ones included
  int depth_ = 0;
};

/// True if a group has a member of this name. @throws Failure for a name that HDF5 would take for a path
[[nodiscard]] bool hasMember(hid_t group, const std::string& link);

}  // namespace vtu::qat
