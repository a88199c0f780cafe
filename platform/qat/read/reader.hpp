/// @file
/// Reads arrays of any kind from the members of a group, checking everything that it reads.
#pragma once

#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/read/late_elements.hpp"
#include "platform/qat/read/memory_budget.hpp"
#include "platform/qat/read/sample_loader.hpp"
#include "platform/qat/read/source.hpp"
#include "platform/qat/read/text_reader.hpp"

namespace vtu::qat {

/// Reads one variable: an array and everything below it. Objects that are linked more than once become shared copies.
///
/// Memory, nesting and repetition are bounded, cycles are found. One reader serves one variable: what it caches is
/// valid as long as the file does not change. Does not own the file.
class Reader {
 public:
  explicit Reader(const Source& source);

  /// The array stored as the member `link` of a group, complete, with the elements that came late. @throws Failure
  [[nodiscard]] qalc::ArrayPtr readVariable(hid_t group, const std::string& link);

  /// The array stored in the object at an address, complete. @throws Failure
  [[nodiscard]] qalc::ArrayPtr readAt(haddr_t address);

  /// The same, but arrays of samples read their values when they are asked for: as long as this exists, under the lock
  /// of HDF5 calls. @throws Failure
  [[nodiscard]] qalc::ArrayPtr readLazily(hid_t group, const std::string& link);

  /// True if what readLazily() has given has strays.
  [[nodiscard]] bool hasStrays() const { return samples_.hasStrays(); }

  /// Searches a member of a group for references, without reading its values. @throws Failure
  void findTables(hid_t group, const std::string& link);

  /// The sample tables that findTables() has found references to.
  [[nodiscard]] const std::set<std::uint32_t>& tables() const { return tables_; }

  /// The single text of an attribute; empty when the object has no such attribute.
  [[nodiscard]] std::string textAttribute(hid_t object, const char* name);

 protected:
  enum class Samples { resolved, lazy, references, found };

  /// One field of a table.
  struct Column;

  /// How arrays of samples are returned; resolved ones have no values before loadSamples().
  void setSamples(Samples samples) { samplesAs_ = samples; }
  void forgetObjects() { done_.clear(); }
  [[nodiscard]] bool samplesAre(Samples samples) const { return samplesAs_ == samples; }
  void loadSamples() { samples_.load(); }
  [[nodiscard]] std::vector<LateElement> readLateElements();
  [[nodiscard]] std::vector<Reference> resolved(std::vector<Reference> references);

  qalc::ArrayPtr readMember(hid_t group, const std::string& link);
  qalc::ArrayPtr readField(hid_t group, const std::string& link);
  std::vector<std::size_t> dimsAttribute(hid_t object);
  std::vector<std::string> fieldLinks(hid_t group);

  Column readColumn(hid_t group, const std::string& link, std::size_t rows);
  std::vector<Column> readColumns(hid_t group, std::size_t rows);
  qalc::ArrayPtr rowValue(const Column& column, std::size_t row);
  qalc::ArrayPtr rowStructure(const std::vector<Column>& columns, std::size_t row);
  qalc::ArrayPtr textCells(const Column& column, std::size_t row);

  const Source source_;
  MemoryBudget budget_;

 private:
  qalc::ArrayPtr readWhole(hid_t group, const std::string& link);
  qalc::ArrayPtr readOnce(const Handle& object, haddr_t address);
  qalc::ArrayPtr readObject(hid_t object);

  // Datasets.
  qalc::ArrayPtr readDataset(hid_t dataset);
  qalc::ArrayPtr readElements(hid_t dataset, ElementKind kind, const std::vector<std::size_t>& dims);
  qalc::ArrayPtr readTexts(hid_t dataset, const std::vector<std::size_t>& extents);
  std::vector<Reference> readReferences(hid_t dataset);
  std::vector<std::uint64_t> readIndices(hid_t group, const std::string& link);

  // Groups.
  qalc::ArrayPtr readGroup(hid_t group);
  qalc::ArrayPtr readCells(hid_t group);
  qalc::ArrayPtr readStructures(hid_t group);
  void readFields(hid_t group, qxArray& array, std::size_t element, const std::vector<std::string>& links);
  qalc::ArrayPtr readAttribute(hid_t object, const std::string& name);
  qalc::ArrayPtr samplesOf(const Reference& reference);

  // Tables.
  qalc::ArrayPtr readTable(hid_t group);
  void readGroupColumn(Handle group, std::size_t rows, Column& column);
  void readMembers(const std::vector<Column>& columns);
  void readDatasetColumn(const Handle& dataset, std::size_t rows, Column& column);

  TextReader texts_;
  SampleLoader samples_;
  Samples samplesAs_ = Samples::resolved;
  std::set<std::uint32_t> tables_;
  std::unordered_map<haddr_t, qalc::ArrayPtr> done_;  // null while the object is being read
  std::unordered_set<haddr_t> columnGroups_;
  int depth_ = 0;
};

/// One field of a table while its rows are made.
struct Reader::Column {
  enum class Form { members, numbers, texts, textCells, references, columns };

  std::string link;
  std::string name;
  Form form = Form::members;
  qalc::ArrayPtr numbers;
  Texts texts;                  // texts, textCells
  std::size_t textsPerRow = 1;  // textCells
  bool cellsAreRows = false;    // textCells
  std::vector<Reference> references;
  std::vector<Column> fields;          // columns
  Handle members;                      // the group of members
  std::vector<std::uint64_t> present;  // rows that have a member, ascending
};

}  // namespace vtu::qat
