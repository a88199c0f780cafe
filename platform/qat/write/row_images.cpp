#include "platform/qat/write/row_images.hpp"

#include <algorithm>
#include <stdexcept>

#include "platform/qat/attributes.hpp"
#include "platform/qat/write/dataset_writer.hpp"
#include "platform/qat/write/gathered_write.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {
namespace {

/// Links in a header are looked for one by one.
constexpr std::ptrdiff_t kMostLinksOfGroup = 256;

/// Whether a group has a link for this field of the row.
bool isMember(const FieldPlan& field, std::size_t row) {
  return field.hasRowMembers && (field.form == FieldForm::columns || field.values[row] != nullptr);
}

bool isSingle(const qxArray& array) { return array.dims.size() == 2 && array.dims.elements() == 1; }

/// Whether the value is stored as a dataset without attributes.
bool isPlainDataset(const qxArray& array) {
  return array.id != qxCHAR && qalc::elementSize(array.id) > 0 && array.dims.size() <= H5S_MAX_RANK && !isSingle(array);
}

/// How a structure stores a field.
enum class Place { nowhere, number, text, member };

Place placeOf(const qxArray* value) {
  if (value == nullptr) return Place::nowhere;
  if (value->id == qxCHAR) return Place::text;
  return qalc::elementSize(value->id) > 0 && isSingle(*value) ? Place::number : Place::member;
}

bool isPlainText(const qxArray& array) {
  const auto text = textOfRow(&array);
  return text && text->size() <= TextHeapImage::kLongestText;
}

bool isPlainStructure(const qxArray& array, int levels);

bool isPlainMember(const qxArray& array, int levels) {
  return isPlainDataset(array) || (array.id == qxSTRUCT && isPlainStructure(array, levels));
}

/// Whether a structure holds only what its image can hold.
bool isPlainStructure(const qxArray& array, int levels) {
  constexpr std::size_t kLongestPlainName = 1000;
  const auto& fields = array.storage->fields;
  if (levels < 2 || !isSingle(array) || fields.size() > static_cast<std::size_t>(kMostLinksOfGroup)) return false;
  return std::all_of(fields.begin(), fields.end(), [levels](const qalc::Field& field) {
    const qxArray* value = field.values.front().get();
    const Place place = placeOf(value);
    return field.name.size() <= kLongestPlainName && (place != Place::text || isPlainText(*value)) &&
           (place != Place::member || isPlainMember(*value, levels - 1));
  });
}

/// Whether the group of a row holds only what its image can hold.
bool isPlain(const std::vector<FieldPlan>& fields, std::size_t row, int levels) {
  if (levels < 2) return false;  // the group and what is in it
  const auto links =
      std::count_if(fields.begin(), fields.end(), [row](const auto& field) { return isMember(field, row); });
  return links <= kMostLinksOfGroup && std::all_of(fields.begin(), fields.end(), [row, levels](const FieldPlan& field) {
           if (!isMember(field, row)) return true;
           return field.form == FieldForm::columns ? isPlain(field.fields, row, levels - 1)
                                                   : isPlainMember(*field.values[row], levels - 1);
         });
}

std::uint64_t bytesOf(const qxArray& array) {
  return array.dims.elements() * qalc::elementSize(array.id) * (array.complex ? 2 : 1);
}

}  // namespace

bool RowImages::add(const std::vector<FieldPlan>& fields, std::size_t row, int levels) {
  if (!isPlain(fields, row, levels)) return false;
  rows_.push_back(addGroup(fields, row));
  return true;
}

