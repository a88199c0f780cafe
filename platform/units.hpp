/// @file
/// The unit table: unit expressions by number.
#pragma once

#include <deque>

#include "platform/export.hpp"
#include "platform/text.hpp"

namespace VTUnitSys {

/// Numbers the unit expressions that a model's user typed, from 1. Not synchronised.
class VTIO_PLATFORM_EXPORT UnitTable {
 public:
  /// Adds an expression, also one that is there already.
  /// @return Its number: one more than the last one.
  int add(vtu::ustring expression);

  /// The expression with a number, valid as long as the table.
  /// @throws std::out_of_range if there is none.
  [[nodiscard]] const vtu::ustring& getUserSpecifiedUnitExpr(int unitId) const;

 private:
  std::deque<vtu::ustring> expressions_;  // number 1 first; a deque so that references stay valid
};

}  // namespace VTUnitSys
