#include "arrays.hpp"

#include <algorithm>
#include <array>

namespace vtio::tests {
namespace {

constexpr std::array<qxClassID, 11> kNumericClasses = {qxLOGICAL, qxDOUBLE, qxSINGLE, qxINT8,  qxUINT8, qxINT16,
                                                       qxUINT16,  qxINT32,  qxUINT32, qxINT64, qxUINT64};
constexpr std::array<const char*, 12> kFieldNames = {"a",    "Name", "Values", "",    ".",        "x/y",
                                                     "100%", "17",   "0",      "été", "qat.kind", "qat.fields"};

std::size_t elementSize(qxClassID id) {
  switch (id) {
    case qxDOUBLE:
    case qxINT64:
    case qxUINT64:
      return 8;
    case qxSINGLE:
    case qxINT32:
    case qxUINT32:
      return 4;
    case qxINT16:
    case qxUINT16:
    case qxCHAR:
      return 2;
    default:
      return 1;
  }
}

std::string differentCells(const qxArray* a, const qxArray* b, const std::string& place) {
  for (std::size_t i = 0; i < qxGetNumberOfElements(a); ++i) {
    const auto found = difference(qxGetCell(a, i), qxGetCell(b, i), place + "{" + std::to_string(i) + "}");
    if (!found.empty()) return found;
  }
  return {};
}

std::string differentFields(const qxArray* a, const qxArray* b, const std::string& place) {
  const int count = qxGetNumberOfFields(a);
  if (count != qxGetNumberOfFields(b)) return place + ": number of fields";
  for (int f = 0; f < count; ++f) {
    const std::string name = qxGetFieldName(a, f);
    if (name != qxGetFieldName(b, f)) return place + ": field " + name + " against " + qxGetFieldName(b, f);
    for (std::size_t i = 0; i < qxGetNumberOfElements(a); ++i) {
      const auto found = difference(qxGetField(a, i, name.c_str()), qxGetField(b, i, name.c_str()),
                                    place + "(" + std::to_string(i) + ")." + name);
      if (!found.empty()) return found;
    }
  }
  return {};
}

}  // namespace

std::string difference(const qxArray* a, const qxArray* b, const std::string& place) {
  if (a == nullptr || b == nullptr) return a == b ? "" : place + ": one of them is null";
  if (qxGetClassID(a) != qxGetClassID(b)) {
    return place + ": class " + std::to_string(qxGetClassID(a)) + " against " + std::to_string(qxGetClassID(b));
  }
  if (qxIsComplex(a) != qxIsComplex(b)) return place + ": complexity";
  const Dims first(qxGetDimensions(a), qxGetDimensions(a) + qxGetNumberOfDimensions(a));
  const Dims second(qxGetDimensions(b), qxGetDimensions(b) + qxGetNumberOfDimensions(b));
  if (first != second) return place + ": dimensions";
  if (qxGetClassID(a) == qxCELL) return differentCells(a, b, place);
  if (qxGetClassID(a) == qxSTRUCT) return differentFields(a, b, place);
  const std::size_t size = qxGetNumberOfElements(a) * elementSize(qxGetClassID(a)) * (qxIsComplex(a) ? 2 : 1);
  if (size > 0 && std::memcmp(qxGetConstData(a), qxGetConstData(b), size) != 0) return place + ": values";
  return {};
}

Array doubles(const Dims& dims, const std::vector<double>& columnMajor) {
  Array array(qxCreateNumericArray(dims.size(), dims.data(), qxDOUBLE, false));
  std::copy(columnMajor.begin(), columnMajor.end(), static_cast<double*>(qxGetData(array.get())));
  return array;
}

Array rowMajorDoubles(const Dims& dims, const std::vector<double>& rowMajor) {
  Array array(qxCreateNumericArrayRowMajor(dims.size(), dims.data(), qxDOUBLE, false));
  std::copy(rowMajor.begin(), rowMajor.end(), static_cast<double*>(qxGetRowMajorData(array.get())));
  return array;
}

Array text(const char* utf8) { return Array(qxCreateString(utf8)); }

Array units(std::u16string_view text) { return Array(qxCreateUString(text.data(), text.size())); }

Array cells(const Dims& dims, std::vector<Array> values) {
  Array array(qxCreateCellArray(dims.size(), dims.data()));
  for (std::size_t i = 0; i < values.size(); ++i) qxSetCell(array.get(), i, values[i].release());
  return array;
}

Array structure(std::span<const FieldValue> fields) {
  std::vector<const char*> names;
  for (const FieldValue& field : fields) names.push_back(field.name);
  const std::size_t dims[] = {1, 1};
  Array array(qxCreateStructArray(2, dims, static_cast<int>(names.size()), names.data()));
  for (const auto& [name, value] : fields) qxSetField(array.get(), 0, name, value.release());
  return array;
}

Array ArrayGenerator::any(int depth) {
  switch (below(depth > 0 ? 9 : 5)) {
    case 0:
    case 1:
      return numeric();
    case 2:
      return chars();
    case 3:
    case 4:
      return textRow();
    case 5:
    case 6:
      return cellArray(depth - 1);
    case 7:
      return structArray(depth - 1);
    default:
      return likeStructures(depth - 1);
  }
}

Dims ArrayGenerator::dims() {
  switch (below(6)) {
    case 0:
      return {1, 1};
    case 1:
      return {1 + below(6), 1};
    case 2:
      return {1, 1 + below(6)};
    case 3:
      return {below(4), below(4)};
    case 4:
      return {1 + below(4), below(3), 1 + below(3)};
    default:
      return {1 + below(3), 1 + below(4), 1 + below(3), 1 + below(2)};
  }
}

Array ArrayGenerator::numeric() {
  const Dims extents = dims();
  const qxClassID id = kNumericClasses[below(kNumericClasses.size())];
  const bool complex = id != qxLOGICAL && below(3) == 0;
  const bool rowMajor = below(2) == 0;
  Array array(rowMajor ? qxCreateNumericArrayRowMajor(extents.size(), extents.data(), id, complex)
                       : qxCreateNumericArray(extents.size(), extents.data(), id, complex));
  auto* bytes = static_cast<unsigned char*>(rowMajor ? qxGetRowMajorData(array.get()) : qxGetData(array.get()));
  const std::size_t size = qxGetNumberOfElements(array.get()) * elementSize(id) * (complex ? 2 : 1);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(random_() % (id == qxLOGICAL ? 2 : 256));
  return array;
}

Array ArrayGenerator::chars() {
  const Dims extents = dims();
  Array array(qxCreateNumericArray(extents.size(), extents.data(), qxCHAR, false));
  auto* values = static_cast<char16_t*>(qxGetData(array.get()));
  for (std::size_t i = 0; i < qxGetNumberOfElements(array.get()); ++i) {
    constexpr std::array<char16_t, 6> kUnits = {u'a', u'\0', u'\xe9', u'\xd83d', u'\xde00', u'\xffff'};
    values[i] = kUnits[below(kUnits.size())];
  }
  return array;
}

Array ArrayGenerator::textRow() {
  constexpr std::array<std::u16string_view, 7> kTexts = {u"",    u"speed",  u"\x00e9t\x00e9", u"\xd83d\xde00",
                                                         u"m/s", u"\xd83d", u"  two words "};
  return units(kTexts[below(kTexts.size())]);
}

Array ArrayGenerator::cellArray(int depth) {
  const Dims extents = dims();
  Array array(qxCreateCellArray(extents.size(), extents.data()));
  const std::size_t form = below(3);
  for (std::size_t i = 0; i < qxGetNumberOfElements(array.get()); ++i) {
    if (form == 0) {
      qxSetCell(array.get(), i, textRow().release());
    } else if (below(5) != 0) {
      qxSetCell(array.get(), i, any(depth).release());
    }
  }
  return array;
}

Array ArrayGenerator::structArray(int depth) {
  const Dims extents = below(2) == 0 ? Dims{1, 1} : dims();
  std::vector<const char*> names(kFieldNames.begin(), kFieldNames.end());
  std::shuffle(names.begin(), names.end(), random_);
  names.resize(below(5));
  names.erase(std::remove_if(names.begin(), names.end(), [](const char* name) { return *name == '\0'; }), names.end());
  Array array(qxCreateStructArray(extents.size(), extents.data(), static_cast<int>(names.size()), names.data()));
  for (std::size_t i = 0; i < qxGetNumberOfElements(array.get()); ++i) {
    for (const char* name : names) {
      if (below(5) != 0) qxSetField(array.get(), i, name, any(depth).release());
    }
  }
  return array;
}

Array ArrayGenerator::fieldLike(int form, int depth) {
  switch (form) {
    case 0:
      return Array(qxCreateDoubleScalar(static_cast<double>(below(100))));
    case 1:
      return Array(qxCreateLogicalScalar(below(2) == 0));
    case 2:
      return textRow();
    case 3:
    case 4: {
      const std::size_t count = form == 3 ? 2 : below(4);
      Array list(qxCreateCellArray(2, Dims{count, 1}.data()));
      for (std::size_t i = 0; i < count; ++i) qxSetCell(list.get(), i, text(below(2) == 0 ? "top" : "sub").release());
      return list;
    }
    case 5:
      return structure({{"Unit", text("m")}, {"Data", numeric()}, {"7", text("q")}});
    case 6:
      return below(3) == 0 ? Array() : any(depth);
    default:
      return any(depth);
  }
}

Array ArrayGenerator::likeStructures(int depth) {
  constexpr std::array<const char*, 5> kNames = {"Name", "3", "Values", "x/y", "qat.form"};
  std::array<int, kNames.size()> forms{};
  for (int& form : forms) form = static_cast<int>(below(8));
  const Dims extents = below(2) == 0 ? Dims{1 + below(5), 1} : Dims{1 + below(2), 1 + below(3)};
  Array table(qxCreateCellArray(extents.size(), extents.data()));
  for (std::size_t i = 0; i < qxGetNumberOfElements(table.get()); ++i) {
    std::vector<FieldValue> fields;
    for (std::size_t f = 0; f < kNames.size(); ++f) fields.push_back({kNames[f], fieldLike(forms[f], depth)});
    qxSetCell(table.get(), i, structure(fields).release());
  }
  return table;
}

}  // namespace vtio::tests
