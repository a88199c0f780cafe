// Every kind of array is read from a Qat file as it was written.
#include <array>
#include <limits>

#include "qat_fixture.hpp"

namespace vtio::tests {
namespace {

using QatRoundTrip = QatTest;

constexpr std::array<qxClassID, 12> kValueClasses = {qxLOGICAL, qxCHAR,   qxDOUBLE, qxSINGLE, qxINT8,  qxUINT8,
                                                     qxINT16,   qxUINT16, qxINT32,  qxUINT32, qxINT64, qxUINT64};

TEST_F(QatRoundTrip, EveryValueClassInEveryShape) {
  const std::vector<Dims> shapes = {{1, 1}, {5, 1}, {1, 5}, {3, 4}, {2, 3, 4}, {1, 1, 3}, {2, 1, 2},
                                    {0, 0}, {0, 1}, {1, 0}, {3, 0}, {0, 7},    {2, 0, 3}};
  for (const qxClassID id : kValueClasses) {
    for (const Dims& shape : shapes) {
      for (const bool complex : {false, true}) {
        if (complex && (id == qxLOGICAL || id == qxCHAR)) continue;
        const Array array(qxCreateNumericArray(shape.size(), shape.data(), id, complex));
        if (!qxIsEmpty(array.get())) *static_cast<unsigned char*>(qxGetData(array.get())) = 1;
        EXPECT_EQ(changeByRoundTrip(array.get()), "") << "class " << id << ", " << shape.size() << " dimensions";
      }
    }
  }
}

TEST_F(QatRoundTrip, SpecialDoublesKeepTheirBits) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(changeByRoundTrip(doubles({5, 1}, {nan, -nan, infinity, -0.0, 5e-324}).get()), "");
}

TEST_F(QatRoundTrip, MoreDimensionsThanHdf5Has) {
  Dims dims(40, 1);
  dims[0] = 2;
  dims[33] = 3;
  dims[39] = 2;
  const Array array = doubles(dims, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  EXPECT_EQ(changeByRoundTrip(array.get()), "");
  Array cellArray(qxCreateCellArray(dims.size(), dims.data()));
  for (std::size_t i = 0; i < 12; ++i) qxSetCell(cellArray.get(), i, text(std::to_string(i).c_str()).release());
  EXPECT_EQ(changeByRoundTrip(cellArray.get()), "");
}

TEST_F(QatRoundTrip, RowMajorAndColumnMajorStorageGiveTheSameFile) {
  save("v", doubles({2, 3}, {1, 4, 2, 5, 3, 6}).get());
  const std::string columnMajor = bytes();
  save("v", rowMajorDoubles({2, 3}, {1, 2, 3, 4, 5, 6}).get());
  EXPECT_EQ(bytes(), columnMajor);
  EXPECT_EQ(difference(load("v").get(), doubles({2, 3}, {1, 4, 2, 5, 3, 6}).get()), "");
}

TEST_F(QatRoundTrip, LargeMatrixIsTransposed) {
  const Dims dims = {1500, 7, 130};
  Array array(qxCreateNumericArray(3, dims.data(), qxDOUBLE, false));
  auto* values = static_cast<double*>(qxGetData(array.get()));
  for (std::size_t i = 0; i < qxGetNumberOfElements(array.get()); ++i) values[i] = static_cast<double>(i) * 0.5;
  EXPECT_EQ(changeByRoundTrip(array.get()), "");
}

TEST_F(QatRoundTrip, TextsOfAllSorts) {
  using namespace std::string_view_literals;
  for (const std::u16string_view value : {u""sv, u"speed"sv, u"\x00e9"sv, u"\xd83d\xde00"sv, u"\xd83d"sv,
                                          u"\xde00\xd83d"sv, u"a\0b"sv, u"a\0"sv, u" padded "sv, u"\xffff\xfffe"sv}) {
    EXPECT_EQ(changeByRoundTrip(units(value).get()), "");
    EXPECT_EQ(changeByRoundTrip(structure({{"Text", units(value)}}).get()), "");
    EXPECT_EQ(changeByRoundTrip(cells({1, 1},
                                      [&] {
                                        std::vector<Array> one;
                                        one.push_back(units(value));
                                        return one;
                                      }())
                                    .get()),
              "");
  }
  EXPECT_EQ(changeByRoundTrip(structure({{"Long", text(std::string(100000, 'x').c_str())}}).get()), "");
}

TEST_F(QatRoundTrip, EmptyContainersAndContainersOfNothing) {
  for (const Dims& dims : {Dims{0, 0}, Dims{0, 1}, Dims{1, 0}, Dims{3, 0, 2}, Dims{1, 1}, Dims{2, 3}}) {
    EXPECT_EQ(changeByRoundTrip(Array(qxCreateCellArray(dims.size(), dims.data())).get()), "");
    const char* names[] = {"a", "b"};
    EXPECT_EQ(changeByRoundTrip(Array(qxCreateStructArray(dims.size(), dims.data(), 2, names)).get()), "");
    EXPECT_EQ(changeByRoundTrip(Array(qxCreateStructArray(dims.size(), dims.data(), 0, nullptr)).get()), "");
  }
}

TEST_F(QatRoundTrip, FieldNamesThatHdf5WouldNotTake) {
  Array names = structure({{".", text("dot")},
                           {"a/b", text("slash")},
                           {"%2F", text("percent")},
                           {"qat.kind", text("struct")},
                           {"qat.dims", doubles({1, 1}, {1})},
                           {"\xff\xfe", text("not UTF-8")},
                           {"12", text("digits")},
                           {"%00", text("escape")},
                           {"..", doubles({3, 1}, {1, 2, 3})},
                           {"/", doubles({2, 2}, {1, 2, 3, 4})}});
  EXPECT_EQ(changeByRoundTrip(names.get()), "");
  std::vector<Array> rows;
  rows.push_back(std::move(names));
  EXPECT_EQ(changeByRoundTrip(cells({1, 1}, std::move(rows)).get()), "");
}

TEST_F(QatRoundTrip, StructureWithThousandsOfFields) {
  Array wide = structure({});
  for (int i = 0; i < 6000; ++i) {
    qxSetField(wide.get(), 0, ("field_with_a_name_" + std::to_string(i)).c_str(), qxCreateDoubleScalar(i));
  }
  EXPECT_EQ(changeByRoundTrip(wide.get()), "");
}

TEST_F(QatRoundTrip, DeepNestingUpToTheLimit) {
  Array nested(qxCreateDoubleScalar(1.0));
  for (int i = 0; i < 395; ++i) {
    std::vector<Array> one;
    one.push_back(std::move(nested));
    nested = i % 2 == 0 ? cells({1, 1}, std::move(one)) : structure({{"inner", std::move(one.front())}});
  }
  EXPECT_EQ(changeByRoundTrip(nested.get()), "");
}

TEST_F(QatRoundTrip, TooDeepNestingIsRefusedAndLeavesTheFileUsable) {
  Array nested(qxCreateDoubleScalar(1.0));
  for (int i = 0; i < 1000; ++i) {
    std::vector<Array> two(2);
    two[0] = std::move(nested);
    nested = cells({2, 1}, std::move(two));
  }
  OpenFile file = open("w");
  EXPECT_NE(qatPutVariable(file.get(), "deep", nested.get()), 0);
  EXPECT_THAT(qatLastError(), ::testing::HasSubstr("nested deeper"));
  EXPECT_EQ(qatPutVariable(file.get(), "flat", text("x").get()), 0) << qatLastError();
  EXPECT_EQ(names(file.get()), std::vector<std::string>{"flat"});
}

TEST_F(QatRoundTrip, RandomArrays) {
  constexpr unsigned kSeeds = 400;
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    const Array array = ArrayGenerator(seed).any(4);
    ASSERT_EQ(changeByRoundTrip(array.get()), "") << "seed " << seed;
  }
}

TEST_F(QatRoundTrip, ManyRandomVariablesInOneFile) {
  std::vector<Array> arrays;
  {
    OpenFile file = open("w7.3");
    for (unsigned i = 0; i < 100; ++i) {
      arrays.push_back(ArrayGenerator(1000 + i).any(3));
      ASSERT_EQ(qatPutVariable(file.get(), std::to_string(i).c_str(), arrays.back().get()), 0) << qatLastError();
    }
  }
  const OpenFile file = open("r");
  for (unsigned i = 0; i < 100; ++i) {
    const Array read(qatGetVariable(file.get(), std::to_string(i).c_str()));
    EXPECT_EQ(difference(arrays[i].get(), read.get()), "") << "seed " << 1000 + i;
  }
}

}  // namespace
}  // namespace vtio::tests