std::size_t RowImages::addGroup(const std::vector<FieldPlan>& fields, std::size_t row) {
  const std::size_t number = groups_.size();
  Group group;
  group.firstLink = links_.size();
  for (const FieldPlan& field : fields) {
    if (!isMember(field, row)) continue;
    links_.push_back({&field.link, Target::group, 0});
    group.linkBytes += linkBytes(field.link);
  }
  group.links = links_.size() - group.firstLink;
  groups_.push_back(group);
  std::size_t at = group.firstLink;
  for (const FieldPlan& field : fields) {
    if (!isMember(field, row)) continue;
    const Link link = field.form == FieldForm::columns ? Link{&field.link, Target::group, addGroup(field.fields, row)}
                                                       : linkTo(field.link, *field.values[row]);
    links_[at++] = link;
  }
  return number;
}

std::size_t RowImages::addStructure(const qxArray& structure) {
  const std::size_t number = groups_.size();
  Group group;
  group.structure = &structure;
  group.firstText = texts_.size();
  addTexts(structure);
  group.firstLink = links_.size();
  for (const qalc::Field& field : structure.storage->fields) {
    if (placeOf(field.values.front().get()) != Place::member) continue;
    links_.push_back({&names_.emplace_back(encodeName(field.name)), Target::group, 0});
    group.linkBytes += linkBytes(names_.back());
  }
  group.links = links_.size() - group.firstLink;
  ByteImage attributes;
  putAttributes(attributes,
                group);  // the size counts; the heap has no address yet
  group.attributeBytes = attributes.size();
  groups_.push_back(group);
  std::size_t at = group.firstLink;
  for (const qalc::Field& field : structure.storage->fields) {
    const qxArray* value = field.values.front().get();
    if (placeOf(value) != Place::member) continue;
    const Link link = linkTo(*links_[at].name, *value);
    links_[at++] = link;
  }
  return number;
}

/// Puts the texts of all attributes of a structure into the heap, in the order of putAttributes().
void RowImages::addTexts(const qxArray& structure) {
  const auto& fields = structure.storage->fields;
  texts_.push_back(textHeap_.add("struct"));
  for (const qalc::Field& field : fields) texts_.push_back(textHeap_.add(encodeName(field.name)));
  for (const qalc::Field& field : fields) {
    const qxArray* value = field.values.front().get();
    if (placeOf(value) == Place::text) texts_.push_back(textHeap_.add(textOfRow(value).value()));
  }
}

RowImages::Link RowImages::countedAgain(const std::string& name, const Link& known) {
  ++(known.target == Target::group ? groups_[known.value].references : datasets_[known.value].references);
  return {&name, known.target, known.value};
}

RowImages::Link RowImages::linkTo(const std::string& name, const qxArray& array) {
  const void* identity = qalc::storageIdentity(array);
  if (const auto found = known_.find(identity); found != known_.end()) return countedAgain(name, found->second);
  if (const haddr_t address = shared_.find(array); address != HADDR_UNDEF) {
    ++linksToOthers_[address];
    return {&name, Target::elsewhere, address};
  }
  Link link{&name, Target::dataset, datasets_.size()};
  if (array.id == qxSTRUCT) {
    link = {&name, Target::group, addStructure(array)};
  } else {
    datasets_.push_back({&array, 0, valueBytes_, 1});
    valueBytes_ += bytesOf(array);
  }
  known_.emplace(identity, link);
  return link;
}

std::span<const std::byte> RowImages::typeOf(const qxArray& array) {
  const ElementKind kind{array.id, array.complex};
  std::vector<std::byte>& type = types_.at(static_cast<std::size_t>(kind.id) * 2 + (kind.complex ? 1 : 0));
  if (type.empty()) type = encodedType(kit_.elementType(kind));
  return type;
}

DatasetImage RowImages::imageOf(const Dataset& dataset, std::vector<hsize_t>& extents) {
  extents = storedExtents(dataset.array->dims);
  const std::uint64_t size = bytesOf(*dataset.array);
  const std::uint64_t address = size != 0 ? valuesAt_ + dataset.values : HADDR_UNDEF;
  return {typeOf(*dataset.array), extents, address, size, dataset.references};
}

