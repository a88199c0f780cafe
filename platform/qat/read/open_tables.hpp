/// @file
/// The sample tables of an open file.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/qat/read/open_table.hpp"
#include "platform/qat/read/rings.hpp"
#include "platform/qat/read/strays.hpp"

namespace vtu::qat {

class File;

/// Opens tables on first use and keeps them open. Every function throws Failure.
///
/// A table may be in a streamed file in the same folder: its member is then an external link to the member of the same
/// name there, by the bare name of the file. No other link to another file is followed.
///
/// A leaf with strays, or in a ring, is a table of one leaf, too.
class OpenTables final {
 public:
  static constexpr std::uint32_t kFirstMerged = 0x80000000;

  explicit OpenTables(const Source& source);
  OpenTables(const OpenTables&) = delete;
  OpenTables& operator=(const OpenTables&) = delete;
  ~OpenTables();

  /// Numbers of the tables, ascending.
  [[nodiscard]] std::vector<std::uint32_t> numbers();

  /// Numbers by which leaves with strays, and then those in rings, are tables of one leaf: kFirstMerged and up.
  [[nodiscard]] std::vector<std::uint32_t> mergedNumbers();

  [[nodiscard]] OpenTable& table(std::uint32_t number);

  /// Where a leaf's samples are: in a table of one leaf if it has strays or is in a ring, else in its own.
  [[nodiscard]] Reference resolve(const Reference& reference);

  /// The log of strays.
  [[nodiscard]] Strays& strays();

  [[nodiscard]] Rings& rings();

  /// Makes the tables read a file again that is being written.
  void refresh();

 private:
  hid_t group();
  std::unique_ptr<OpenTable> merge(std::uint32_t number);
  std::unique_ptr<OpenTable> newest(std::size_t leaf);
  std::unique_ptr<FileTable> open(const std::string& name);
  std::unique_ptr<FileTable> openElsewhere(const std::string& name, std::size_t linkSize);

  Source source_;
  Handle group_;
  std::map<std::string, std::unique_ptr<File>> otherFiles_;  // destroyed after the tables, which refer to them
  std::map<std::uint32_t, std::unique_ptr<FileTable>> tables_;
  std::unique_ptr<Strays> strays_;                              // read when it is first asked for
  std::unique_ptr<Rings> rings_;                                // likewise
  std::map<std::uint32_t, std::unique_ptr<OpenTable>> merged_;  // by number
};

}  // namespace vtu::qat
