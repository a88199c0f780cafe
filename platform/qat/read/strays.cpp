#include "platform/qat/read/strays.hpp"

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <numeric>
#include <utility>

#include "platform/qat/failure.hpp"
#include "platform/qat/sample_format.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kStraysAtOnce = 1U << 14U;
constexpr std::uint64_t kBytesAtOnce = 1U << 20U;

std::uint64_t sizeOf(hid_t dataset) {
  const auto extents = extentsOf(dataset);
  if (extents.size() != 1) throw Failure(kDamaged, "a dataset that does not have one axis");
  return extents.front();
}

}  // namespace

DescribedLeaf describedLeaf(std::string_view json) {
  DescribedLeaf leaf;
  const auto said = nlohmann::json::parse(json, nullptr, false);
  try {
    if (!said.at("column").is_number_unsigned()) throw Failure(kDamaged, "a signal without a number");
    leaf.number = said.at("column").get<std::uint32_t>();
    leaf.column.name = said.at("name").get<std::string>();
    leaf.column.unit = said.at("unit").get<std::string>();
    leaf.column.elementClass = said.at("class").get<std::string>();
    const auto dims = dimsOfText(said.at("dims").get<std::string>());
    if (!dims || !elementClassOf(leaf.column.elementClass)) throw Failure(kDamaged, "a class or dims without a sense");
    leaf.column.dims = *dims;
  } catch (const nlohmann::json::exception&) {
    throw Failure(kDamaged, "the description of a signal is not as it should be");
  }
  std::uint64_t width = 1;
  for (const std::size_t extent : leaf.column.dims) {
    if (__builtin_mul_overflow(width, extent, &width) || width > UINT32_MAX) {
      throw Failure(kDamaged, "a signal with too many elements");
    }
  }
  leaf.column.width = static_cast<std::uint32_t>(width);
  return leaf;
}

Strays::Strays(const Source& source) : source_(source), budget_(source.bytes.size()), strayType_(makeStrayType()) {
  if (!hasMember(source.root, kStraysGroup)) return;
  atPlace(kStraysGroup, [this] {
    const Handle group = openGroup(source_, source_.root, kStraysGroup);
    const std::uint64_t rows = validRows(group.get());  // before what they count
    samples_ = open(group.get(), kStraySamplesMember);
    bytes_ = open(group.get(), kStrayBytesMember);
    index(rows);
  });
}

/// The dataset as it is now, also in a file that grows.
Strays::Window Strays::open(hid_t group, const char* name) const {
  return atPlace(name, [&] {
    Window window;
    window.dataset = openDataset(source_, group, name);
    if (source_.live) checked(H5Drefresh(window.dataset.get()), kDamaged, "a dataset cannot be read again");
    requireChunks(window.dataset.get(), budget_);
    window.size = sizeOf(window.dataset.get());
    return window;
  });
}

std::uint64_t Strays::validRows(hid_t group) const {
  return atPlace(kRowsMember, [&] {
    const Window rows = open(group, kRowsMember);
    if (rows.size != 1) throw Failure(kDamaged, "not one number");
    std::uint64_t count = 0;
    checked(H5Dread(rows.dataset.get(), H5T_NATIVE_UINT64, H5S_ALL, H5S_ALL, H5P_DEFAULT, &count), kDamaged,
            "the number of strays cannot be read");
    return count;
  });
}

void Strays::index(std::uint64_t rows) {
  if (rows > samples_.size) {
    throw Failure(kDamaged, std::to_string(rows) + " strays of " + std::to_string(samples_.size));
  }
  if (!isStrayType(typeOf(samples_.dataset.get()).get())) throw Failure(kDamaged, "strays of another type");
  budget_.take(rows, sizeof(std::uint64_t));
  for (std::uint64_t number = 0; number < rows; ++number) {
    const Stray read = stray(number);
    if (read.column == kDescriptionColumn) {
      const std::byte* json = bytes(read.start, read.bytes);
      describe({reinterpret_cast<const char*>(json), read.bytes});
    } else {
      leafAt({read.table, read.column}).strays.push_back(number);
    }
  }
}

