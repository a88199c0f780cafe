/// @file
/// The rows of a table as ready-made bytes: a group per row with its inner groups and structures, and a dataset per
/// array in them.
///
///     RowImages rows(kit, shared);
///     for (std::size_t i = 0; i < n; ++i) made[i] = rows.add(plan, i, levels);  // nothing is in the file yet
///     rows.place(headers, values);                                            // room for headerBytes(), valueBytes()
///     rows.write(bytes);
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/qat/file_bytes.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/write/object_image.hpp"
#include "platform/qat/write/shared_objects.hpp"
#include "platform/qat/write/table_plan.hpp"
#include "platform/qat/write/text_heap_image.hpp"

namespace vtu::qat {

/// Lays out rows, then writes them at once. Borrows the plan, the arrays and everything it is made with.
class RowImages final {
 public:
  RowImages(Kit& kit, SharedObjects& shared) : kit_(kit), shared_(shared) {}

  /// Plans one row. False, and nothing planned, if it holds something else than numeric arrays and structures of
  /// scalars, texts and such arrays.
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
  [[nodiscard]] std::uint64_t rowAddress(std::size_t n) const { return headersAt_ + groups_[rows_[n]].header; }

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
    const qxArray* structure = nullptr;  // null: a row, or columns of a row
    std::size_t firstLink = 0, links = 0, linkBytes = 0;
    std::size_t firstText = 0, attributeBytes = 0;
    std::uint64_t header = 0;  // offset among the headers
    std::uint32_t references = 1;
  };
  struct Dataset {
    const qxArray* array;
    std::uint64_t header, values;  // offsets among the headers and the values
    std::uint32_t references;
  };

  std::size_t addGroup(const std::vector<FieldPlan>& fields, std::size_t row);
  std::size_t addStructure(const qxArray& structure);
  void addTexts(const qxArray& structure);
  [[nodiscard]] Link linkTo(const std::string& name, const qxArray& array);
  [[nodiscard]] Link countedAgain(const std::string& name, const Link& known);
  [[nodiscard]] std::span<const std::byte> typeOf(const qxArray& array);
  [[nodiscard]] DatasetImage imageOf(const Dataset& dataset, std::vector<hsize_t>& extents);
  [[nodiscard]] std::uint64_t addressOf(const Link& link) const;
  void putAttributes(ByteImage& image, const Group& group);
  void putTexts(ByteImage& image, std::string_view name, bool isList, std::span<const TextPlace> texts);
  void putGroup(ByteImage& image, const Group& group);
  void writeHeaders(const FileBytes& bytes);

  Kit& kit_;
  SharedObjects& shared_;
  std::vector<std::size_t> rows_;  // number of each row's group
  std::vector<Group> groups_;
  std::vector<Link> links_;
  std::vector<Dataset> datasets_;
  std::deque<std::string> names_;  // of fields of structures, encoded
  TextHeapImage textHeap_;
  std::vector<TextPlace> texts_;  // of all attributes, in their order
  std::uint64_t textHeapAt_ = 0;
  std::unordered_map<const void*, Link> known_;  // by storage
  std::unordered_map<haddr_t, unsigned> linksToOthers_;
  std::array<std::vector<std::byte>, 32> types_;  // encoded, by class and complexity
  std::uint64_t valueBytes_ = 0;
  std::uint64_t headersAt_ = 0;
  std::uint64_t valuesAt_ = 0;
};

}  // namespace vtu::qat