std::uint64_t RowImages::headerBytes() {
  std::uint64_t end = 0;
  for (Group& group : groups_) {
    group.header = end;
    end += groupHeaderBytes(
        {group.linkBytes, group.links, group.structure != nullptr, group.attributeBytes, group.references, 0});
  }
  std::vector<hsize_t> extents;
  for (Dataset& dataset : datasets_) {
    dataset.header = end;
    end += datasetHeaderBytes(imageOf(dataset, extents));
  }
  textHeapAt_ = end;
  return end + textHeap_.size();
}

std::uint64_t RowImages::addressOf(const Link& link) const {
  switch (link.target) {
    case Target::group:
      return headersAt_ + groups_[link.value].header;
    case Target::dataset:
      return headersAt_ + datasets_[link.value].header;
    case Target::elsewhere:
      break;
  }
  return link.value;
}

void RowImages::putTexts(ByteImage& image, std::string_view name, bool isList, std::span<const TextPlace> texts) {
  ByteImage values;
  for (const TextPlace& text : texts) {
    values.put(text.size);
    values.put(std::uint64_t{headersAt_ + textHeapAt_ + text.collection});
    values.put(text.number);
  }
  putAttribute(image, {name, variableTextType(), isList, texts.size(), {values.data(), values.size()}});
}

void RowImages::putAttributes(ByteImage& image, const Group& group) {
  const auto& fields = group.structure->storage->fields;
  std::span<const TextPlace> texts(texts_.begin() + static_cast<std::ptrdiff_t>(group.firstText), texts_.end());
  putTexts(image, kKindAttribute, false, texts.first(1));
  putTexts(image, kFieldsAttribute, true, texts.subspan(1, fields.size()));
  texts = texts.subspan(1 + fields.size());
  for (const qalc::Field& field : fields) {
    const qxArray* value = field.values.front().get();
    const Place place = placeOf(value);
    if (place == Place::text) {
      putTexts(image, encodeName(field.name), false, texts.first(1));
      texts = texts.subspan(1);
    } else if (place == Place::number) {
      const qalc::ValueView view = qalc::storedValues(*value);
      putAttribute(image, {encodeName(field.name), typeOf(*value), false, 1, {view.data, view.elementBytes}});
    }
  }
}

void RowImages::putGroup(ByteImage& image, const Group& group) {
  std::vector<LinkImage> links;
  links.reserve(group.links);
  for (std::size_t i = group.firstLink; i < group.firstLink + group.links; ++i) {
    links.push_back({*links_[i].name, addressOf(links_[i])});
  }
  GroupImage header;
  header.links = links;
  header.references = group.references;
  ByteImage attributes;
  if (group.structure != nullptr) {
    header.ordered = true;
    putAttributes(attributes, group);
    header.attributes = {attributes.data(), attributes.size()};
  }
  putGroupHeader(image, header);
}

void RowImages::write(const FileBytes& bytes) {
  writeHeaders(bytes);
  GatheredWrite values(bytes);
  for (const Dataset& dataset : datasets_) values.addValues(valuesAt_ + dataset.values, *dataset.array);
  values.finish();
  for (const Group& group : groups_) {
    if (group.structure != nullptr) shared_.add(*group.structure, headersAt_ + group.header);
  }
  for (const Dataset& dataset : datasets_) shared_.add(*dataset.array, headersAt_ + dataset.header);
}

void RowImages::writeHeaders(const FileBytes& bytes) {
  const std::uint64_t planned = headerBytes();
  ByteImage image;
  image.reserve(planned);
  for (const Group& group : groups_) putGroup(image, group);
  std::vector<hsize_t> extents;
  for (const Dataset& dataset : datasets_) putDatasetHeader(image, imageOf(dataset, extents));
  const ByteImage& texts = textHeap_.finished();
  image.putBytes({texts.data(), texts.size()});
  if (image.size() != planned) {
    throw std::logic_error("the headers of " + std::to_string(rows_.size()) + " rows are not as long as planned");
  }
  bytes.write(headersAt_, image.data(), image.size());
}

}  // namespace vtu::qat
