#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/qalc.hpp"
#include "tests/platform/diagnostic_matcher.hpp"

namespace {

using vtio_test::nameThrownBy;
using vtio_test::thrownBy;
using vtu::qxArrayWrapper;

/// An operation on one array, by its name.
struct Operation {
  const char* name;
  std::function<void(qxArray*)> call;
};

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = {
      {"qxGetClassID", [](qxArray* a) { qxGetClassID(a); }},
      {"qxIsComplex", [](qxArray* a) { qxIsComplex(a); }},
      {"qxGetNumberOfDimensions", [](qxArray* a) { qxGetNumberOfDimensions(a); }},
      {"qxGetDimensions", [](qxArray* a) { qxGetDimensions(a); }},
      {"qxGetNumberOfElements", [](qxArray* a) { qxGetNumberOfElements(a); }},
      {"qxGetRowMajorData", [](qxArray* a) { qxGetRowMajorData(a); }},
      {"qxShareArray", [](qxArray* a) { qxDestroyArray(qxShareArray(a)); }},
      {"qxDuplicateArray", [](qxArray* a) { qxDestroyArray(qxDuplicateArray(a)); }},
      {"qxGetData", [](qxArray* a) { qxGetData(a); }},
      {"qxGetConstData", [](qxArray* a) { qxGetConstData(a); }},
      {"qxGetScalar", [](qxArray* a) { qxGetScalar(a); }},
      {"qxGetLogicals", [](qxArray* a) { qxGetLogicals(a); }},
      {"qxGetChars", [](qxArray* a) { qxGetChars(a); }},
      {"qxArrayToString", [](qxArray* a) { qxFree(qxArrayToString(a)); }},
      {"qxGetCell", [](qxArray* a) { qxGetCell(a, 0); }},
      {"qxSetCell", [](qxArray* a) { qxSetCell(a, 0, nullptr); }},
      {"qxGetNumberOfFields", [](qxArray* a) { qxGetNumberOfFields(a); }},
      {"qxGetFieldName", [](qxArray* a) { qxGetFieldName(a, 0); }},
      {"qxGetField", [](qxArray* a) { qxGetField(a, 0, "a"); }},
      {"qxSetField", [](qxArray* a) { qxSetField(a, 0, "a", nullptr); }},
  };
  return all;
}

qxArrayWrapper arrayOf(const std::string& kind) {
  const std::size_t dims[] = {1, 1};
  const char* names[] = {"a"};
  if (kind == "cell") return qxArrayWrapper(qxCreateCellArray(2, dims));
  if (kind == "struct") return qxArrayWrapper(qxCreateStructArray(2, dims, 1, names));
  if (kind == "char") return qxArrayWrapper(qxCreateString("x"));
  if (kind == "logical") return qxArrayWrapper(qxCreateLogicalScalar(true));
  return qxArrayWrapper(qxCreateDoubleScalar(1.0));
}

/// Does an operation accept an array of a kind?
bool accepts(const std::string& operation, const std::string& kind) {
  const bool container = kind == "cell" || kind == "struct";
  if (operation == "qxGetData" || operation == "qxGetConstData" || operation == "qxGetScalar") return !container;
  if (operation == "qxGetLogicals") return kind == "logical";
  if (operation == "qxGetChars" || operation == "qxArrayToString") return kind == "char";
  if (operation == "qxGetCell" || operation == "qxSetCell") return kind == "cell";
  if (operation.find("Field") != std::string::npos) return kind == "struct";
  return true;
}

TEST(QalcErrors, everyOperationRefusesNull) {
  for (const Operation& operation : operations()) {
    const vtsv::Diagnostic diagnostic = thrownBy([&] { operation.call(nullptr); });
    EXPECT_EQ(diagnostic.identifier, "Vortan:Qalc") << operation.name;
    EXPECT_EQ(diagnostic.key, "NullArray") << operation.name;
    EXPECT_EQ(diagnostic.arguments.at(0), vtu::to_ustring(operation.name));
  }
}

