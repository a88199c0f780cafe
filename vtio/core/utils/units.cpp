#include "vtio/core/utils/units.hpp"

#include <utility>

namespace vtio::core::utils {

units::units() = default;

units::units(int unitId, const VTUnitSys::UnitTable* table, bool /*flag*/)
    : expression_(unitId >= 1 ? table->getUserSpecifiedUnitExpr(unitId) : ustring()) {}

units::units(ustring expression) : expression_(std::move(expression)) {}

}  // namespace vtio::core::utils
