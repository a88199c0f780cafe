/// @file
/// A Qat file that is complete at every moment while samples are appended to it, and that other processes may read.
///
///     vtu::QatStream stream("signals.qat");                       // makes the file and takes its lock
///     stream.layOut(variables, tables);                           // everything but samples that come later
///     stream.append(0, rows, 0, rows.rows());                     // more rows of table 0
///     stream.flush();                                             // now readers see them
///     stream.close();                                             // a plain Qat file
///
/// Every function throws std::runtime_error that names the file and the cause. When HDF5 could not write, the file is
/// given up: what was flushed before stays readable, and every further call fails the same way. When the disk is
/// about to be full, no more is appended, but the file can be flushed and closed.
///
/// Functions may be called on any thread, one at a time. Related: sample_table.hpp, qat.hpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/export.hpp"
#include "platform/qalc.hpp"
#include "platform/sample_table.hpp"

namespace vtu {

/// A variable of the file. Arrays over the tables that are laid out with it become references to these tables.
struct StreamVariable {
  std::string name;
  const qxArray* value;  ///< borrowed during the call
};

/// A table of the file: the rows that it begins with, and its leaves, which keep their numbers.
struct StreamTable {
  std::shared_ptr<const SampleTable> rows;
  /// Rows that come later have the same leaves at the same offsets. A leaf whose rows end before the last one of the
  /// table gets no more of them.
  std::vector<SampleColumn> leaves;
};

/// See above. One object owns one file.
class VTIO_PLATFORM_EXPORT QatStream final {
 public:
  /// Where a stream stands, to step back to.
  struct Mark {
    std::vector<std::uint64_t> rows;  ///< of each table
  };

  /// Makes an empty Qat file, in place of one that may be there, and keeps others from writing it.
  /// @param file UTF-8 file name.
  explicit QatStream(const std::string& file);
  QatStream(const QatStream&) = delete;
  QatStream& operator=(const QatStream&) = delete;
  /// Closes the file; errors are lost.
  ~QatStream();

  /// Writes the variables and the tables' first rows; from then on readers may open the file. To be called once.
  void layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables);

  /// Appends rows [first, first + count) of `source` to a table.
  void append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count);

  /// Sets the row before which a leaf ended; none: it takes part in all rows. Readers learn of it with flush().
  void endLeaf(std::uint32_t table, std::uint32_t leaf, std::optional<std::uint64_t> row);

  /// Lets readers see what was appended.
  /// @param toDisk Waits until the disk has it, so that it outlives the machine, too.
  void flush(bool toDisk = false);

  [[nodiscard]] Mark mark() const;

  /// Takes back everything after a mark of this object, and with it the ends of leaves after it. Readers see that at
  /// once.
  void stepBack(const Mark& mark);

  /// Makes the file a plain one, which others may read but not write as long as this object exists. May be called
  /// again.
  /// @param variables Replace those of the same names. Their arrays may be over tables of this file.
  void close(std::span<const StreamVariable> variables = {});

  /// Goes on with the file after close(); all marks stay valid.
  void reopen();

  /// The rows of a table as they are in the file when they are read: also after close(), and when this object is gone.
  /// A text of a row is the address of its bytes, valid as long as the result. Reading throws std::runtime_error.
  [[nodiscard]] std::shared_ptr<const SampleTable> rows(std::uint32_t table) const;

  [[nodiscard]] const std::string& file() const;

 private:
  class Implementation;
  class Rows;
  std::shared_ptr<Implementation> implementation_;  // shared with the results of rows()
};

/// True if a run streams into the file.
[[nodiscard]] VTIO_PLATFORM_EXPORT bool isStreamed(const std::string& file);

/// True if a run streams into the file and has not closed it: readers see it grow.
[[nodiscard]] VTIO_PLATFORM_EXPORT bool isGrowing(const std::string& file);

}  // namespace vtu
