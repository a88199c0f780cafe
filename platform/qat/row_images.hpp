/// @file
/// The rows of a table as ready-made bytes: a group per row with its inner groups, and a dataset per array in them.
///
///     RowImages rows(kit, shared);
///     for (std::size_t i = 0; i < n; ++i) made[i] = rows.add(plan, i, levels);   // nothing is in the file yet
///     rows.place(headers, values);                                             // room for headerBytes(), valueBytes()
///     rows.write(bytes);
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/qat/file_bytes.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/object_image.hpp"
#include "platform/qat/shared_objects.hpp"
#include "platform/qat/table_plan.hpp"

namespace vtu::qat {

/// Lays out rows, then writes them at once. Borrows the plan, the arrays and everything it is made with.
class RowImages final {
 public:
  RowImages(Kit& kit, SharedObjects& shared) : kit_(kit), shared_(shared) {}

  /// Plans one row. False, and nothing planned, if it holds something else than numeric arrays.
  /// @param levels Levels of groups still allowed.
  [[nodiscard]] bool add(const std::vector<FieldPlan>& fields, std::size_t row, int levels);

  /// Bytes of all headers. No row may be added afterwards.
  [[nodiscard]] std::uint64_t headerBytes();

  /// Bytes of all values.
  [[nodiscard]] std::uint64_t valueBytes() const { return valueBytes_; }

  /// Sets where headers and values begin in the file.
  void place(std::uint64_t headers, std::uint64_t values) {
    headersAt_ = headers;
    valuesAt_ = values;
  }

  /// Address of the n-th planned row's group.
  [[nodiscard]] std::uint64_t rowAddress(std::size_t n) const { return headersAt_ + groups_[rows_[n]].offset; }

  /// Writes headers and values, and makes the datasets known for sharing.
  void write(const FileBytes& bytes);

  /// Number of new links to objects that were in the file before, by address.
  [[nodiscard]] const std::unordered_map<haddr_t, unsigned>& linksToOthers() const { return linksToOthers_; }

 private:
  enum class Target : std::uint8_t { group, dataset, elsewhere };

  struct Link {
    const std::string* name;
    Target target;
    std::uint64_t value;  // number of the group or dataset, or an address
  };
  struct Group {
    std::uint64_t offset;
    std::size_t firstLink, links;
  };
  struct Dataset {
    const qxArray* array;
    std::uint64_t header, values;  // offsets among the headers and the values
    std::uint32_t references;
  };

  [[nodiscard]] static bool isPlain(const std::vector<FieldPlan>& fields, std::size_t row, int levels);
  std::size_t addGroup(const std::vector<FieldPlan>& fields, std::size_t row);
  [[nodiscard]] Link linkTo(const std::string& name, const qxArray& array);
  [[nodiscard]] DatasetImage imageOf(const Dataset& dataset, std::vector<hsize_t>& extents);
  [[nodiscard]] std::uint64_t addressOf(const Link& link) const;
  void writeHeaders(const FileBytes& bytes);

  Kit& kit_;
  SharedObjects& shared_;
  std::vector<std::size_t> rows_;  // number of each row's group
  std::vector<Group> groups_;
  std::vector<Link> links_;
  std::vector<Dataset> datasets_;
  std::unordered_map<const void*, std::size_t> datasetOf_;  // by storage
  std::unordered_map<haddr_t, unsigned> linksToOthers_;
  std::array<std::vector<std::byte>, 32> types_;  // encoded, by class and complexity
  std::uint64_t groupBytes_ = 0;                  // of all groups' headers
  std::uint64_t valueBytes_ = 0;
  std::uint64_t headersAt_ = 0;
  std::uint64_t valuesAt_ = 0;
};

}  // namespace vtu::qat
