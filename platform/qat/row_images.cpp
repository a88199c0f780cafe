#include "platform/qat/row_images.hpp"

#include <algorithm>
#include <stdexcept>

#include "platform/qat/dataset_writer.hpp"
#include "platform/qat/gathered_write.hpp"

namespace vtu::qat {
namespace {

/// Links in a header are looked for one by one.
constexpr std::ptrdiff_t kMostLinksOfGroup = 256;

/// Whether a group has a link for this field of the row.
bool isMember(const FieldPlan& field, std::size_t row) {
  return field.hasRowMembers && (field.form == FieldForm::columns || field.values[row] != nullptr);
}

/// Whether the value is stored as a dataset without attributes.
bool isPlainDataset(const qxArray& array) {
  return array.id != qxCHAR && qalc::elementSize(array.id) > 0 && array.dims.size() <= H5S_MAX_RANK &&
         (array.dims.size() > 2 || array.dims.elements() != 1);
}

std::uint64_t bytesOf(const qxArray& array) {
  return array.dims.elements() * qalc::elementSize(array.id) * (array.complex ? 2 : 1);
}

}  // namespace

bool RowImages::isPlain(const std::vector<FieldPlan>& fields, std::size_t row, int levels) {
  if (levels < 2) return false;  // the group and what is in it
  const auto links =
      std::count_if(fields.begin(), fields.end(), [row](const auto& field) { return isMember(field, row); });
  return links <= kMostLinksOfGroup && std::all_of(fields.begin(), fields.end(), [row, levels](const FieldPlan& field) {
           if (!isMember(field, row)) return true;
           return field.form == FieldForm::columns ? isPlain(field.fields, row, levels - 1)
                                                   : isPlainDataset(*field.values[row]);
         });
}

bool RowImages::add(const std::vector<FieldPlan>& fields, std::size_t row, int levels) {
  if (!isPlain(fields, row, levels)) return false;
  rows_.push_back(addGroup(fields, row));
  return true;
}

std::size_t RowImages::addGroup(const std::vector<FieldPlan>& fields, std::size_t row) {
  const std::size_t number = groups_.size();
  const std::size_t first = links_.size();
  std::size_t messages = 0;
  for (const FieldPlan& field : fields) {
    if (!isMember(field, row)) continue;
    links_.push_back({&field.link, Target::group, 0});
    messages += linkBytes(field.link);
  }
  const std::size_t count = links_.size() - first;
  groups_.push_back({groupBytes_, first, count});
  groupBytes_ += groupHeaderBytes(messages, count);
  std::size_t at = first;
  for (const FieldPlan& field : fields) {
    if (!isMember(field, row)) continue;
    const Link link = field.form == FieldForm::columns ? Link{&field.link, Target::group, addGroup(field.fields, row)}
                                                       : linkTo(field.link, *field.values[row]);
    links_[at++] = link;
  }
  return number;
}

RowImages::Link RowImages::linkTo(const std::string& name, const qxArray& array) {
  const auto [found, isNew] = datasetOf_.try_emplace(qalc::storageIdentity(array), datasets_.size());
  if (!isNew) {
    ++datasets_[found->second].references;
  } else if (const haddr_t address = shared_.find(array); address != HADDR_UNDEF) {
    datasetOf_.erase(found);
    ++linksToOthers_[address];
    return {&name, Target::elsewhere, address};
  } else {
    datasets_.push_back({&array, 0, valueBytes_, 1});
    valueBytes_ += bytesOf(array);
  }
  return {&name, Target::dataset, found->second};
}

DatasetImage RowImages::imageOf(const Dataset& dataset, std::vector<hsize_t>& extents) {
  extents = storedExtents(dataset.array->dims);
  const ElementKind kind{dataset.array->id, dataset.array->complex};
  std::vector<std::byte>& type = types_.at(static_cast<std::size_t>(kind.id) * 2 + (kind.complex ? 1 : 0));
  if (type.empty()) type = encodedType(kit_.elementType(kind));
  const std::uint64_t size = bytesOf(*dataset.array);
  return {type, extents, size != 0 ? valuesAt_ + dataset.values : HADDR_UNDEF, size, dataset.references};
}

std::uint64_t RowImages::headerBytes() {
  std::vector<hsize_t> extents;
  std::uint64_t end = groupBytes_;
  for (Dataset& dataset : datasets_) {
    dataset.header = end;
    end += datasetHeaderBytes(imageOf(dataset, extents));
  }
  return end;
}

std::uint64_t RowImages::addressOf(const Link& link) const {
  switch (link.target) {
    case Target::group:
      return headersAt_ + groups_[link.value].offset;
    case Target::dataset:
      return headersAt_ + datasets_[link.value].header;
    case Target::elsewhere:
      break;
  }
  return link.value;
}

void RowImages::write(const FileBytes& bytes) {
  writeHeaders(bytes);
  GatheredWrite values(bytes);
  for (const Dataset& dataset : datasets_) values.addValues(valuesAt_ + dataset.values, *dataset.array);
  values.finish();
  for (const Dataset& dataset : datasets_) shared_.add(*dataset.array, headersAt_ + dataset.header);
}

void RowImages::writeHeaders(const FileBytes& bytes) {
  const std::uint64_t planned = headerBytes();
  ByteImage image;
  image.reserve(planned);
  std::vector<LinkImage> links;
  for (const Group& group : groups_) {
    links.clear();
    for (std::size_t i = group.firstLink; i < group.firstLink + group.links; ++i) {
      links.push_back({*links_[i].name, addressOf(links_[i])});
    }
    putGroupHeader(image, links);
  }
  std::vector<hsize_t> extents;
  for (const Dataset& dataset : datasets_) putDatasetHeader(image, imageOf(dataset, extents));
  if (image.size() != planned) {
    throw std::logic_error("the headers of " + std::to_string(rows_.size()) + " rows are not as long as planned");
  }
  bytes.write(headersAt_, image.data(), image.size());
}

}  // namespace vtu::qat
