// Random trees, random samples, random limits: what a recorder holds equals what a plain list of samples holds.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <random>
#include <tuple>

#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;
using vtio::recorders::SampleOrder;

using Bytes = std::vector<std::byte>;

// An array whose elements are `stride` bytes apart.
struct Level {
  Dims dims;
  std::size_t stride = 0;
};

// What the test expects of one leaf: the offset of its first element, and the arrays that it is in, from the outermost
// one to the leaf itself.
struct ExpectedLeaf {
  std::vector<std::string> path;
  std::size_t offset = 0;
  std::vector<Level> levels;
  std::size_t elementBytes = 0;
};

struct ExpectedPosition {
  std::vector<ExpectedLeaf> leaves;
  std::size_t bytes = 0;
  std::deque<double> times;
  std::deque<Bytes> samples;
};

class RandomTree {
 public:
  explicit RandomTree(unsigned seed) : random_(seed) {}

  std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_); }

  NodePtr root(std::vector<ExpectedPosition>& positions) {
    switch (below(3)) {
      case 0: {
        positions.emplace_back();
        return plainLeaf(u"root", {}, 0, positions.back());
      }
      case 1: {
        positions.emplace_back();
        std::vector<long long> offsets;
        std::vector<NodePtr> children;
        const Dims dims = someDims();
        const std::size_t size = structure(children, offsets, 0, {}, dims, positions.back());
        auto top = std::make_unique<TopNVBusNode>(-1, u"root", children.size(), dims, offsets, size);
        for (NodePtr& child : children) top->addChild(std::move(child));
        positions.back().bytes = size * elements(dims);
        return top;
      }
      default: {
        auto top = std::make_unique<TopBusNode>(-1, u"root", 1);
        virtualChildren(*top, {}, 0, positions);
        return top;
      }
    }
  }

  Bytes sample(std::size_t size) {
    Bytes bytes(size);
    for (std::byte& b : bytes) b = static_cast<std::byte>(below(256));
    return bytes;
  }

 private:
  static std::size_t elements(const Dims& dims) { return static_cast<std::size_t>(dimensionProduct(dims)); }

  static long long dimensionProduct(const Dims& dims) {
    long long product = 1;
    for (const long long d : dims) product *= d;
    return product;
  }

  Dims someDims() {
    static const std::vector<Dims> kChoices{{1}, {1}, {2}, {3}, {2, 2}, {1, 1}, {2, 3}};
    return kChoices[below(kChoices.size())];
  }

  NodePtr plainLeaf(const std::u16string& name, std::vector<std::string> path, std::size_t offset,
                    ExpectedPosition& position) {
    static const std::vector<std::pair<const char*, std::size_t>> kTypes{{"uint8", 1},  {"int16", 2},  {"uint32", 4},
                                                                         {"double", 8}, {"single", 4}, {"int64", 8}};
    static const std::vector<Dims> kDims{{}, {}, {1}, {3}, {2, 2}, {3, 2}, {2, 1, 3}};
    const auto& [type, size] = kTypes[below(kTypes.size())];
    const Dims& dims = kDims[below(kDims.size())];
    const bool isComplex = below(4) == 0;
    const std::size_t elementBytes = size * (isComplex ? 2 : 1);
    position.bytes = std::max(position.bytes, elementBytes * elements(dims));
    position.leaves.push_back({std::move(path), offset, {{dims, elementBytes}}, elementBytes});
    return leaf(name.c_str(), type, dims, isComplex);
  }

  // Lays children out with random padding; every bus element of `dims` repeats them. Returns the size of one element.
  std::size_t structure(std::vector<NodePtr>& children, std::vector<long long>& offsets, int depth,
                        const std::vector<std::string>& path, const Dims& dims, ExpectedPosition& position) {
    const std::size_t firstLeaf = position.leaves.size();
    std::size_t at = 0;
    for (std::size_t i = 0, count = 1 + below(3); i < count; ++i) {
      at += below(5);
      offsets.push_back(static_cast<long long>(at));
      std::vector<std::string> childPath = path;
      childPath.push_back("c" + std::to_string(i));
      const std::u16string name = vtu::to_ustring(childPath.back());
      if (depth < 3 && below(3) == 0) {
        std::vector<long long> innerOffsets;
        std::vector<NodePtr> innerChildren;
        const Dims innerDims = someDims();
        const std::size_t firstInner = position.leaves.size();
        const std::size_t size = structure(innerChildren, innerOffsets, depth + 1, childPath, innerDims, position);
        for (std::size_t l = firstInner; l < position.leaves.size(); ++l) {
          position.leaves[l].offset += at;
        }
        auto inner = std::make_unique<NVBusNode>(-1, name, innerChildren.size(), innerDims, innerOffsets, size);
        for (NodePtr& child : innerChildren) inner->addChild(std::move(child));
        children.push_back(std::move(inner));
        at += size * elements(innerDims);
      } else {
        children.push_back(plainLeaf(name, childPath, at, position));
        const Level& own = position.leaves.back().levels.back();
        at += own.stride * elements(own.dims);
      }
    }
    const std::size_t size = at + below(4);
    for (std::size_t l = firstLeaf; l < position.leaves.size(); ++l) {
      std::vector<Level>& levels = position.leaves[l].levels;
      levels.insert(levels.begin(), Level{dims, size});
    }
    position.bytes = std::max(position.bytes, size * elements(dims));
    return size;
  }

  void virtualChildren(BusNode& parent, const std::vector<std::string>& path, int depth,
                       std::vector<ExpectedPosition>& positions) {
    for (std::size_t i = 0, count = 1 + below(4); i < count; ++i) {
      std::vector<std::string> childPath = path;
      childPath.push_back("v" + std::to_string(i));
      const std::u16string name = vtu::to_ustring(childPath.back());
      const std::size_t kind = below(4);
      if (kind == 0 && depth < 3) {
        auto nested = std::make_unique<BusNode>(-1, name, 1, virtualBus);
        virtualChildren(*nested, childPath, depth + 1, positions);
        parent.addChild(std::move(nested));
      } else if (kind == 1) {
        positions.emplace_back();
        std::vector<long long> offsets;
        std::vector<NodePtr> children;
        const Dims dims = someDims();
        const std::size_t size = structure(children, offsets, 1, childPath, dims, positions.back());
        auto nested = std::make_unique<NVBusNode>(-1, name, children.size(), dims, offsets, size);
        for (NodePtr& child : children) nested->addChild(std::move(child));
        parent.addChild(std::move(nested));
      } else {
        positions.emplace_back();
        parent.addChild(plainLeaf(name, childPath, 0, positions.back()));
      }
    }
    parent.overrideNumberOfChildren();
  }

  std::mt19937 random_;
};

