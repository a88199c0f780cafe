#include "platform/qat/kit.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/qalc_internal.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qat {
namespace {

hid_t realType(qxClassID id) {
  const std::array types = {H5T_STD_I8LE,  H5T_STD_U8LE,  H5T_STD_I16LE, H5T_STD_U16LE,
                            H5T_STD_I32LE, H5T_STD_U32LE, H5T_STD_I64LE, H5T_STD_U64LE};
  if (id == qxDOUBLE) return H5T_IEEE_F64LE;
  if (id == qxSINGLE) return H5T_IEEE_F32LE;
  if (id == qxCHAR) return H5T_STD_U16LE;
  if (id >= qxINT8 && id <= qxUINT64) return types.at(static_cast<std::size_t>(id - qxINT8));
  throw Failure(kUnsupported, "class " + std::to_string(static_cast<int>(id)) + " has no numeric elements");
}

Handle makeLogicalType() {
  Handle type(checked(H5Tenum_create(H5T_STD_I8LE), kStorage, "cannot make the logical type"));
  const std::int8_t no = 0, yes = 1;
  checked(H5Tenum_insert(type.get(), "FALSE", &no), kStorage, "cannot make the logical type");
  checked(H5Tenum_insert(type.get(), "TRUE", &yes), kStorage, "cannot make the logical type");
  return type;
}

Handle makeComplexType(qxClassID id) {
  const std::size_t size = qalc::elementSize(id);
  Handle type(checked(H5Tcreate(H5T_COMPOUND, 2 * size), kStorage, "cannot make a complex type"));
  checked(H5Tinsert(type.get(), "r", 0, realType(id)), kStorage, "cannot make a complex type");
  checked(H5Tinsert(type.get(), "i", size, realType(id)), kStorage, "cannot make a complex type");
  return type;
}

/// The range of a text in the bytes of a table's texts; without padding, as in memory.
Handle makeTextCellType() {
  constexpr const char* kWhat = "cannot make the type of texts in a table";
  Handle type(checked(H5Tcreate(H5T_COMPOUND, TextCell::kBytesInRow), kStorage, kWhat));
  checked(H5Tinsert(type.get(), "start", 0, H5T_STD_U64LE), kStorage, kWhat);
  checked(H5Tinsert(type.get(), "bytes", sizeof(std::uint64_t), H5T_STD_U32LE), kStorage, kWhat);
  return type;
}

Handle makeReferenceType() {
  constexpr const char* kWhat = "cannot make the type of references";
  Handle type(checked(H5Tcreate(H5T_COMPOUND, sizeof(Reference)), kStorage, kWhat));
  checked(H5Tinsert(type.get(), "table", offsetof(Reference, table), H5T_NATIVE_UINT32), kStorage, kWhat);
  checked(H5Tinsert(type.get(), "column", offsetof(Reference, column), H5T_NATIVE_UINT32), kStorage, kWhat);
  checked(H5Tinsert(type.get(), "part", offsetof(Reference, part), H5T_NATIVE_UINT32), kStorage, kWhat);
  return type;
}

Handle makeStoredReferenceType() {
  constexpr const char* kWhat = "cannot make the type of references";
  Handle type(checked(H5Tcreate(H5T_COMPOUND, kPackedReference), kStorage, kWhat));
  checked(H5Tinsert(type.get(), "table", 0, H5T_STD_U32LE), kStorage, kWhat);
  checked(H5Tinsert(type.get(), "column", 4, H5T_STD_U32LE), kStorage, kWhat);
  checked(H5Tinsert(type.get(), "part", 8, H5T_STD_U8LE), kStorage, kWhat);
  return type;
}

Handle makeList(hid_t listClass) {
  Handle list(checked(H5Pcreate(listClass), kStorage, "cannot make a property list"));
  checked(H5Pset_obj_track_times(list.get(), false), kStorage, "cannot make a property list");
  return list;
}

qxClassID integerClass(hid_t type) {
  const std::size_t size = H5Tget_size(type);
  if (size > 8 || !std::has_single_bit(size)) return qxUNKNOWN;
  return static_cast<qxClassID>(qxINT8 + 2 * std::countr_zero(size) + (H5Tget_sign(type) == H5T_SGN_2 ? 0 : 1));
}

bool hasMemberNamed(hid_t type, unsigned index, const char* name) {
  char* found = H5Tget_member_name(type, index);
  const bool same = found != nullptr && std::string_view(found) == name;
  H5free_memory(found);
  return same;
}

ElementKind compoundKind(hid_t type) {
  if (H5Tget_nmembers(type) != 2 || !hasMemberNamed(type, 0, "r") || !hasMemberNamed(type, 1, "i")) return {};
  const Handle real(H5Tget_member_type(type, 0));
  const Handle imaginary(H5Tget_member_type(type, 1));
  const ElementKind first = elementKindOf(real.get());
  if (first.complex || first.id == qxLOGICAL || !(first == elementKindOf(imaginary.get()))) return {};
  return {first.id, first.id != qxUNKNOWN};
}

ElementKind enumKind(hid_t type) {
  const bool logical = H5Tget_size(type) == 1 && H5Tget_nmembers(type) == 2 && hasMemberNamed(type, 0, "FALSE") &&
                       hasMemberNamed(type, 1, "TRUE");
  if (logical) return {qxLOGICAL, false};
  const Handle base(H5Tget_super(type));
  return {base ? integerClass(base.get()) : qxUNKNOWN, false};
}

}  // namespace

