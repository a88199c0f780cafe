#include "platform/qat/attributes.hpp"

#include <cstdint>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

void writeAttribute(hid_t object, const char* name, hid_t type, hid_t space, const void* values) {
  const Handle attribute(checked(H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT), kStorage,
                                 "cannot make the attribute " + std::string(name)));
  checked(H5Awrite(attribute.get(), type, values), kStorage, "cannot write the attribute " + std::string(name));
}

Handle listSpace(std::size_t count) {
  const hsize_t extent = count;
  return Handle(checked(H5Screate_simple(1, &extent, nullptr), kStorage, "cannot make a dataspace"));
}

}  // namespace

void writeTextAttribute(Kit& kit, hid_t object, const char* name, std::string_view text) {
  const std::string terminated(text);
  const char* value = terminated.c_str();
  writeAttribute(object, name, kit.variableText(), kit.scalarSpace(), &value);
}

void writeTextsAttribute(Kit& kit, hid_t object, const char* name, const std::vector<std::string>& texts) {
  std::vector<const char*> values(texts.size() + 1);  // never without memory, even for no texts
  for (std::size_t i = 0; i < texts.size(); ++i) values[i] = texts[i].c_str();
  writeAttribute(object, name, kit.variableText(), listSpace(texts.size()).get(), values.data());
}

void writeDimsAttribute(hid_t object, const qalc::Dimensions& dims) {
  const std::vector<std::uint64_t> values(dims.begin(), dims.end());
  writeAttribute(object, kDimsAttribute, H5T_STD_U64LE, listSpace(values.size()).get(), values.data());
}

void writeReferenceAttribute(Kit& kit, hid_t object, const char* name, const Reference& reference) {
  writeAttribute(object, name, kit.storedReferenceType(), kit.scalarSpace(), packed({&reference, 1}).data());
}

void writeScalarAttribute(Kit& kit, hid_t object, const char* name, const qxArray& scalar) {
  writeAttribute(object, name, kit.elementType({scalar.id, scalar.complex}), kit.scalarSpace(),
                 qalc::storedValues(scalar).data);
}

}  // namespace vtu::qat