// The row-major bytes of an array whose samples are the fastest index of a column-major array.
Bytes rowMajorBytes(const qxArray* array, std::size_t count) {
  if (count == 0) return {};
  vtu::qxArrayWrapper own(qxShareArray(array));
  const auto* data = static_cast<const std::byte*>(qxGetRowMajorData(own.get()));
  return {data, data + count};
}

// The offset of an element in memory, from its indices one by one.
std::size_t offsetOf(const Level& level, const std::vector<long long>& indices, SampleOrder order) {
  const std::size_t n = level.dims.size();
  std::size_t place = 0;
  for (std::size_t d = 0; d < n; ++d) {
    const std::size_t slowestFirst = order == SampleOrder::rowMajor ? d : n - 1 - d;
    place =
        place * static_cast<std::size_t>(level.dims[slowestFirst]) + static_cast<std::size_t>(indices[slowestFirst]);
  }
  return place * level.stride;
}

// Visits every element of nested arrays, the last index of the innermost one fastest.
template <typename Use>
void forEachElement(const std::vector<Level>& levels, std::size_t level, std::size_t offset, SampleOrder order,
                    const Use& use) {
  if (level == levels.size()) return use(offset);
  std::vector<long long> indices(levels[level].dims.size(), 0);
  for (bool more = true; more;) {
    forEachElement(levels, level + 1, offset + offsetOf(levels[level], indices, order), order, use);
    std::size_t d = indices.size();
    while (d > 0 && ++indices[d - 1] == levels[level].dims[d - 1]) indices[--d] = 0;
    more = d > 0;
  }
}

void expectLeaf(const vtu::qxArrayWrapper& element, const ExpectedPosition& position, const ExpectedLeaf& leaf,
                SampleOrder order) {
  const qxArray* node = values(element);
  std::string where = "root";
  for (const std::string& name : leaf.path) {
    node = field(node, name.c_str());
    where += "." + name;
  }
  EXPECT_EQ(numbers<double>(field(node, "Time")), std::vector<double>(position.times.begin(), position.times.end()))
      << where;
  Bytes expected;
  for (const Bytes& sample : position.samples) {
    forEachElement(leaf.levels, 0, leaf.offset, order, [&](std::size_t offset) {
      const auto begin = sample.begin() + static_cast<std::ptrdiff_t>(offset);
      expected.insert(expected.end(), begin, begin + static_cast<std::ptrdiff_t>(leaf.elementBytes));
    });
  }
  EXPECT_EQ(qxGetDimensions(field(node, "Data"))[0], position.samples.size()) << where;
  const Bytes held = rowMajorBytes(field(node, "Data"), expected.size());
  EXPECT_TRUE(held == expected) << where;
}

class RandomTrees : public Recording, public ::testing::WithParamInterface<std::tuple<unsigned, SampleOrder>> {};

TEST_P(RandomTrees, HoldWhatAPlainListHolds) {
  const auto [seed, order] = GetParam();
  RandomTree random(seed);
  session_.sampleOrder(order);
  std::vector<ExpectedPosition> positions;
  NodePtr root = random.root(positions);
  const std::size_t limits[] = {0, 0, 1, 3, 50, 400};
  const std::size_t most = limits[random.below(6)];
  Recorded r = record(std::move(root), most);
  ASSERT_EQ(r.recorder->positions(), positions.size());
  const std::size_t steps = random.below(1200);
  double time = 0.0;
  for (std::size_t step = 0; step < steps; ++step) {
    time += static_cast<double>(random.below(3)) * 0.25;  // equal times may follow each other
    for (std::size_t p = 0; p < positions.size(); ++p) {
      if (random.below(5) == 0) continue;
      const Bytes sample = random.sample(positions[p].bytes);
      r.accessor->update(&time, sample.data(), p);
      positions[p].times.push_back(time);
      positions[p].samples.push_back(sample);
      if (most != 0 && positions[p].times.size() > most) {
        positions[p].times.pop_front();
        positions[p].samples.pop_front();
      }
    }
  }
  const vtu::qxArrayWrapper element = r.element();
  for (const ExpectedPosition& position : positions) {
    for (const ExpectedLeaf& leaf : position.leaves) expectLeaf(element, position, leaf, order);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTrees,
                         ::testing::Combine(::testing::Range(0U, 150U),
                                            ::testing::Values(SampleOrder::rowMajor, SampleOrder::columnMajor)));

}  // namespace
