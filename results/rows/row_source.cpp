#include "results/rows/row_source.hpp"

#include <unordered_map>
#include <utility>

namespace vtio::results {

RowSource::RowSource(std::vector<const SignalInfo*> signals) : signals_(std::move(signals)) {}

RowSource::~RowSource() = default;

std::vector<TableGroup> groupByTable(const std::vector<const SignalInfo*>& signals) {
  std::vector<TableGroup> groups;
  std::unordered_map<std::uint32_t, std::size_t> known;
  for (std::size_t i = 0; i < signals.size(); ++i) {
    const std::uint32_t table = signals[i]->place.table;
    const auto [entry, isNew] = known.emplace(table, groups.size());
    if (isNew) groups.push_back({table, {}, {}});
    TableGroup& group = groups[entry->second];
    group.places.push_back(i);
    group.signals.push_back(signals[i]);
  }
  return groups;
}

}  // namespace vtio::results
