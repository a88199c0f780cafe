/// @file
/// A Qat file that is complete at every moment while samples are appended to it, and that other processes may read.
///
///     vtu::QatStream stream("signals.qat");                       // makes the file and takes its lock
///     stream.layOut(variables, tables);                           // everything but samples that come later
///     stream.append(0, rows, 0, rows.rows());                     // more rows of table 0
///     stream.append(strays);                                      // samples that are in no row of a table
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
#include <functional>
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

/// A leaf of the file, and what a sample of it is in a row.
struct StreamLeaf {
  /// The table of leaves that came after the tables were laid out.
  static constexpr std::uint32_t kLate = 0xFFFFFFFF;

  std::uint32_t table = kLate;
  std::uint32_t column = 0;  ///< number of the leaf in its table; of late ones, as the caller numbers them
  qxClassID id = qxDOUBLE;   ///< qxCELL: texts, a TextCell per element
  bool isComplex = false;
  std::uint32_t bytes = 0;
};

/// Leaves of which the file has the newest samples only while it is written: readers find them in the ring. The
/// variables have them in tables of their own, which are not among those of the stream. layOut() leaves their rows out.
struct StreamRing {
  /// Leaves of one position get all their samples together.
  struct Leaf {
    std::uint32_t position = 0;
    std::shared_ptr<const SampleTable> table;  ///< that of the array in a variable
    std::vector<std::size_t> offsets;          ///< in a row of that; more than one for leaves that share samples
    std::uint32_t bytes = 0;                   ///< of a sample, > 0
    bool isText = false;                       ///< a TextCell per element
  };
  std::uint64_t limit = 1;   ///< samples that readers see at most
  std::vector<Leaf> leaves;  ///< by position, from 0 without gaps
};

/// Samples [number, number + count) of a position, counted from its beginning: rows [first, first + count) of a table,
/// from `offset` on the bytes of its leaves side by side. Borrows the table.
struct RingSamples {
  std::uint32_t position;
  std::uint64_t number;
  const SampleTable* source;
  std::uint64_t first;
  std::uint64_t count;
  std::size_t offset;
};

/// Samples that fit no row of their tables, in the order of their arrival. Its memory is used again after clear().
class VTIO_PLATFORM_EXPORT StrayBuffer final {
 public:
  struct Entry {
    StreamLeaf leaf;
    double time;
    std::uint64_t start;  // in the bytes of the buffer
    std::uint32_t bytes;
  };

  /// Appends a sample. @param values leaf.bytes bytes as in a row, copied; a text is the address of its bytes.
  /// @throws std::bad_alloc; nothing has changed then.
  void add(const StreamLeaf& leaf, double time, const std::byte* values);

  /// Appends one of the descriptions of QatStream::describe().
  void describe(const std::string& json);

  [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

  /// How much is in it.
  struct Size {
    std::size_t entries, bytes, cells;
  };
  [[nodiscard]] Size size() const { return {entries_.size(), bytes_.size(), cells_.size()}; }

  /// Removes what came after it had this size.
  void cutTo(const Size& size);

  /// Calls use(bytes, count) with the bytes as they are when `base` others come before them.
  template <typename Use>
  void forBytes(std::uint64_t base, const Use& use) const;

  void clear() { cutTo({0, 0, 0}); }

 private:
  std::vector<Entry> entries_;
  std::vector<std::byte> bytes_;
  std::vector<std::uint64_t> cells_;  // where the texts' cells are in the bytes
};

/// See above. One object owns one file.
class VTIO_PLATFORM_EXPORT QatStream final {
 public:
  /// How far the log of strays is.
  struct StrayMark {
    std::uint64_t strays = 0;
    std::uint64_t bytes = 0;
  };
  /// How far a stream is, to step back to.
  struct Mark {
    std::vector<std::uint64_t> rows;  ///< of each table
    StrayMark strays;                 ///< since the file was opened
  };

  /// Makes an empty Qat file, in place of one that may be there, and keeps others from writing it.
  /// @param file UTF-8 file name.
  explicit QatStream(const std::string& file);
  QatStream(const QatStream&) = delete;
  QatStream& operator=(const QatStream&) = delete;
  /// Closes the file; errors are lost.
  ~QatStream();

  /// Writes the variables and the tables' first rows; from then on readers may open the file. To be called once.
  void layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables,
              std::span<const StreamRing> rings = {});

  /// Which samples of a position a ring has: [low, end).
  struct Newest {
    std::uint64_t low;
    std::uint64_t end;
  };
  [[nodiscard]] Newest newest(std::uint32_t ring, std::uint32_t position) const;

  /// Puts samples into a ring; readers see them at once. They follow those that are there, or come just before them, or
  /// take their place. @param samples By position.
  void putNewest(std::uint32_t ring, std::span<const RingSamples> samples);

