#include "recorders/layout/element_order.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace vtio::recorders {
namespace {

using Dimensions = std::vector<long long>;

bool hasOrder(const Dimensions& dimensions) {
  return std::count_if(dimensions.begin(), dimensions.end(), [](long long d) { return d > 1; }) > 1;
}

// The indices in memory of an array's elements, first index fastest, listed last index fastest.
std::vector<std::size_t> placesOf(const Dimensions& dimensions) {
  std::vector<std::size_t> places{0};
  std::size_t stride = 1;
  for (const long long dimension : dimensions) {
    const auto size = static_cast<std::size_t>(dimension);
    std::vector<std::size_t> next;
    next.reserve(places.size() * size);
    for (const std::size_t place : places) {
      for (std::size_t i = 0; i < size; ++i) next.push_back(place + i * stride);
    }
    places = std::move(next);
    stride *= size;
  }
  return places;
}

// Of nested arrays, each with an order of its own: the inner one's elements follow each other in each element of the
// outer one.
std::vector<std::size_t> placesOf(const std::vector<Dimensions>& arrays) {
  std::vector<std::size_t> places{0};
  for (const Dimensions& array : arrays) {
    const std::vector<std::size_t> inner = placesOf(array);
    std::vector<std::size_t> next;
    next.reserve(places.size() * inner.size());
    for (const std::size_t place : places) {
      for (const std::size_t i : inner) next.push_back(place * inner.size() + i);
    }
    places = std::move(next);
  }
  return places;
}

void splitIntoElements(LeafColumn& column) {
  const std::vector<std::size_t> places = placesOf(column.leaf->dataDimensions());
  if (places.empty()) return;
  column.deliveredBytes /= places.size();
  std::vector<std::size_t> elements;
  elements.reserve(column.offsets.size() * places.size());
  for (const std::size_t offset : column.offsets) {
    for (const std::size_t place : places) elements.push_back(offset + place * column.deliveredBytes);
  }
  column.offsets = std::move(elements);
}

}  // namespace

void takeColumnMajor(LeafColumn& column, const std::vector<std::vector<long long>>& arrays) {
  if (std::any_of(arrays.begin(), arrays.end(), hasOrder)) {
    std::vector<std::size_t> ordered;
    ordered.reserve(column.offsets.size());
    for (const std::size_t place : placesOf(arrays)) ordered.push_back(column.offsets[place]);
    column.offsets = std::move(ordered);
  }
  // A text leaf delivers one text whatever its dimensions are.
  if (column.type.text == StoredType::Text::none && hasOrder(column.leaf->dataDimensions())) splitIntoElements(column);
}

}  // namespace vtio::recorders