TEST(QalcErrors, everyOperationRefusesTheWrongClassOnly) {
  for (const Operation& operation : operations()) {
    for (const char* kind : {"cell", "struct", "char", "logical", "double"}) {
      const qxArrayWrapper array = arrayOf(kind);
      const std::string expected = accepts(operation.name, kind) ? "/nothing thrown" : "Vortan:Qalc/WrongClass";
      EXPECT_EQ(nameThrownBy([&] { operation.call(array.get()); }), expected) << operation.name << " of " << kind;
    }
  }
}

TEST(QalcErrors, namesTheClasses) {
  const qxArrayWrapper number = arrayOf("double");
  const vtsv::Diagnostic diagnostic = thrownBy([&] { qxGetCell(number.get(), 0); });
  EXPECT_EQ(diagnostic.arguments, (std::vector<vtu::ustring>{u"qxGetCell", u"double", u"cell"}));
}

TEST(QalcErrors, refusesIndicesOutsideTheArray) {
  const qxArrayWrapper cells = arrayOf("cell");
  const qxArrayWrapper structure = arrayOf("struct");
  EXPECT_EQ(nameThrownBy([&] { qxGetCell(cells.get(), 1); }), "Vortan:Qalc/IndexOutOfRange");
  EXPECT_EQ(nameThrownBy([&] { qxGetField(structure.get(), 1, "a"); }), "Vortan:Qalc/IndexOutOfRange");
  EXPECT_EQ(nameThrownBy([&] { qxGetFieldName(structure.get(), 1); }), "Vortan:Qalc/IndexOutOfRange");
  EXPECT_EQ(nameThrownBy([&] { qxGetFieldName(structure.get(), -1); }), "Vortan:Qalc/IndexOutOfRange");
  const vtsv::Diagnostic diagnostic = thrownBy([&] { qxGetCell(cells.get(), 7); });
  EXPECT_EQ(diagnostic.arguments, (std::vector<vtu::ustring>{u"qxGetCell", u"7", u"1"}));
}

TEST(QalcErrors, refusesEmptyArraysWhereAnElementIsNeeded) {
  const std::size_t dims[] = {0, 3};
  const qxArrayWrapper numbers(qxCreateNumericArray(2, dims, qxDOUBLE, false));
  const qxArrayWrapper logicals(qxCreateLogicalArray(2, dims));
  const qxArrayWrapper text(qxCreateString(""));
  EXPECT_EQ(nameThrownBy([&] { qxGetScalar(numbers.get()); }), "Vortan:Qalc/EmptyArray");
  EXPECT_EQ(nameThrownBy([&] { qxGetScalar(logicals.get()); }), "Vortan:Qalc/EmptyArray");
  EXPECT_EQ(nameThrownBy([&] { qxGetScalar(text.get()); }), "Vortan:Qalc/EmptyArray");
  EXPECT_EQ(nameThrownBy([&] { qxGetLogicals(logicals.get()); }), "Vortan:Qalc/EmptyArray");
  EXPECT_EQ(nameThrownBy([&] { qxGetData(numbers.get()); }), "/nothing thrown");
}

TEST(QalcErrors, refusesClassesThatHoldNoValues) {
  const std::size_t dims[] = {1, 1};
  for (const int id : {0, 1, 2, 5, 16, -1}) {
    EXPECT_EQ(nameThrownBy([&] { qxCreateNumericArray(2, dims, static_cast<qxClassID>(id), false); }),
              "Vortan:Qalc/WrongClass")
        << id;
    EXPECT_EQ(nameThrownBy([&] { qxCreateNumericArrayRowMajor(2, dims, static_cast<qxClassID>(id), false); }),
              "Vortan:Qalc/WrongClass")
        << id;
  }
  EXPECT_EQ(nameThrownBy([&] { qxCreateNumericArray(2, dims, qxLOGICAL, true); }), "Vortan:Qalc/WrongClass");
  EXPECT_EQ(nameThrownBy([&] { qxCreateNumericArray(2, dims, qxCHAR, true); }), "Vortan:Qalc/WrongClass");
}

}  // namespace
