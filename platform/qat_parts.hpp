/// @file
/// Parts of an open Qat file: rows and columns of sample tables, and parts of variables, without loading the rest.
///
///     vtu::QatFileWrapper file("results.qat", "r");
///     vtu::QatSamples samples(*file.get());
///     for (const std::uint32_t table : samples.tables()) {
///       for (const vtu::StoredColumn& column : samples.columns(table)) std::puts(column.name.c_str());
///     }
///     std::vector<double> speed(samples.rows(0));
///     samples.readColumn(0, 3, 0, speed.size(), speed.data());
///
/// Everything here throws vtsv::IException "Vortan:Qat" with the key "Unreadable" (damaged, or not stored as a Qat
/// file) or "NoSuchPart", with the file's name and the place. Reads of one process run one at a time. Related: qat.hpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/export.hpp"
#include "platform/qat.hpp"

namespace vtu {

/// One leaf of a sample table in a file.
struct StoredColumn {
  std::string name;               ///< of the signal, unique in the file
  std::string unit;               ///< of the values
  std::string elementClass;       ///< "double", "single.complex", "logical", …; "text" for texts
  std::vector<std::size_t> dims;  ///< of one sample; empty for a scalar
  std::uint32_t first = 0;        ///< first column in the dataset of its element class
  std::uint32_t width = 1;        ///< number of columns: elements of one sample
  std::uint64_t begin = 0;        ///< the leaf's first row
  std::uint64_t count = 0;        ///< number of its rows; in a file that is being written, of the valid ones
};

/// The sample tables of an open file. Must not be used after the file is closed. Not synchronised.
class VTIO_PLATFORM_EXPORT QatSamples {
 public:
  explicit QatSamples(QatFile& file);
  QatSamples(const QatSamples&) = delete;
  QatSamples& operator=(const QatSamples&) = delete;
  ~QatSamples();

  /// Numbers of the tables, ascending.
  [[nodiscard]] std::vector<std::uint32_t> tables() const;

  /// Number of rows of a table.
  [[nodiscard]] std::uint64_t rows(std::uint32_t table) const;

  /// The leaves of a table, valid until refresh().
  [[nodiscard]] const std::vector<StoredColumn>& columns(std::uint32_t table) const;

  /// Reads the times of rows [first, first + count), in seconds.
  void readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) const;

  /// Reads values of one leaf that is not of texts.
  /// @param firstRow A row of the table, not of the leaf.
  /// @param out count times the leaf's width elements, row by row; complex ones interleaved, logicals 0 or 1.
  void readColumn(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow, std::uint64_t count,
                  void* out) const;

  /// Reads adjacent columns of the dataset of one element class other than "text".
  /// @param out count times width elements, row by row.
  void readBlock(std::uint32_t table, const std::string& elementClass, std::uint64_t firstColumn, std::uint64_t width,
                 std::uint64_t firstRow, std::uint64_t count, void* out) const;

  /// Reads texts of a leaf, row by row.
  [[nodiscard]] std::vector<std::u16string> readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                                      std::uint64_t count) const;

  /// Bytes that the samples of a leaf take in the file, without their times. Where chunks are compressed: its share of
  /// them. Of texts the cells and the bytes that they refer to, texts repeated row after row once; in a table of more
  /// than a million texts an even share of all their bytes, so that little is read.
  [[nodiscard]] std::uint64_t storedBytes(std::uint32_t table, std::uint32_t column) const;

  /// False while another program writes the file, and when its writer ended before it closed the file.
  [[nodiscard]] bool isComplete() const;

  /// True if a leaf's samples are those of another table, because some are no rows of its own: while the file is
  /// written, such a leaf is a table of one leaf, too.
  [[nodiscard]] bool isElsewhere(std::uint32_t table, std::uint32_t column) const;

  /// Reads again how many rows a file has that another program is writing.
  void refresh();

 private:
  class Inside;

  std::unique_ptr<Inside> inside_;
};

/// An element of a dataset that came after the file was laid out. When the file is closed it is in its variable.
struct QatLateElement {
  std::string variable;
  std::string dataset;     ///< its name
  qxArrayWrapper element;  ///< 1-by-1 structure; arrays of samples as numbers {table, column, part}
};

/// The late elements of a file that is being written, or whose writer died; none in any other.
[[nodiscard]] VTIO_PLATFORM_EXPORT std::vector<QatLateElement> qatLateElements(QatFile& file);

/// How qatGetPart() returns arrays of samples.
enum class QatPartSamples {
  resolved,   ///< as arrays
  references  ///< as uint32 numbers {table, column, part}, 1-by-3; n-by-3 for all cells of a table
};

/// Reads a part of a variable.
///
/// A cell array of 1-by-1 structures is entered by the name of a field: the result is that field of all n cells at
/// once: numbers of one class n-by-1, structures of the same fields a 1-by-1 structure of such columns, anything else,
/// texts included, a cell array n-by-1. A number that follows selects one cell.
///
///     vtu::qatGetPart(file, "logsout", {"Dataset", "Elements", "Name"});
///     vtu::qatGetPart(file, "logsout", {"Dataset", "Elements", "Values", "17", "Data"});
/// @param path Names of fields, and numbers of cells or elements from 0; empty for the whole variable.
[[nodiscard]] VTIO_PLATFORM_EXPORT qxArrayWrapper qatGetPart(QatFile* file, const char* variable,
                                                             const std::vector<std::string>& path,
                                                             QatPartSamples samples = QatPartSamples::resolved);

}  // namespace vtu
