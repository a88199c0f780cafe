#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/qalc.hpp"
#include "tests/platform/diagnostic_matcher.hpp"

namespace {

using vtu::qxArrayWrapper;
using vtu::qxCellArrayWrapper;
using vtu::qxStructWrapper;

qxArrayWrapper scalar(double value) { return qxArrayWrapper(qxCreateDoubleScalar(value)); }

TEST(QalcCell, startsEmptyAndHoldsWhatItIsGiven) {
  qxCellArrayWrapper cells(2, 2);
  EXPECT_EQ(qxGetClassID(cells.get()), qxCELL);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(qxGetCell(cells.get(), i), nullptr);
  cells.set(3, scalar(3.0));
  EXPECT_EQ(qxGetScalar(qxGetCell(cells.get(), 3)), 3.0);
  cells.set(3, scalar(4.0));
  EXPECT_EQ(qxGetScalar(qxGetCell(cells.get(), 3)), 4.0);
  cells.set(3, qxArrayWrapper());
  EXPECT_EQ(qxGetCell(cells.get(), 3), nullptr);
}

TEST(QalcCell, ofOneDimensionIsAColumn) {
  const std::size_t dims[] = {3};
  const qxArrayWrapper cells(qxCreateCellArray(1, dims));
  EXPECT_EQ(qxGetDimensions(cells.get())[0], 3U);
  EXPECT_EQ(qxGetDimensions(cells.get())[1], 1U);
}

TEST(QalcStruct, keepsItsFieldsInOrder) {
  const std::size_t dims[] = {2, 1};
  const char* names[] = {"b", "a", ""};
  const qxArrayWrapper array(qxCreateStructArray(2, dims, 3, names));
  EXPECT_EQ(qxGetClassID(array.get()), qxSTRUCT);
  qxSetField(array.get(), 1, "z", scalar(1.0).release());
  ASSERT_EQ(qxGetNumberOfFields(array.get()), 4);
  EXPECT_STREQ(qxGetFieldName(array.get(), 0), "b");
  EXPECT_STREQ(qxGetFieldName(array.get(), 1), "a");
  EXPECT_STREQ(qxGetFieldName(array.get(), 2), "");
  EXPECT_STREQ(qxGetFieldName(array.get(), 3), "z");
}

TEST(QalcStruct, hasOneValuePerElement) {
  const std::size_t dims[] = {2, 1};
  const char* names[] = {"a"};
  const qxArrayWrapper array(qxCreateStructArray(2, dims, 1, names));
  qxSetField(array.get(), 0, "a", scalar(1.0).release());
  qxSetField(array.get(), 1, "a", scalar(2.0).release());
  qxSetField(array.get(), 1, "new", scalar(3.0).release());
  EXPECT_EQ(qxGetScalar(qxGetField(array.get(), 0, "a")), 1.0);
  EXPECT_EQ(qxGetScalar(qxGetField(array.get(), 1, "a")), 2.0);
  EXPECT_EQ(qxGetField(array.get(), 0, "new"), nullptr);
  EXPECT_EQ(qxGetScalar(qxGetField(array.get(), 1, "new")), 3.0);
  EXPECT_EQ(qxGetField(array.get(), 0, "absent"), nullptr);
  EXPECT_EQ(qxGetField(array.get(), 0, nullptr), nullptr);
  qxSetField(array.get(), 1, "a", nullptr);
  EXPECT_EQ(qxGetField(array.get(), 1, "a"), nullptr);
  EXPECT_EQ(qxGetNumberOfFields(array.get()), 2);
}

TEST(QalcStruct, refusesBadFieldNames) {
  const std::size_t dims[] = {1, 1};
  const char* twice[] = {"a", "b", "a"};
  const char* missing[] = {"a", nullptr};
  EXPECT_THROW(qxCreateStructArray(2, dims, 3, twice), std::invalid_argument);
  EXPECT_THROW(qxCreateStructArray(2, dims, 2, missing), std::invalid_argument);
  EXPECT_THROW(qxCreateStructArray(2, dims, 1, nullptr), std::invalid_argument);
  EXPECT_THROW(qxCreateStructArray(2, dims, -1, twice), std::invalid_argument);
  const qxStructWrapper structure({});
  EXPECT_THROW(qxSetField(structure.get(), 0, nullptr, nullptr), std::invalid_argument);
}

TEST(QalcWrappers, areArrayWrappers) {
  EXPECT_TRUE((std::is_base_of_v<qxArrayWrapper, qxStructWrapper>));
  EXPECT_TRUE((std::is_base_of_v<qxArrayWrapper, qxCellArrayWrapper>));
  EXPECT_FALSE(std::is_copy_constructible_v<qxStructWrapper>);
  qxStructWrapper inner({"x"});
  inner.set("x", scalar(5.0));
  qxStructWrapper outer({"inner", "other"});
  outer.set("inner", std::move(inner));
  outer.set("added", scalar(6.0));
  const qxArrayWrapper taken = std::move(outer);
  EXPECT_EQ(qxGetNumberOfElements(taken.get()), 1U);
  EXPECT_EQ(qxGetScalar(qxGetField(qxGetField(taken.get(), 0, "inner"), 0, "x")), 5.0);
  EXPECT_EQ(qxGetScalar(qxGetField(taken.get(), 0, "added")), 6.0);
  EXPECT_EQ(qxGetField(taken.get(), 0, "other"), nullptr);
}

TEST(QalcContainers, leaveTheValueWithTheCallerWhenTheyThrow) {
  const qxCellArrayWrapper cells(1, 1);
  const qxStructWrapper structure({"a"});
  const qxArrayWrapper value = scalar(7.0);
  EXPECT_EQ(vtio_test::thrownBy([&] { qxSetCell(cells.get(), 1, value.get()); }).key, "IndexOutOfRange");
  EXPECT_EQ(vtio_test::thrownBy([&] { qxSetField(structure.get(), 1, "a", value.get()); }).key, "IndexOutOfRange");
  EXPECT_EQ(vtio_test::thrownBy([&] { qxSetCell(structure.get(), 0, value.get()); }).key, "WrongClass");
  EXPECT_EQ(vtio_test::thrownBy([&] { qxSetField(cells.get(), 0, "a", value.get()); }).key, "WrongClass");
  EXPECT_EQ(vtio_test::thrownBy([&] { qxSetCell(nullptr, 0, value.get()); }).key, "NullArray");
  EXPECT_THROW(qxSetCell(cells.get(), 0, cells.get()), std::invalid_argument);
  EXPECT_THROW(qxSetField(structure.get(), 0, "a", structure.get()), std::invalid_argument);
  EXPECT_EQ(qxGetScalar(value.get()), 7.0);
  EXPECT_EQ(qxGetNumberOfFields(structure.get()), 1);
}

TEST(QalcContainers, areCopiedOnWriteAtTheLevelThatIsWritten) {
  qxStructWrapper structure({"big", "n"});
  const std::size_t dims[] = {1000, 1};
  structure.set("big", qxArrayWrapper(qxCreateNumericArray(2, dims, qxDOUBLE, false)));
  structure.set("n", scalar(1.0));
  const qxArrayWrapper copy(qxShareArray(structure.get()));
  structure.set("n", scalar(2.0));
  EXPECT_EQ(qxGetScalar(qxGetField(copy.get(), 0, "n")), 1.0);
  EXPECT_EQ(qxGetScalar(qxGetField(structure.get(), 0, "n")), 2.0);
  EXPECT_EQ(qxGetConstData(qxGetField(copy.get(), 0, "big")), qxGetConstData(qxGetField(structure.get(), 0, "big")))
      << "what was not written is still shared";
  const qxArrayWrapper deep(qxDuplicateArray(structure.get()));
  EXPECT_NE(qxGetConstData(qxGetField(deep.get(), 0, "big")), qxGetConstData(qxGetField(structure.get(), 0, "big")));
}

/// A tree of plain values with the behaviour required of shared copies: each copy is independent.
struct Model {
  double value = 0;
  std::vector<Model> cells;  // of a cell array of two; empty for a number
};

qxArrayWrapper build(const Model& model) {
  if (model.cells.empty()) return scalar(model.value);
  qxCellArrayWrapper cells(1, model.cells.size());
  for (std::size_t i = 0; i < model.cells.size(); ++i) cells.set(i, build(model.cells[i]));
  return cells;
}

bool same(const qxArray* array, const Model& model) {
  if (model.cells.empty()) return qxGetClassID(array) == qxDOUBLE && qxGetScalar(array) == model.value;
  if (qxGetClassID(array) != qxCELL) return false;
  for (std::size_t i = 0; i < model.cells.size(); ++i) {
    if (!same(qxGetCell(array, i), model.cells[i])) return false;
  }
  return true;
}

TEST(QalcContainers, behaveAsIndependentCopies) {
  std::mt19937 random(9);
  std::vector<qxArrayWrapper> arrays;
  std::vector<Model> models;
  const Model start{0, {Model{1, {}}, Model{0, {Model{2, {}}, Model{3, {}}}}}};
  arrays.push_back(build(start));
  models.push_back(start);
  for (int step = 1; step < 3000; ++step) {
    const std::size_t i = random() % arrays.size();
    const std::size_t k = random() % 2;
    if (random() % 3 == 0 && arrays.size() < 12) {
      arrays.emplace_back(random() % 4 == 0 ? qxDuplicateArray(arrays[i].get()) : qxShareArray(arrays[i].get()));
      models.push_back(Model(models[i]));
    } else if (random() % 3 == 0) {
      qxSetCell(arrays[i].get(), k, qxCreateDoubleScalar(step));
      models[i].cells[k] = Model{static_cast<double>(step), {}};
    } else if (random() % 3 == 0 && arrays.size() > 1) {
      arrays.erase(arrays.begin() + static_cast<std::ptrdiff_t>(i));
      models.erase(models.begin() + static_cast<std::ptrdiff_t>(i));
    } else {
      const qxArray* inner = qxGetCell(arrays[i].get(), k);
      const std::size_t target = random() % arrays.size();
      if (models[i].cells[k].cells.empty()) {
        const Model copied = models[i].cells[k];
        qxSetCell(arrays[target].get(), 1 - k, qxShareArray(inner));
        models[target].cells[1 - k] = copied;
      }
    }
    for (std::size_t j = 0; j < arrays.size(); ++j) {
      ASSERT_TRUE(same(arrays[j].get(), models[j])) << "step " << step;
    }
  }
}

}  // namespace