Kit::Kit()
    : datasetList_(makeList(H5P_DATASET_CREATE)),
      chunkedList_(makeList(H5P_DATASET_CREATE)),
      groupList_(makeList(H5P_GROUP_CREATE)),
      orderedGroupList_(makeList(H5P_GROUP_CREATE)),
      variableText_(checked(H5Tcopy(H5T_C_S1), kStorage, "cannot make the text type")),
      scalarSpace_(checked(H5Screate(H5S_SCALAR), kStorage, "cannot make the scalar space")),
      logicalType_(makeLogicalType()),
      textCellType_(makeTextCellType()),
      referenceType_(makeReferenceType()),
      storedReferenceType_(makeStoredReferenceType()) {
  constexpr const char* kWhat = "cannot set up a property list";
  for (const Handle* list : {&datasetList_, &chunkedList_}) {
    checked(H5Pset_fill_time(list->get(), H5D_FILL_TIME_NEVER), kStorage, kWhat);
    checked(H5Pset_dset_no_attrs_hint(list->get(), true), kStorage, kWhat);
  }
  checked(H5Pset_alloc_time(datasetList_.get(), H5D_ALLOC_TIME_EARLY), kStorage, kWhat);
  checked(H5Pset_link_creation_order(orderedGroupList_.get(), H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED), kStorage,
          kWhat);
  checked(H5Tset_size(variableText_.get(), H5T_VARIABLE), kStorage, kWhat);
  checked(H5Tset_cset(variableText_.get(), H5T_CSET_UTF8), kStorage, kWhat);
}

hid_t Kit::elementType(ElementKind kind) {
  if (kind.id == qxLOGICAL) return logicalType_.get();
  if (kind.id == qxCELL) return textCellType_.get();
  if (!kind.complex) return realType(kind.id);
  Handle& type = complexTypes_.at(static_cast<std::size_t>(kind.id));
  if (!type) type = makeComplexType(kind.id);
  return type.get();
}

Handle fixedTextType(std::size_t size) {
  Handle type(checked(H5Tcopy(H5T_C_S1), kStorage, "cannot make a text type"));
  checked(H5Tset_size(type.get(), std::max<std::size_t>(size, 1)), kStorage, "cannot make a text type");
  checked(H5Tset_cset(type.get(), H5T_CSET_UTF8), kStorage, "cannot make a text type");
  checked(H5Tset_strpad(type.get(), H5T_STR_NULLPAD), kStorage, "cannot make a text type");
  return type;
}

std::size_t sizeWithoutPadding(std::string_view text, H5T_str_t padding) {
  if (padding == H5T_STR_NULLTERM) return std::min(text.find('\0'), text.size());
  const auto last = text.find_last_not_of(padding == H5T_STR_SPACEPAD ? ' ' : '\0');
  return last == std::string_view::npos ? 0 : last + 1;
}

ElementKind elementKindOf(hid_t type) {
  switch (H5Tget_class(type)) {
    case H5T_INTEGER:
      return {integerClass(type), false};
    case H5T_FLOAT:
      return {H5Tget_size(type) == 8 ? qxDOUBLE : H5Tget_size(type) <= 4 ? qxSINGLE : qxUNKNOWN, false};
    case H5T_ENUM:
      return enumKind(type);
    case H5T_COMPOUND:
      return compoundKind(type);
    default:
      return {};
  }
}

}  // namespace vtu::qat
