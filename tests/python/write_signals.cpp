// Records a signal of every kind and prints what the library reads of the file: python_write_signals FILE
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "recorders/recording_session.hpp"
#include "tests/python/dump_signals.hpp"
#include "vtio/vtio.hpp"

namespace {

using namespace vtio::core::utils;  // NOLINT(google-build-using-namespace): the trees are the subject here
using vtio::core::accessor::Accessor;
using vtio::core::client::Catalogue;
using Dims = std::vector<long long>;

constexpr int kSteps = 7;

std::unique_ptr<LeafNode> leaf(const char16_t* name, const char* type, Dims dims = {}, bool isComplex = false,
                               const char* interpolation = "linear") {
  return std::make_unique<LeafNode>(0, name, isComplex, interpolation, std::move(dims), type, units(u"m/s\u00b2"),
                                    u"today", leafSignal);
}

std::unique_ptr<LeafNode> fixedPoint(int bits, bool isSigned, bool isComplex = false) {
  return std::make_unique<FixedPointLeafNode>(0, u"q", isComplex, "linear", Dims{}, "fixed-point", units(u"Ah"), u"",
                                              isSigned, bits, 1.25, -7, 3.5);
}

template <typename Bus>
std::unique_ptr<Bus> with(std::unique_ptr<Bus> parent, std::vector<std::unique_ptr<Node>> children) {
  for (auto& child : children) parent->addChild(std::move(child));
  parent->overrideNumberOfChildren();
  return parent;
}

/// Signals with their accessors, and the calls that a simulation makes.
class Simulation {
 public:
  /// @param maxPoints 0: no limit.
  Accessor& signal(const char16_t* name, std::unique_ptr<Node> root, unsigned long maxPoints = 0,
                   unsigned long decimation = 1) {
    if (auto* top = dynamic_cast<TopNVBusNode*>(root.get())) top->generateLeafDataOffsets();
    vtu::FullBlkPathToTopMdl path;
    path.append(vtu::InternedUstring(u"top/Model"));
    if (++count_ % 2 == 0) path.append(vtu::InternedUstring(u"inner/Block"));
    const SignalDescriptor& descriptor =
        catalogue_.createSignalDescriptor(std::move(root), 512UL, maxPoints, decimation, name, u"", path, count_);
    const auto& interval = catalogue_.disabledLoggingIntervals();
    std::unique_ptr<Accessor> accessor;
    if (dynamic_cast<const TopBusNode*>(descriptor.root()) != nullptr) {
      accessor = std::make_unique<vtio::core::accessor::VirtualBus>(descriptor, interval);
    } else {
      accessor = std::make_unique<vtio::core::accessor::Scalar>(descriptor, interval);
    }
    session_.attach(descriptor, *accessor);
    accessors_.push_back(std::move(accessor));
    return *accessors_.back();
  }

  template <typename Sample>
  static void update(Accessor& accessor, int step, const Sample& sample, unsigned long position = 0) {
    const double time = 0.1 * step;
    accessor.update(&time, &sample, position);
  }

  /// A leaf that gets `sample(step)` at every step.
  template <typename Function>
  void every(const char16_t* name, std::unique_ptr<Node> root, Function&& sample, unsigned long maxPoints = 0,
             unsigned long decimation = 1) {
    Accessor& accessor = signal(name, std::move(root), maxPoints, decimation);
    for (int step = 0; step < kSteps; ++step) update(accessor, step, sample(step));
  }

  void save(const char* file) { catalogue_.saveDatasetsToQatFile(vtu::to_ustring(file)); }

