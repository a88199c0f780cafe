/// @file
/// The sample tables of an open file.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/qat/read/open_table.hpp"

namespace vtu::qat {

class File;

/// Opens tables when they are first asked for and keeps them open. Every function throws Failure.
///
/// A table may stand in a streamed file beside this one: its member is then an external link to the member of the same
/// name there, by the bare name of the file. No other link to another file is followed.
class OpenTables final {
 public:
  explicit OpenTables(const Source& source);
  OpenTables(const OpenTables&) = delete;
  OpenTables& operator=(const OpenTables&) = delete;
  ~OpenTables();

  /// Numbers of the tables, ascending.
  [[nodiscard]] std::vector<std::uint32_t> numbers();

  [[nodiscard]] OpenTable& table(std::uint32_t number);

  /// Makes the tables look again at a file that is being written.
  void refresh();

 private:
  hid_t group();
  std::unique_ptr<OpenTable> open(const std::string& name);
  std::unique_ptr<OpenTable> openElsewhere(const std::string& name, std::size_t linkSize);

  Source source_;
  Handle group_;
  std::map<std::string, std::unique_ptr<File>> otherFiles_;  // before the tables, which borrow from them
  std::map<std::uint32_t, std::unique_ptr<OpenTable>> tables_;
};

}  // namespace vtu::qat