  /// Most samples of a position to put at once. More of them are put as well, but a process that is killed meanwhile
  /// leaves fewer than the limit.
  [[nodiscard]] static std::uint64_t mostAtOnce(std::uint64_t limit);

  /// Takes back samples. @param endOf Gives the number of those that are left of a position.
  void cutNewest(std::uint32_t ring, const std::function<std::uint64_t(std::uint32_t position)>& endOf);

  /// Appends rows [first, first + count) of `source` to a table.
  void append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count);

  /// Puts such rows in place of those from row `at` on. Samples that readers know of keep their values.
  void overwrite(std::uint32_t table, std::uint64_t at, const SampleTable& source, std::uint64_t first,
                 std::uint64_t count);

  /// Samples of a leaf that are rows of its table.
  [[nodiscard]] std::uint64_t count(std::uint32_t table, std::uint32_t leaf) const;

  /// Appends strays to the log: samples of leaves after the last rows that these have in their tables.
  void append(const StrayBuffer& strays);

  /// What to add to strays before the first sample of an element that came late. Its arrays are over rows(leaves).
  /// @param variable UTF-8 name of the variable that will have the element. @param dataset Name of the dataset.
  [[nodiscard]] std::vector<std::string> describe(const std::string& variable, const std::string& dataset,
                                                  const qxArray& element) const;

  /// Sets the row before which a leaf ended; none: it takes part in all rows. Readers learn of it with flush().
  void endLeaf(std::uint32_t table, std::uint32_t leaf, std::optional<std::uint64_t> row);

  /// Lets readers see what was appended.
  /// @param toDisk Waits until the disk has it, so that it outlives the machine, too.
  void flush(bool toDisk = false);

  [[nodiscard]] Mark mark() const;

  /// A step back to a time before the last close() has left so many samples of a leaf with strays. Readers learn of it
  /// at once.
  void keep(const StreamLeaf& leaf, std::uint64_t samples);

  /// Takes back everything after a mark of this object, and with it the ends of leaves after it. Readers see that at
  /// once.
  void stepBack(const Mark& mark);

  /// Makes the file a plain one: strays get into tables. Others may read but not write it as long as this object
  /// exists. May be called again.
  /// @param variables Replace those of the same names. Their arrays may be over tables of this file. If there are
  ///   strays, all variables with samples of these leaves must be among them; without variables strays stay in the log,
  ///   where readers find them, and the file cannot be opened again. The same holds for samples in rings.
  /// @param rings From reopen() on.
  void close(std::span<const StreamVariable> variables = {}, std::span<const StreamRing> rings = {});

  /// Goes on with the file after close(); all marks stay valid. Rings are empty: until samples are put or taken back,
  /// readers see those of the variables.
  void reopen();

  /// The rows of a table as they are in the file when they are read: also after close(), and when this object is gone.
  /// A text of a row is the address of its bytes, valid as long as the result. Reading throws std::runtime_error.
  [[nodiscard]] std::shared_ptr<const SampleTable> rows(std::uint32_t table) const;

  /// The first `count` samples of leaves that have the same times, their strays included, side by side in the order of
  /// the leaves. May be read from close() on; else as rows(table).
  [[nodiscard]] std::shared_ptr<const SampleTable> rows(std::span<const StreamLeaf> leaves, std::uint64_t count) const;

  /// The table where all samples of a leaf are since close(); none if they never were strays.
  [[nodiscard]] std::optional<std::uint32_t> tableOf(const StreamLeaf& leaf) const;

  [[nodiscard]] const std::string& file() const;

 private:
  class Implementation;
  class Rows;
  class LeafRows;
  std::shared_ptr<Implementation> implementation_;  // shared with the results of rows()
};

template <typename Use>
void StrayBuffer::forBytes(std::uint64_t base, const Use& use) const {
  std::uint64_t done = 0;
  for (const std::uint64_t at : cells_) {
    TextCell cell = TextCell::fromRow(bytes_.data() + at);
    if (cell.bytes > 0) cell.start += base;
    std::byte moved[TextCell::kBytesInRow];
    cell.toRow(moved);
    use(bytes_.data() + done, at - done);
    use(static_cast<const std::byte*>(moved), sizeof moved);
    done = at + sizeof moved;
  }
  use(bytes_.data() + done, bytes_.size() - done);
}

/// True if a run streams into the file.
[[nodiscard]] VTIO_PLATFORM_EXPORT bool isStreamed(const std::string& file);

/// True if a run streams into the file and has not closed it: readers see it grow.
[[nodiscard]] VTIO_PLATFORM_EXPORT bool isGrowing(const std::string& file);

}  // namespace vtu
