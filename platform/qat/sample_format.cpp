#include "platform/qat/sample_format.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "platform/qalc_internal.hpp"
#include "platform/qat/failure.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qat {
namespace {

struct NamedClass {
  qxClassID id;
  std::string_view name;
};
constexpr std::array<NamedClass, 12> kClasses = {{{qxDOUBLE, "double"},
                                                  {qxSINGLE, "single"},
                                                  {qxINT8, "int8"},
                                                  {qxUINT8, "uint8"},
                                                  {qxINT16, "int16"},
                                                  {qxUINT16, "uint16"},
                                                  {qxINT32, "int32"},
                                                  {qxUINT32, "uint32"},
                                                  {qxINT64, "int64"},
                                                  {qxUINT64, "uint64"},
                                                  {qxLOGICAL, "logical"},
                                                  {qxCELL, kTextMember}}};
constexpr std::string_view kComplexSuffix = ".complex";

bool hasIntegerMember(hid_t type, const char* name) {
  const int index = H5Tget_member_index(type, name);
  return index >= 0 && H5Tget_member_class(type, static_cast<unsigned>(index)) == H5T_INTEGER;
}

}  // namespace

std::vector<char> packed(std::span<const Reference> references) {
  std::vector<char> bytes(references.size() * kPackedReference);
  char* at = bytes.data();
  for (const Reference& reference : references) {
    std::memcpy(at, &reference.table, 4);
    std::memcpy(at + 4, &reference.column, 4);
    at[8] = static_cast<char>(reference.part);
    at += kPackedReference;
  }
  return bytes;
}

std::string elementClassName(ElementKind kind) {
  const auto found =
      std::find_if(kClasses.begin(), kClasses.end(), [kind](const NamedClass& known) { return known.id == kind.id; });
  if (found == kClasses.end()) throw Failure(kUnsupported, "samples of class " + std::to_string(kind.id));
  return std::string(found->name).append(kind.complex ? kComplexSuffix : "");
}

std::optional<ElementKind> elementClassOf(std::string_view name) {
  const bool isComplex = name.ends_with(kComplexSuffix);
  if (isComplex) name.remove_suffix(kComplexSuffix.size());
  const auto found =
      std::find_if(kClasses.begin(), kClasses.end(), [name](const NamedClass& known) { return known.name == name; });
  const bool isReal = found != kClasses.end() && (found->id == qxLOGICAL || found->id == qxCELL);
  if (found == kClasses.end() || (isComplex && isReal)) return {};
  return ElementKind{found->id, isComplex};
}

std::size_t elementBytes(ElementKind kind) {
  if (kind.id == qxCELL) return TextCell::kBytesInRow;
  return qalc::elementSize(kind.id) * (kind.complex ? 2 : 1);
}

std::string dimsText(const std::vector<std::size_t>& dims) {
  std::string text;
  for (const std::size_t dim : dims) text += (text.empty() ? "" : "x") + std::to_string(dim);
  return text;
}

std::optional<std::vector<std::size_t>> dimsOfText(std::string_view text) {
  std::vector<std::size_t> dims;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    if (!dims.empty() && *at++ != 'x') return {};
    const auto [next, error] = std::from_chars(at, end, dims.emplace_back());
    if (error != std::errc()) return {};
    at = next;
  }
  return dims;
}

bool isReferenceType(hid_t type) {
  return H5Tget_class(type) == H5T_COMPOUND && H5Tget_nmembers(type) == 3 && hasIntegerMember(type, "table") &&
         hasIntegerMember(type, "column") && hasIntegerMember(type, "part");
}

}  // namespace vtu::qat
