#include "vtio/core/utils/utilities.hpp"

#include <cstddef>
#include <string_view>

#include "vtio/core/utils/transformation_policy.hpp"

namespace vtio::core::utils {

const void* Utilities::policyDataTransformations(const Node& node, const void* data) {
  return node.transformationPolicy(node.transformationPolicies()->front())->transformedDataPointer(data);
}

vtu::qxArrayWrapper Utilities::createBlockPathCellArray(const vtu::FullBlkPathToTopMdl& path) {
  const std::size_t count = path.size();
  vtu::qxArrayWrapper cells(qxCreateCellArray(1, &count));
  for (std::size_t i = 0; i < count; ++i) {
    const char16_t* terminated = path.element(i).c_str();
    const std::u16string_view text = terminated == nullptr ? std::u16string_view() : std::u16string_view(terminated);
    vtu::qxArrayWrapper cell(qxCreateUString(text.data(), text.size()));
    qxSetCell(cells.get(), i, cell.get());
    static_cast<void>(cell.release());  // the cell array owns it now
  }
  return cells;
}

}  // namespace vtio::core::utils