Strays::Leaf& Strays::leafAt(LeafPlace place) {
  const auto [known, isNew] = known_.try_emplace(place, leaves_.size());
  if (isNew) {
    budget_.take(1, sizeof(Leaf) + 64);
    leaves_.push_back({place, {}, {}});
  }
  return leaves_[known->second];
}

void Strays::describe(std::string_view json) {
  DescribedLeaf said = describedLeaf(json);
  Leaf& leaf = leafAt({kLateTable, said.number});
  if (leaf.described) return;
  budget_.take(json.size(), 64);
  leaf.described = std::move(said.column);
  descriptions_.emplace_back(json);
}

std::optional<std::size_t> Strays::find(LeafPlace place) const {
  const auto known = known_.find(place);
  return known == known_.end() ? std::nullopt : std::optional(known->second);
}

void Strays::move(Window& window, hid_t type, std::size_t element, std::uint64_t first, std::uint64_t count) const {
  budget_.require(count, element);
  window.bytes.resize(count * element);
  window.first = first;
  window.count = count;
  const hsize_t from = first, size = count;
  const Handle space = spaceOf(window.dataset.get());
  checked(H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, &from, nullptr, &size, nullptr), kDamaged,
          "strays cannot be selected");
  const Handle memory(checked(H5Screate_simple(1, &size, nullptr), kStorage, "cannot make a dataspace"));
  checked(H5Dread(window.dataset.get(), type, memory.get(), space.get(), H5P_DEFAULT, window.bytes.data()), kDamaged,
          "strays cannot be read");
}

Stray Strays::stray(std::uint64_t number) {
  if (number < samples_.first || number >= samples_.first + samples_.count) {
    move(samples_, strayType_.get(), Stray::kBytesInFile, number, std::min(kStraysAtOnce, samples_.size - number));
  }
  return Stray::fromBytes(samples_.bytes.data() + (number - samples_.first) * Stray::kBytesInFile);
}

/// Valid until the next call.
const std::byte* Strays::bytes(std::uint64_t start, std::uint64_t count) {
  if (start > bytes_.size || count > bytes_.size - start) {
    throw Failure(kDamaged,
                  "a stray up to byte " + std::to_string(start + count) + " of " + std::to_string(bytes_.size));
  }
  if (count == 0) return bytes_.bytes.data();
  if (start < bytes_.first || start + count > bytes_.first + bytes_.count) {
    move(bytes_, H5T_NATIVE_UINT8, 1, start, std::min(std::max(count, kBytesAtOnce), bytes_.size - start));
  }
  return bytes_.bytes.data() + (start - bytes_.first);
}

void Strays::readTimes(const Leaf& leaf, std::uint64_t first, std::uint64_t count, double* out) {
  atPlace(kStraysGroup, [&] {
    for (std::uint64_t i = first; i < first + count; ++i) *out++ = stray(leaf.strays.at(i)).time;
  });
}

void Strays::readValues(const Leaf& leaf, std::size_t size, std::uint64_t first, std::uint64_t count, std::byte* out) {
  atPlace(kStraysGroup, [&] {
    for (std::uint64_t i = first; i < first + count; ++i, out += size) {
      const Stray read = stray(leaf.strays.at(i));
      if (read.bytes != size) {
        throw Failure(kDamaged,
                      "a stray of " + std::to_string(read.bytes) + " bytes in place of " + std::to_string(size));
      }
      if (size > 0) std::memcpy(out, bytes(read.start, size), size);
    }
  });
}

std::string_view Strays::text(TextCell cell) {
  return atPlace(kStraysGroup, [&] {
    return std::string_view(reinterpret_cast<const char*>(bytes(cell.start, cell.bytes)), cell.bytes);
  });
}

}  // namespace vtu::qat
