#include "platform/units.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using VTUnitSys::UnitTable;

TEST(UnitTable, numbersExpressionsFromOne) {
  UnitTable table;
  EXPECT_EQ(table.add(u"m/s"), 1);
  EXPECT_EQ(table.add(u""), 2);
  EXPECT_EQ(table.add(u"m/s"), 3);
  EXPECT_EQ(table.getUserSpecifiedUnitExpr(1), u"m/s");
  EXPECT_EQ(table.getUserSpecifiedUnitExpr(2), u"");
  EXPECT_EQ(table.getUserSpecifiedUnitExpr(3), u"m/s");
}

TEST(UnitTable, keepsReferencesValidWhileItGrows) {
  UnitTable table;
  table.add(u"kg");
  const vtu::ustring& first = table.getUserSpecifiedUnitExpr(1);
  for (int i = 0; i < 10000; ++i) table.add(u"unit");
  EXPECT_EQ(&first, &table.getUserSpecifiedUnitExpr(1));
  EXPECT_EQ(first, u"kg");
}

TEST(UnitTable, refusesNumbersThatItDidNotGive) {
  UnitTable table;
  EXPECT_THROW(static_cast<void>(table.getUserSpecifiedUnitExpr(1)), std::out_of_range);
  table.add(u"s");
  for (const int id : {-1, 0, 2}) {
    try {
      static_cast<void>(table.getUserSpecifiedUnitExpr(id));
      FAIL() << id;
    } catch (const std::out_of_range& error) {
      EXPECT_NE(std::string(error.what()).find("no unit " + std::to_string(id) + ";"), std::string::npos);
    }
  }
}

}  // namespace
