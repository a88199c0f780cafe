/// @file
/// The values of all logged variables, where the log finds them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/text.hpp"
#include "runner/description/model_description.hpp"
#include "runner/export.hpp"
#include "runner/fmu/instance.hpp"

namespace vtio::runner {

/// Reads variables from an instance, all of one type in one call, into places that never move.
///
/// Variables that share a value (aliases) share its place. Clocked variables are read when a clock of theirs ticks, and
/// hold between. Reading allocates only for texts and binaries that grow.
class VTIO_RUNNER_EXPORT ValueStore final {
  struct Batch : VariableBatch {
    std::vector<std::byte> values;      // of a fixed size
    std::vector<vtu::ustring> texts;    // or texts
    std::vector<std::string> binaries;  // or binaries
  };

  // What changes at the same times: variables with the same clocks. The first two groups are those without clocks: what
  // is read at communication points and events alone, what is read within steps as well.
  struct Group {
    std::vector<std::uint32_t> clocks;
    std::vector<Batch> batches;
  };

 public:
  /// What clocked variables hold, at some time.
  class Held {
    friend class ValueStore;
    std::vector<Group> groups;
  };

  /// @param variables Indices in the model, which must outlive the store.
  ValueStore(const ModelDescription& model, const std::vector<std::size_t>& variables);
  ValueStore(const ValueStore&) = delete;
  ValueStore& operator=(const ValueStore&) = delete;

  /// Reads all but clocks and clocked variables.
  void read(Instance& instance) {
    read(groups_[0], instance);
    read(groups_[1], instance);
  }

  /// Reads all but clocks: once, before the first event.
  void readAll(Instance& instance);

  /// Reads the variables of clocks that tick, and makes these clocks true until clearClocks().
  /// @param ticking Value references.
  void readTicking(Instance& instance, const std::vector<std::uint32_t>& ticking);

  /// What is to be read within steps.
  [[nodiscard]] std::vector<VariableBatch> intermediate() const;

  /// Takes values that were read within a step.
  /// @param sample Of all batches of intermediate(), one behind the other.
  /// @return The end of the sample.
  const std::byte* takeIntermediate(const std::byte* sample);

  /// Makes all clocks false.
  void clearClocks();

  /// For a step back.
  [[nodiscard]] Held hold() const;
  void restore(const Held& held);

  /// The values of a variable of a fixed size, row-major, bytesOf() each; valid as long as the store.
  [[nodiscard]] const std::byte* numbers(std::size_t variable) const;

  /// The text of an element of a string variable; the reference is valid as long as the store.
  [[nodiscard]] const vtu::ustring& text(std::size_t variable, std::uint64_t element) const;

  /// The bytes of an element of a binary variable; the reference is valid as long as the store.
  [[nodiscard]] const std::string& binary(std::size_t variable, std::uint64_t element) const;

 private:
  struct Place {
    std::size_t group, batch, first;
  };

  [[nodiscard]] std::size_t groupOf(const Variable& variable);
  void add(const Variable& variable, std::size_t index);
  void read(Group& group, Instance& instance);
  void readTexts(Batch& batch, Instance& instance);
  void readBinaries(Batch& batch, Instance& instance);
  [[nodiscard]] std::size_t original(std::size_t variable) const;
  [[nodiscard]] const Batch& batchOf(const Place& place) const { return groups_[place.group].batches[place.batch]; }

  const ModelDescription& model_;
  std::vector<Group> groups_;
  std::vector<std::uint32_t> clocks_;              // value references
  std::vector<std::uint8_t> clockValues_;          // of these
  std::unordered_map<std::size_t, Place> places_;  // by variable
  std::unordered_map<std::size_t, std::size_t> clockPlaces_;
  std::vector<const char*> rawTexts_;
  std::vector<const std::uint8_t*> rawBinaries_;
  std::vector<std::size_t> binarySizes_;
};

}  // namespace vtio::runner
