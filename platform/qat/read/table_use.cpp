#include "platform/qat/read/table_use.hpp"

#include <unordered_set>
#include <vector>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/memory_budget.hpp"
#include "platform/qat/read/structures.hpp"
#include "platform/qat/sample_format.hpp"

namespace vtu::qat {
namespace {

/// Goes through all objects of variables and looks for references.
class ReferenceSearch final {
 public:
  explicit ReferenceSearch(const Source& source) : source_(source), budget_(source.bytes.size()) {}

  void visit(hid_t group, const std::string& link) {
    haddr_t address = HADDR_UNDEF;
    const Handle object = openMember(source_, group, link, &address);
    if (!visited_.insert(address).second) return;
    const Deeper deeper(depth_);
    if (H5Iget_type(object.get()) == H5I_DATASET) return visitDataset(object.get());
    if (H5Iget_type(object.get()) != H5I_GROUP) return;
    Attributes attributes{*this, {}};
    hsize_t position = 0;
    checked(H5Aiterate2(object.get(), H5_INDEX_NAME, H5_ITER_INC, &position, collectReference, &attributes), kDamaged,
            "attributes cannot be read");
    for (const Reference& reference : attributes.found) tables_.insert(reference.table);
    for (const std::string& name : memberNames(object.get())) visit(object.get(), name);
  }

  [[nodiscard]] const std::set<std::uint32_t>& tables() const { return tables_; }

 private:
  struct Attributes {
    const ReferenceSearch& search;
    std::vector<Reference> found;
  };

  static herr_t collectReference(hid_t object, const char* name, const H5A_info_t*, void* target) {
    auto& attributes = *static_cast<Attributes*>(target);
    const Handle attribute(H5Aopen(object, name, H5P_DEFAULT));
    const Handle type(attribute ? H5Aget_type(attribute.get()) : H5I_INVALID_HID);
    const Handle space(attribute ? H5Aget_space(attribute.get()) : H5I_INVALID_HID);
    if (!type || !space) return -1;
    if (!isReferenceType(type.get()) || H5Sget_simple_extent_npoints(space.get()) != 1) return 0;
    Reference reference;
    if (H5Aread(attribute.get(), attributes.search.source_.kit.referenceType(), &reference) < 0) return -1;
    attributes.found.push_back(reference);
    return 0;
  }

  void visitDataset(hid_t dataset) {
    if (!isReferenceType(typeOf(dataset).get())) return;
    const std::size_t count = checkedElements(extentsOf(dataset));
    budget_.require(count, sizeof(Reference));
    std::vector<Reference> references(count);
    if (count == 0) return;
    checked(H5Dread(dataset, source_.kit.referenceType(), H5S_ALL, H5S_ALL, H5P_DEFAULT, references.data()), kDamaged,
            "references cannot be read");
    for (const Reference& reference : references) tables_.insert(reference.table);
  }

  const Source& source_;
  MemoryBudget budget_;
  std::unordered_set<haddr_t> visited_;
  std::set<std::uint32_t> tables_;
  int depth_ = 0;
};

}  // namespace

std::set<std::uint32_t> usedTables(const Source& source, const std::string& except) {
  ReferenceSearch search(source);
  for (const std::string& name : memberNames(source.root)) {
    if (name != except && name != kSamplesGroup) search.visit(source.root, name);
  }
  return search.tables();
}

}  // namespace vtu::qat
