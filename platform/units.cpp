#include "platform/units.hpp"

#include <stdexcept>
#include <string>
#include <utility>

namespace VTUnitSys {

int UnitTable::add(vtu::ustring expression) {
  expressions_.push_back(std::move(expression));
  return static_cast<int>(expressions_.size());
}

const vtu::ustring& UnitTable::getUserSpecifiedUnitExpr(int unitId) const {
  if (unitId < 1 || static_cast<std::size_t>(unitId) > expressions_.size()) {
    throw std::out_of_range("unit table: there is no unit " + std::to_string(unitId) + "; numbers go from 1 to " +
                            std::to_string(expressions_.size()));
  }
  return expressions_[static_cast<std::size_t>(unitId) - 1];
}

}  // namespace VTUnitSys
