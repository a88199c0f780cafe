/// @file
/// The sample tables of a file that is written: which there are, what they hold, and references to them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/qat/write/signal_names.hpp"

namespace vtu::qat {

/// Records which samples in memory are in the file already, and writes those that are not.
///
/// The arrays of one variable over one SampleTable are written to one table of the file; what the file has from an
/// earlier variable is referred to, not written again, and a table of another file in the same folder is linked. Used
/// as long as the file is open. Does not own the kit.
class SampleStore final {
 public:
  /// @param file Path of the file, for samples that are in it or in one beside it already.
  SampleStore(Kit& kit, std::string file) : kit_(kit), file_(std::move(file)) {}

  /// Writes the samples of an array and of everything below it that the file lacks, as tables in the group `staging`.
  /// @param root The root group. @param takenNames Gives the names of the signals in the file; called if there is a
  ///   table to write. @throws Failure
  void write(const qxArray& array, hid_t root, hid_t staging, const std::function<SignalNames()>& takenNames);

  /// Lets arrays over a table in memory become references to a table of the file. @param leaves Its records, in order.
  void adopt(const std::shared_ptr<const SampleTable>& table, const std::vector<SampleColumn>& leaves,
             std::uint32_t number);

  /// The reference to store for a value of the array given to write(); empty for an array without samples in the
  /// file. @param owner The structure with the value as a field, or null: times refer to the record of a value in
  /// the same structure.
  [[nodiscard]] std::optional<Reference> find(const qxArray& value, const qxArray* owner) const;

  /// Moves the tables in `staging` to the root's group of tables, which is made if need be.
  void link(hid_t root, hid_t staging);

  /// Records of leaves, by their offset in a row and whether they have no bytes; aliases have several.
  using LeafRecords = std::multimap<std::pair<std::uint64_t, bool>, Reference>;

  /// The rows of these tables are not written: their leaves have records without samples.
  void leaveOut(std::unordered_set<const SampleTable*> tables) { leftOut_ = std::move(tables); }

  /// From now on tables have room for the counts of rows of a file that is being written.
  void leaveRoomForCounts();

  /// Adds where the tables in memory are in the file.
  void addPlaces(std::map<const SampleTable*, LeafRecords>& places) const;

  /// Clears the record; to be called when tables may have been deleted.
  void clear();

 private:
  using Rows = std::pair<std::uint64_t, std::uint64_t>;  // first and number

  /// What the file holds of one table in memory.
  struct Entry {
    std::weak_ptr<const SampleTable> table;
    std::unordered_map<std::string, Reference> columns;  // by key()
    std::map<Rows, Reference> times;
  };
  /// What is still to be written of one table in memory.
  struct Lack {
    std::shared_ptr<const SampleTable> table;
    std::vector<std::pair<std::size_t, const qalc::Storage*>> columns;  // with the offset in a row
  };

  static std::pair<std::uint64_t, bool> placeInRow(const std::string& key);
  static std::string key(const SampleColumn& column);
  void collect(const qxArray& array, int depth, hid_t root, std::vector<Lack>& lacking);
  void collectSamples(const qalc::Storage& storage, hid_t root, std::vector<Lack>& lacking);
  bool refer(const qalc::Storage& storage, const StoredTable& stored, hid_t root);
  bool reach(const StoredTable& stored, hid_t root);
  void writeTable(Lack& lack, hid_t root, hid_t staging, SignalNames& names);
  [[nodiscard]] std::optional<Reference> besideTimes(const qalc::Samples& times, const qxArray& owner) const;

  Kit& kit_;
  std::string file_;
  Handle growingList_;  // for the groups of tables that get counts of rows
  std::unordered_map<const SampleTable*, Entry> entries_;
  std::unordered_set<const SampleTable*> leftOut_;
  std::map<std::uint32_t, std::string> linked_;  // tables in files beside this one: the name of the file
  std::vector<std::uint32_t> staged_;

  // During one write():
  std::unordered_set<const qalc::Storage*> visited_;
  std::unordered_map<const SampleTable*, std::size_t> lackOf_;      // index into what is lacking
  std::unordered_map<const qalc::Storage*, Reference> references_;  // of values
  mutable std::size_t besideField_ = 0;                             // the field that had the values of the last times
};

}  // namespace vtu::qat
