/// @file
/// The unit expression of a leaf.
#pragma once

#include "platform/units.hpp"
#include "vtio/export.hpp"
#include "vtio/ustring.hpp"

namespace vtio::core::utils {

/// A unit expression such as u"m/s"; empty for a signal without a unit.
class VTIO_EXPORT units {
 public:
  units();

  /// The user's expression of a unit id; empty for ids below 1, for which the table is not touched.
  /// @param flag For the binary interface alone; no effect.
  units(int unitId, const VTUnitSys::UnitTable* table, bool flag);

  /// Takes the expression as given.
  units(ustring expression);  // NOLINT(google-explicit-constructor): a leaf's unit is written as its text

  /// The expression; valid as long as this object.
  [[nodiscard]] const ustring& getUnits() const { return expression_; }

 private:
  ustring expression_;
};

}  // namespace vtio::core::utils
