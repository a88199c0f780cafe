/// @file
/// A results file that is shown while it may still grow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "results/export.hpp"
#include "results/file/results_file.hpp"

namespace vtio::results {

/// Opens a file, and opens it again as long as another program writes it, or when it was written anew. A signal keeps
/// its number.
class VTIO_RESULTS_EXPORT ViewedFile final {
 public:
  /// What refresh() found.
  enum class Change {
    none,
    grown,  ///< samples or signals were added
    anew    ///< it is complete now, or another file: nothing that was read before holds
  };

  using Open = std::function<std::unique_ptr<ResultsFile>()>;

  /// What opens a Qat file; an empty function for an empty path.
  [[nodiscard]] static Open opener(const std::string& path);

  /// @param open Opens the file; throws what ResultsFile throws.
  explicit ViewedFile(Open open);

  [[nodiscard]] const ResultsFile& file() const { return *file_; }

  /// The signals by number; null for one that the file no longer has. Valid until refresh().
  [[nodiscard]] const std::vector<const SignalInfo*>& signals() const { return signals_; }

  /// The signal of a number.
  /// @throws ResultsError if there is none.
  [[nodiscard]] const SignalInfo& signal(std::size_t number) const;

  /// The number of a signal; npos if there is none of that name.
  [[nodiscard]] std::size_t numberOf(const std::string& name) const;

  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  /// Opens the file again if it was incomplete, and if another one has replaced it. A file that cannot be opened at
  /// this moment keeps its list of signals.
  Change refresh();

 private:
  /// Tells a file from one that is written later.
  struct Stamp {
    std::uint64_t device = 0;
    std::uint64_t node = 0;
    std::int64_t size = 0;
    std::int64_t nanoseconds = 0;

    /// Whether both are of one file, which may have been written to.
    [[nodiscard]] bool isOf(const Stamp& other) const { return device == other.device && node == other.node; }

    friend bool operator==(const Stamp&, const Stamp&) = default;
  };

  void number();
  bool reopen();
  [[nodiscard]] Stamp stamp() const;

  Open open_;
  std::unique_ptr<ResultsFile> file_;
  Stamp stamp_;  // taken before the file was opened for the last time, or at first soon after
  std::vector<std::string> names_;
  std::unordered_map<std::string, std::size_t> numbers_;
  std::vector<const SignalInfo*> signals_;
};

}  // namespace vtio::results
