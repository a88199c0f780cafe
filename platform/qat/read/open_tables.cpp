#include "platform/qat/read/open_tables.hpp"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>

#include "platform/qat/failure.hpp"
#include "platform/qat/file.hpp"
#include "platform/qat/read/merged_table.hpp"
#include "platform/qat/read/ring_table.hpp"

namespace vtu::qat {
namespace {

std::string pathOf(const std::string& table) { return std::string(kSamplesGroup) + "/" + table; }

std::optional<std::uint32_t> numberOf(const std::string& name) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (error != std::errc() || std::to_string(number) != name) return {};
  return number;
}

}  // namespace

OpenTables::OpenTables(const Source& source) : source_(source) {}

OpenTables::~OpenTables() = default;

hid_t OpenTables::group() {
  if (!group_) group_ = openGroup(source_, source_.root, kSamplesGroup);
  return group_.get();
}

std::vector<std::uint32_t> OpenTables::numbers() {
  std::vector<std::uint32_t> numbers;
  if (!hasMember(source_.root, kSamplesGroup)) return numbers;
  for (const std::string& name : memberNames(group())) {
    if (const auto number = numberOf(name)) numbers.push_back(*number);
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

Strays& OpenTables::strays() {
  if (!strays_) strays_ = std::make_unique<Strays>(source_);
  return *strays_;
}

Rings& OpenTables::rings() {
  if (!rings_) rings_ = std::make_unique<Rings>(source_);
  return *rings_;
}

std::vector<std::uint32_t> OpenTables::mergedNumbers() {
  std::vector<std::uint32_t> numbers(strays().leaves().size() + rings().leaves().size());
  std::iota(numbers.begin(), numbers.end(), kFirstMerged);
  return numbers;
}

Reference OpenTables::resolve(const Reference& reference) {
  auto leaf = strays().find({reference.table, reference.column});
  if (!leaf) {
    leaf = rings().find({reference.table, reference.column});
    if (leaf) *leaf += strays().leaves().size();
  }
  return leaf ? Reference{kFirstMerged + static_cast<std::uint32_t>(*leaf), 0, reference.part} : reference;
}

std::unique_ptr<OpenTable> OpenTables::merge(std::uint32_t number) {
  const auto& leaves = strays().leaves();
  if (number - kFirstMerged >= leaves.size()) return newest(number - kFirstMerged - leaves.size());
  const Strays::Leaf& leaf = leaves[number - kFirstMerged];
  return atPlace(kStraysGroup, [&] {
    const auto [table, column] = leaf.place;
    if (leaf.described) return std::make_unique<MergedTable>(strays(), leaf, nullptr, *leaf.described);
    if (table >= kFirstMerged) throw Failure(kDamaged, "strays of a signal without a description");
    OpenTable& of = this->table(table);
    return std::make_unique<MergedTable>(strays(), leaf, &of, of.column(column));
  });
}

std::unique_ptr<OpenTable> OpenTables::newest(std::size_t leaf) {
  if (leaf >= rings().leaves().size()) throw Failure(kDamaged, "no such leaf");
  const Rings::Leaf& in = rings().leaves()[leaf];
  const auto [table, column] = in.in.place;
  if (table >= kFirstMerged) throw Failure(kDamaged, "a ring of a leaf in no table");
  return std::make_unique<RingTable>(rings(), in, this->table(table).column(column));
}

OpenTable& OpenTables::table(std::uint32_t number) {
  if (number >= kFirstMerged) {
    std::unique_ptr<OpenTable>& merged = merged_[number];
    if (!merged) merged = merge(number);
    return *merged;
  }
  std::unique_ptr<FileTable>& table = tables_[number];
  if (!table) {
    const std::string name = std::to_string(number);
    table = atPlace(pathOf(name), [&] {
      if (!hasMember(source_.root, kSamplesGroup) || !hasMember(group(), name))
        throw Failure(kDamaged, "no such table");
      return open(name);
    });
  }
  return *table;
}

std::unique_ptr<FileTable> OpenTables::open(const std::string& name) {
  H5L_info_t info;
  checked(H5Lget_info(group(), name.c_str(), &info, H5P_DEFAULT), kDamaged, "a member cannot be found");
  if (info.type == H5L_TYPE_EXTERNAL) return openElsewhere(name, info.u.val_size);
  return std::make_unique<FileTable>(source_, pathOf(name), openGroup(source_, group(), name));
}

std::unique_ptr<FileTable> OpenTables::openElsewhere(const std::string& name, std::size_t linkSize) {
  std::string value(linkSize, '\0');
  checked(H5Lget_val(group(), name.c_str(), value.data(), value.size(), H5P_DEFAULT), kDamaged,
          "a link cannot be read");
  const char* file = nullptr;
  const char* object = nullptr;
  checked(H5Lunpack_elink_val(value.data(), value.size(), nullptr, &file, &object), kDamaged, "a link cannot be read");
  const std::string bare = file;
  if (bare.empty() || bare == ".." || bare.find('/') != std::string::npos || object != "/" + pathOf(name)) {
    throw Failure(kUnsupported, "a link to " + std::string(object) + " in " + bare +
                                    "; it must lead to the same member of a file in the same folder");
  }
  std::unique_ptr<File>& other = otherFiles_[bare];
  try {
    if (!other) other = File::open(source_.path.substr(0, source_.path.rfind('/') + 1) + bare, File::Mode::read);
  } catch (const Failure& failure) {
    throw Failure(failure.code(), "the file '" + bare + "' beside this one " + failure.message());
  }
  const Source there = other->source();
  const Handle samples = openGroup(there, there.root, kSamplesGroup);
  return std::make_unique<FileTable>(there, pathOf(name), openGroup(there, samples.get(), name));
}

void OpenTables::refresh() {
  source_.integrity.forget();
  merged_.clear();
  strays_.reset();
  rings_.reset();
  for (auto& [name, file] : otherFiles_) file->source().integrity.forget();
  for (auto& [number, table] : tables_) table->refresh();
}

}  // namespace vtu::qat
