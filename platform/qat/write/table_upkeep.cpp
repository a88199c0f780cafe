#include "platform/qat/write/table_upkeep.hpp"

#include <optional>
#include <set>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/open_tables.hpp"
#include "platform/qat/read/reader.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/qat/write/remove_link.hpp"

namespace vtu::qat {
namespace {

/// Numbers of the tables that all variables but one refer to; empty if a variable cannot be read.
std::optional<std::set<std::uint32_t>> usedTables(const Source& source, const std::string& except) {
  try {
    Reader reader(source);
    for (const std::string& link : memberNames(source.root)) {
      if (link != except && !link.starts_with("qat.")) reader.findTables(source.root, link);
    }
    return reader.tables();
  } catch (const Failure&) {
    return {};
  }
}

}  // namespace

SignalNames keptNames(const Source& source, const std::string& replaced, std::uint32_t kept,
                      const std::set<LeafPlace>& leaving) {
  SignalNames names;
  OpenTables tables(source);
  const auto numbers = tables.numbers();
  if (numbers.empty()) return names;
  std::optional<std::set<std::uint32_t>> used;
  if (hasMember(source.root, replaced)) used = usedTables(source, replaced);
  for (const std::uint32_t number : numbers) {
    if (number >= kept && used && used->count(number) == 0) continue;
    try {
      std::uint32_t record = 0;
      for (const StoredColumn& column : tables.table(number).columns()) {
        if (leaving.count({number, record++}) == 0) names.take(column.name);
      }
    } catch (const Failure&) {
      continue;  // its names cannot be read
    }
  }
  return names;
}

bool mayReferToTables(const Source& source, const std::string& link) {
  if (OpenTables(source).numbers().empty()) return false;
  try {
    Reader reader(source);
    reader.findTables(source.root, link);
    return !reader.tables().empty();
  } catch (const Failure&) {
    return true;
  }
}

void removeUnusedTables(const Source& source, bool trusted, std::uint32_t kept) {
  const auto numbers = OpenTables(source).numbers();
  if (numbers.empty()) return;
  const auto used = usedTables(source, {});
  if (!used) return;
  const Handle tables = openGroup(source, source.root, kSamplesGroup);
  for (const std::uint32_t number : numbers) {
    if (number >= kept && used->count(number) == 0) removeLink(source, tables.get(), std::to_string(number), trusted);
  }
}

}  // namespace vtu::qat
