// An array that is shared is stored once.
#include "qat_fixture.hpp"

namespace vtio::tests {
namespace {

constexpr std::size_t kCount = 50000;
constexpr std::size_t kBytes = kCount * sizeof(double);

class QatSharing : public QatTest {
 protected:
  static Array series(double first) {
    std::vector<double> values(kCount);
    for (std::size_t i = 0; i < kCount; ++i) values[i] = first + static_cast<double>(i);
    return doubles({kCount, 1}, values);
  }
  static Array shared(const Array& array) { return Array(qxShareArray(array.get())); }

  std::size_t size() const { return std::filesystem::file_size(path_); }
};

TEST_F(QatSharing, SameStorageInOneVariableIsStoredOnce) {
  const Array time = series(0);
  std::vector<Array> rows;
  for (int i = 0; i < 10; ++i) rows.push_back(structure({{"Time", shared(time)}, {"Name", text("x")}}));
  const Array table = cells({10, 1}, std::move(rows));
  EXPECT_EQ(changeByRoundTrip(table.get()), "");
  EXPECT_LT(size(), kBytes + 20000);
}

TEST_F(QatSharing, SameStorageInTwoVariablesIsStoredOnce) {
  const Array time = series(0);
  OpenFile file = open("w");
  ASSERT_EQ(qatPutVariable(file.get(), "a", time.get()), 0);
  ASSERT_EQ(qatPutVariable(file.get(), "b", structure({{"Time", shared(time)}}).get()), 0);
  file.reset();
  EXPECT_LT(size(), kBytes + 20000);
  EXPECT_EQ(difference(time.get(), load("a").get()), "");
  EXPECT_EQ(difference(time.get(), qxGetField(load("b").get(), 0, "Time")), "");
}

TEST_F(QatSharing, SharedContainersAreLinked) {
  std::vector<Array> inner;
  inner.push_back(series(0));
  inner.push_back(series(1));
  const Array list = cells({2, 1}, std::move(inner));
  std::vector<Array> outer;
  for (int i = 0; i < 5; ++i) outer.push_back(shared(list));
  EXPECT_EQ(changeByRoundTrip(cells({5, 1}, std::move(outer)).get()), "");
  EXPECT_LT(size(), 2 * kBytes + 20000);
}

TEST_F(QatSharing, EqualValuesInDifferentStorageAreStoredTwice) {
  std::vector<Array> both;
  both.push_back(series(0));
  both.push_back(series(0));
  EXPECT_EQ(changeByRoundTrip(cells({2, 1}, std::move(both)).get()), "");
  EXPECT_GT(size(), 2 * kBytes);
}

TEST_F(QatSharing, ArrayChangedBetweenTwoVariablesIsNotConfused) {
  Array array = series(0);
  auto* values = static_cast<double*>(qxGetData(array.get()));
  OpenFile file = open("w");
  ASSERT_EQ(qatPutVariable(file.get(), "a", array.get()), 0);
  values[kCount - 1] = -1.0;  // through the pointer taken before: the storage stays where it is
  ASSERT_EQ(qatPutVariable(file.get(), "b", array.get()), 0);
  file.reset();
  EXPECT_EQ(difference(series(0).get(), load("a").get()), "");
  EXPECT_EQ(difference(array.get(), load("b").get()), "");
}

TEST_F(QatSharing, StorageReusedByAnotherArrayIsNotConfused) {
  OpenFile file = open("w");
  for (int i = 0; i < 20; ++i) {
    const Array array = series(i);  // freed at the end of each turn: the next one is likely to get its place
    ASSERT_EQ(qatPutVariable(file.get(), std::to_string(i).c_str(), array.get()), 0);
  }
  for (int i = 0; i < 20; ++i) {
    const Array back(qatGetVariable(file.get(), std::to_string(i).c_str()));
    EXPECT_EQ(difference(series(i).get(), back.get()), "") << i;
  }
}

TEST_F(QatSharing, DeletingOneVariableKeepsTheOther) {
  const Array time = series(0);
  OpenFile file = open("w");
  ASSERT_EQ(qatPutVariable(file.get(), "a", time.get()), 0);
  ASSERT_EQ(qatPutVariable(file.get(), "b", time.get()), 0);
  ASSERT_EQ(qatDeleteVariable(file.get(), "a"), 0);
  ASSERT_EQ(qatPutVariable(file.get(), "c", series(5).get()), 0);
  ASSERT_EQ(qatPutVariable(file.get(), "d", time.get()), 0);
  file.reset();
  EXPECT_EQ(difference(time.get(), load("b").get()), "");
  EXPECT_EQ(difference(series(5).get(), load("c").get()), "");
  EXPECT_EQ(difference(time.get(), load("d").get()), "");
}

TEST_F(QatSharing, ReadArraysShareTheirStorage) {
  const Array time = series(0);
  save("v", structure({{"a", shared(time)}, {"b", shared(time)}}).get());
  const Array back = load("v");
  EXPECT_EQ(qxGetConstData(qxGetField(back.get(), 0, "a")), qxGetConstData(qxGetField(back.get(), 0, "b")));
}

TEST_F(QatSharing, OverwritingAVariableWithItself) {
  const Array time = series(0);
  OpenFile file = open("w");
  for (int i = 0; i < 5; ++i) ASSERT_EQ(qatPutVariable(file.get(), "a", time.get()), 0) << qatLastError();
  file.reset();
  EXPECT_EQ(difference(time.get(), load("a").get()), "");
  EXPECT_LT(size(), 2 * kBytes + 20000) << "the place of the replaced variable is used again";
}

}  // namespace
}  // namespace vtio::tests