 private:
  Catalogue catalogue_;
  vtio::recorders::RecordingSession session_{catalogue_};
  std::vector<std::unique_ptr<Accessor>> accessors_;
  unsigned long count_ = 0;
};

template <typename T>
void numbers(Simulation& simulation, const char* type, const char16_t* name) {
  simulation.every(name, leaf(name, type), [](int step) {
    if (step == 0) return std::numeric_limits<T>::lowest();
    return step == 1 ? std::numeric_limits<T>::max() : static_cast<T>(step);
  });
}

void builtInTypes(Simulation& simulation) {
  numbers<double>(simulation, "double", u"double");
  numbers<float>(simulation, "single", u"single");
  numbers<std::int8_t>(simulation, "int8", u"int8");
  numbers<std::uint8_t>(simulation, "uint8", u"uint8");
  numbers<std::int16_t>(simulation, "int16", u"int16");
  numbers<std::uint16_t>(simulation, "uint16", u"uint16");
  numbers<std::int32_t>(simulation, "int32", u"int32");
  numbers<std::uint32_t>(simulation, "uint32", u"uint32");
  numbers<std::int64_t>(simulation, "int64", u"int64");
  numbers<std::uint64_t>(simulation, "uint64", u"uint64");
  simulation.every(u"boolean", leaf(u"b", "boolean"), [](int step) { return step % 2 == 1; });
  simulation.every(u"not numbers", leaf(u"n", "double"),
                   [](int step) { return step == 0 ? std::nan("") : (step == 1 ? -INFINITY : INFINITY); });
}

void shapesAndComplex(Simulation& simulation) {
  const auto six = [](int step) { return std::array<std::int16_t, 6>{1, 2, 3, 4, 5, static_cast<std::int16_t>(step)}; };
  simulation.every(u"matrix", leaf(u"m", "int16", {2, 3}), six);
  simulation.every(u"row", leaf(u"m", "int16", {1, 6}), six);
  simulation.every(u"empty samples", leaf(u"e", "double", {0}), [](int) { return 0.0; });
  simulation.every(u"complex", leaf(u"c", "double", {}, true), [](int step) { return std::complex(0.5, 1.0 * step); });
  simulation.every(u"complex singles", leaf(u"c", "single", {2}, true), [](int step) {
    return std::array<float, 4>{1, 2, 3, static_cast<float>(step)};
  });
  simulation.every(u"complex integers", leaf(u"c", "int8", {}, true), [](int step) {
    return std::array<std::int8_t, 2>{-3, static_cast<std::int8_t>(step)};
  });
}

void specialLeaves(Simulation& simulation) {
  simulation.every(
      u"mode",
      std::make_unique<EnumLeafNode>(0, u"e", "linear", Dims{}, "Mode", units(), u"", "int16",
                                     std::vector<int>{-1, 0, 5}, std::vector<std::string>{"Off", "Idle", "\xc3\x96n"}),
      [](int step) { return static_cast<std::int16_t>(step - 1); });
  simulation.every(u"fixed 12", fixedPoint(12, true), [](int step) { return static_cast<std::int16_t>(-100 * step); });
  simulation.every(u"fixed 100", fixedPoint(100, true), [](int step) {
    return std::array<std::uint64_t, 2>{static_cast<std::uint64_t>(-step), step > 0 ? ~std::uint64_t{0} : 0};
  });
  simulation.every(u"fixed complex", fixedPoint(8, false, true), [](int step) {
    return std::array<std::uint8_t, 2>{200, static_cast<std::uint8_t>(step)};
  });
  simulation.every(u"when",
                   std::make_unique<DateTimeLeafNode>(0, u"d", "zoh", Dims{}, "date-time", units(), u"",
                                                      fxpPropertiesFromScaling(true, 64, 1.0, 0.0),
                                                      VTDateTime::DateTimeTypeAttribs{"yyyy-MM-dd", "UTC"}),
                   [](int step) { return std::int64_t{1'000'000} * step; });
  using Text = std::array<char16_t, 8>;  // a sample is the text itself, with its end
  const std::array<Text, kSteps> texts = {Text{},         {u'a'}, {u'\u00e9'},  {0xd83d, 0xde00},
                                          {u'a', 0xd83d}, {u'a'}, {u'\n', u'b'}};
  simulation.every(u"text", std::make_unique<StringLeafNode>(0, u"s", "zoh", Dims{}, "string", units(), u"", 64UL, 2UL),
                   [&](int step) { return texts[static_cast<std::size_t>(step)]; });
}

struct Element {
  double a;
  std::int32_t b[2];
};

void buses(Simulation& simulation) {
  Accessor& bus = simulation.signal(u"bus", [] {
    std::vector<std::unique_ptr<Node>> inner, outer;
    inner.push_back(leaf(u"x", "double"));
    inner.push_back(leaf(u"", "int8"));
    inner.push_back(leaf(u"x", "single", {}, false, "zoh"));
    outer.push_back(with(std::make_unique<BusNode>(-1, u"in", 8, virtualBus), std::move(inner)));
    outer.push_back(leaf(u"y", "double"));
    return with(std::make_unique<TopBusNode>(-1, u"bus", 8), std::move(outer));
  }());
  for (int step = 0; step < kSteps; ++step) {
    Simulation::update(bus, step, 1.5 * step, 0);
    Simulation::update(bus, step, static_cast<std::int8_t>(step), 1);
    if (step % 2 == 0) Simulation::update(bus, step, 2.5F, 2);  // a leaf with fewer samples than the others
    Simulation::update(bus, step, -1.0 * step, 3);
  }
  std::vector<std::unique_ptr<Node>> members;
  members.push_back(leaf(u"a", "double"));
  members.push_back(leaf(u"b", "int32", {2}));
  auto structures =
      with(std::make_unique<TopNVBusNode>(-1, u"s", 2UL, Dims{3}, Dims{0, 8}, sizeof(Element)), std::move(members));
  simulation.every(u"structures", std::move(structures), [](int step) {
    return std::array<Element, 3>{{{1, {2, 3}}, {4, {5, 6}}, {7, {8, step}}}};
  });
}

/// What docs/python.md shows.
void wheels(Simulation& simulation) {
  std::vector<std::unique_ptr<Node>> children;
  children.push_back(leaf(u"speed", "double"));
  children.push_back(leaf(u"torque", "double", {}, false, "zoh"));
  Accessor& bus =
      simulation.signal(u"wheels", with(std::make_unique<TopBusNode>(-1, u"wheels", 8), std::move(children)));
  for (int step = 0; step < kSteps; ++step) {
    Simulation::update(bus, step, 2.0 * step, 0);
    Simulation::update(bus, step, 1.0 - step, 1);
  }
}

void rates(Simulation& simulation) {
  simulation.every(
      u"newest", leaf(u"n", "double"), [](int step) { return 1.0 * step; }, 3);
  simulation.every(
      u"every third", leaf(u"t", "double"), [](int step) { return 1.0 * step; }, 0, 3);
  simulation.every(u"twice", leaf(u"a", "double"), [](int step) { return 1.0 * step; });
  simulation.every(u"twice", leaf(u"a", "double"), [](int step) { return 2.0 * step; });
  simulation.signal(u"never", leaf(u"n", "double"));
  Accessor& repeated = simulation.signal(u"repeated", leaf(u"r", "double"));
  for (int i = 0; i < kSteps; ++i) Simulation::update(repeated, i / 3, 10.0 * i);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: %s FILE\n", argv[0]), 2;
  {
    Simulation simulation;
    builtInTypes(simulation);
    shapesAndComplex(simulation);
    specialLeaves(simulation);
    buses(simulation);
    wheels(simulation);
    rates(simulation);
    simulation.save(argv[1]);
  }
  return pythontest::dumpSignals(argv[1]);
}
