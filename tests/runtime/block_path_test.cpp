// Tests of full block paths: how they are put together and how they become cell arrays.

#include "vtio/mdlref_simtarget/block_path.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runtime/qalc_support.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/utils/utilities.hpp"

namespace vtio::testing {
namespace {

using core::utils::Utilities;
using mdlref_simtarget::computeFullBlockPath;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::u16string> computed(const std::u16string& encoded, const std::u16string& block) {
  vtu::FullBlkPathToTopMdl path;
  computeFullBlockPath(encoded, block, path);
  return elementsOf(path);
}

TEST(ComputeFullBlockPathTest, aTopModelsSignalHasItsBlockPathAlone) {
  EXPECT_THAT(computed(u"", u"top/gain"), ElementsAre(u"top/gain"));
}

TEST(ComputeFullBlockPathTest, aReferencedModelsSignalStandsLast) {
  EXPECT_THAT(computed(u"top/ref|mid/ref", u"leaf/gain"), ElementsAre(u"top/ref", u"mid/ref", u"leaf/gain"));
}

TEST(ComputeFullBlockPathTest, onlyTheEncodedPathIsDecoded) {
  EXPECT_THAT(computed(u"a%7Cb|c%25", u"x%7Cy|z"), ElementsAre(u"a|b", u"c%", u"x%7Cy|z"));
}

TEST(ComputeFullBlockPathTest, anEmptyBlockPathIsAnElementToo) {
  EXPECT_THAT(computed(u"", u""), ElementsAre(u""));
  EXPECT_THAT(computed(u"top", u""), ElementsAre(u"top", u""));
}

TEST(ComputeFullBlockPathTest, lineFeedsStay) { EXPECT_THAT(computed(u"", u"a\nb"), ElementsAre(u"a\nb")); }

TEST(ComputeFullBlockPathTest, elementsAreInterned) {
  vtu::FullBlkPathToTopMdl path;
  computeFullBlockPath(u"top", u"m/b", path);
  EXPECT_TRUE(path.element(0) == vtu::InternedUstring(u"top"));
  EXPECT_TRUE(path.element(1) == vtu::InternedUstring(u"m/b"));
}

TEST(ComputeFullBlockPathTest, appendsToWhatIsThere) {
  vtu::FullBlkPathToTopMdl path = makePath({u"given"});
  computeFullBlockPath(u"top", u"b", path);
  EXPECT_THAT(elementsOf(path), ElementsAre(u"given", u"top", u"b"));
  computeFullBlockPath(u"", u"c", path);
  EXPECT_THAT(elementsOf(path), ElementsAre(u"given", u"top", u"b", u"c"));
}

TEST(ComputeFullBlockPathTest, aBadEncodingIsReportedAndAppendsNothing) {
  vtu::FullBlkPathToTopMdl path = makePath({u"given"});
  expectDiagnostic([&path] { computeFullBlockPath(u"top|%7", u"b", path); }, "Vortan:BlockPath", "BadEncoding",
                   {u"top|%7"});
  EXPECT_THAT(elementsOf(path), ElementsAre(u"given"));
}

TEST(CreateBlockPathCellArrayTest, hasOneCellPerElementTopFirst) {
  const vtu::qxArrayWrapper cells = Utilities::createBlockPathCellArray(makePath({u"top/\u00e9", u"m/b\xd800"}));
  ASSERT_TRUE(cells);
  EXPECT_EQ(qxGetClassID(cells.get()), qxCELL);
  EXPECT_THAT(dimensionsOf(cells.get()), ElementsAre(2u, 1u));
  EXPECT_EQ(charsOf(qxGetCell(cells.get(), 0)), u"top/\u00e9");
  EXPECT_EQ(charsOf(qxGetCell(cells.get(), 1)), u"m/b\xd800");
}

TEST(CreateBlockPathCellArrayTest, anEmptyPathHasNoCells) {
  const vtu::qxArrayWrapper cells = Utilities::createBlockPathCellArray(vtu::FullBlkPathToTopMdl());
  ASSERT_TRUE(cells);
  EXPECT_EQ(qxGetClassID(cells.get()), qxCELL);
  EXPECT_EQ(qxGetNumberOfElements(cells.get()), 0u);
  EXPECT_THAT(dimensionsOf(cells.get()), ElementsAre(0u, 1u));
}

TEST(CreateBlockPathCellArrayTest, emptyAndNullElementsGiveEmptyText) {
  vtu::FullBlkPathToTopMdl path = makePath({u""});
  path.append(vtu::InternedUstring());
  const vtu::qxArrayWrapper cells = Utilities::createBlockPathCellArray(path);
  ASSERT_EQ(qxGetNumberOfElements(cells.get()), 2u);
  for (std::size_t i = 0; i < 2; ++i) {
    const qxArray* cell = qxGetCell(cells.get(), i);
    ASSERT_NE(cell, nullptr) << "a cell with an empty text, not an empty cell";
    EXPECT_EQ(charsOf(cell), u"");
  }
}

TEST(CreateBlockPathCellArrayTest, lineFeedsStay) {
  const vtu::qxArrayWrapper cells = Utilities::createBlockPathCellArray(makePath({u"a\nb"}));
  EXPECT_EQ(charsOf(qxGetCell(cells.get(), 0)), u"a\nb");
}

}  // namespace
}  // namespace vtio::testing
