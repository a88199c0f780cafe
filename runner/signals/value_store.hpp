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
/// Variables that share a value (aliases) share its place. Reading allocates only for texts and binaries that grow.
class VTIO_RUNNER_EXPORT ValueStore final {
 public:
  /// @param variables Indices in the model, which must outlive the store.
  ValueStore(const ModelDescription& model, const std::vector<std::size_t>& variables);
  ValueStore(const ValueStore&) = delete;
  ValueStore& operator=(const ValueStore&) = delete;

  /// Reads all but clocks; those become false.
  void read(Instance& instance);

  /// Reads clocks only; allowed while an event is handled.
  void readClocks(Instance& instance);

  /// The values of a variable of a fixed size, row-major, bytesOf() each; valid as long as the store.
  [[nodiscard]] const std::byte* numbers(std::size_t variable) const;

  /// The text of an element of a string variable; the reference is valid as long as the store.
  [[nodiscard]] const vtu::ustring& text(std::size_t variable, std::uint64_t element) const;

  /// The bytes of an element of a binary variable; the reference is valid as long as the store.
  [[nodiscard]] const std::string& binary(std::size_t variable, std::uint64_t element) const;

 private:
  struct Batch {
    VariableType type = VariableType::float64;
    std::vector<std::uint32_t> references;
    std::vector<std::byte> values;
    std::size_t valueCount = 0;
  };

  void readTexts(Instance& instance);
  void readBinaries(Instance& instance);
  [[nodiscard]] std::size_t original(std::size_t variable) const;

  const ModelDescription& model_;
  std::vector<Batch> batches_;     // by type
  std::vector<std::size_t> used_;  // of these, those that are not empty
  Batch clocks_;
  std::unordered_map<std::size_t, std::pair<std::size_t, std::size_t>> places_;  // variable -> batch, byte
  std::unordered_map<std::size_t, std::size_t> textPlaces_, binaryPlaces_;
  std::vector<std::uint32_t> textReferences_, binaryReferences_;
  std::vector<const char*> rawTexts_;
  std::vector<const std::uint8_t*> rawBinaries_;
  std::vector<std::size_t> binarySizes_;
  std::vector<vtu::ustring> texts_;
  std::vector<std::string> binaries_;
};

}  // namespace vtio::runner
