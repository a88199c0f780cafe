#include "vtio/core/utils/units.hpp"

#include <gtest/gtest.h>

#include "platform/units.hpp"

namespace vtio::core::utils {
namespace {

TEST(units, areEmptyByDefault) { EXPECT_EQ(units().getUnits(), u""); }

TEST(units, takeAnExpression) {
  EXPECT_EQ(units(u"m/s^2").getUnits(), u"m/s^2");
  EXPECT_EQ(units(ustring(u"\u00b0C")).getUnits(), u"\u00b0C");
  EXPECT_EQ(units(u"").getUnits(), u"");
}

TEST(units, areLookedUpFromIdOneUp) {
  VTUnitSys::UnitTable table;
  const int metre = table.add(u"m");
  const int newton = table.add(u"N");
  ASSERT_EQ(metre, 1);
  for (const bool flag : {false, true}) {
    EXPECT_EQ(units(metre, &table, flag).getUnits(), u"m");
    EXPECT_EQ(units(newton, &table, flag).getUnits(), u"N");
  }
}

TEST(units, withoutAnIdDoNotTouchTheTable) {
  for (const int id : {0, -1, -3, -2147483647 - 1}) {
    EXPECT_EQ(units(id, nullptr, true).getUnits(), u"") << id;
    EXPECT_EQ(units(id, nullptr, false).getUnits(), u"") << id;
  }
}

TEST(units, outliveTheTable) {
  units unit;
  {
    VTUnitSys::UnitTable table;
    unit = units(table.add(u"kg m^2 s^-3 (long enough for the heap)"), &table, true);
  }
  EXPECT_EQ(unit.getUnits(), u"kg m^2 s^-3 (long enough for the heap)");
}

}  // namespace
}  // namespace vtio::core::utils
