#include "runner/signals/signal_log.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "runner/error.hpp"
#include "runner/signals/bus_block.hpp"
#include "runner/signals/deliveries.hpp"
#include "runner/signals/shared_positions.hpp"
#include "vtio/vtio.hpp"

namespace vtio::runner {
namespace {

using core::accessor::Accessor;
using core::accessor::Scalar;
using core::accessor::VirtualBus;
using core::client::Catalogue;
using core::utils::BusNode;
using core::utils::EnumLeafNode;
using core::utils::InportOutportSignalDescriptor;
using core::utils::LeafNode;
using core::utils::Node;
using core::utils::SignalDescriptor;
using core::utils::StringLeafNode;
using core::utils::TopBusNode;

constexpr unsigned long kTextBytes = 256;  // of the address of a text and what follows it

// By VariableType.
constexpr const char* kClassNames[] = {"double", "single", "int8",    "uint8", "int16",  "uint16", "int32",  "uint32",
                                       "int64",  "uint64", "boolean", "int64", "string", "uint8",  "boolean"};

const char* classNameOf(VariableType type) { return kClassNames[static_cast<std::size_t>(type)]; }

std::vector<long long> dimensionsOf(const Variable& variable) {
  std::vector<long long> dimensions;
  for (const Dimension& dimension : variable.dimensions) dimensions.push_back(static_cast<long long>(dimension.size));
  return dimensions;
}

const char* interpolationOf(const Variable& variable) {
  return variable.variability == Variability::continuous ? "linear" : "zoh";
}

std::unique_ptr<EnumLeafNode> enumerationLeaf(const vtu::ustring& name, const Variable& variable,
                                              const ModelDescription& model) {
  const Enumeration& enumeration = model.enumerations.at(static_cast<std::size_t>(variable.enumeration));
  std::vector<int> values;
  std::vector<std::string> labels;
  for (const auto& [label, value] : enumeration.items) {
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) continue;
    labels.push_back(label);
    values.push_back(static_cast<int>(value));
  }
  return std::make_unique<EnumLeafNode>(-1, name, interpolationOf(variable), dimensionsOf(variable), enumeration.name,
                                        core::utils::units(), u"", "int64", values, labels);
}

std::unique_ptr<LeafNode> textLeaf(const vtu::ustring& name, const core::utils::units& unit = core::utils::units()) {
  return std::make_unique<StringLeafNode>(-1, name, "zoh", std::vector<long long>{}, "string", unit, u"", kTextBytes,
                                          1);
}

std::unique_ptr<LeafNode> leafOf(const SignalNode& node, const ModelDescription& model) {
  const Variable& variable = model.variables[node.variable];
  const vtu::ustring name = vtu::to_ustring(node.name);
  const core::utils::units unit(vtu::to_ustring(variable.unit));
  if (variable.type == VariableType::enumeration) return enumerationLeaf(name, variable, model);
  if (variable.type == VariableType::string) {
    return textLeaf(name, unit);
  }
  return std::make_unique<LeafNode>(-1, name, false, interpolationOf(variable), dimensionsOf(variable),
                                    classNameOf(variable.type), unit, u"", core::utils::leafSignal);
}

std::unique_ptr<LeafNode> plainLeaf(const char16_t* name, const char* type, std::vector<long long> dimensions) {
  return std::make_unique<LeafNode>(-1, name, false, "zoh", std::move(dimensions), type, core::utils::units(), u"",
                                    core::utils::leafSignal);
}

}  // namespace

struct SignalLog::Deliveries {
  DeliveryList running, intermediate, parameters;
};

// Where the values of one signal go.
struct SignalLog::Receiver {
  Accessor& accessor;
  recorders::MemoryRecorder* recorder;  // null: it is not recorded
  SharedPositions& shared;
};

// Makes the tree of one signal and numbers its leaf positions, then what is to be delivered to them.
class SignalLog::Builder {
 public:
  Builder(const ModelDescription& model, const ValueStore& running, const ValueStore& parameters)
      : model_(model), running_(running), parameters_(parameters) {}

  std::unique_ptr<Node> build(const SignalNode& node, bool isRoot) {
    if (node.isArray()) {
      ++positions_;
      return makeBlockTree(
          node, model_, [this](const SignalNode& leaf) { return leafOf(leaf, model_); }, isRoot);
    }
    if (!node.isLeaf()) return buildBus(node, isRoot);
    const Variable& variable = model_.variables[node.variable];
    if (variable.type != VariableType::binary) {
      ++positions_;
      return leafOf(node, model_);
    }
    positions_ += 2;
    std::unique_ptr<BusNode> bus = makeBus(node.name, 2, isRoot);
    bus->addChild(variable.maxSize ? plainLeaf(u"data", "uint8", {static_cast<long long>(*variable.maxSize)})
                                   : textLeaf(u"data"));
    bus->addChild(plainLeaf(u"length", "uint64", {}));
    return bus;
  }

  [[nodiscard]] unsigned long positions() const { return positions_; }

  void deliverTo(const Receiver& receiver, const SignalNode& node, unsigned long& position,
                 Deliveries& deliveries) const {
    if (!node.isArray() && !node.isLeaf()) {
      for (const SignalNode& child : node.children) deliverTo(receiver, child, position, deliveries);
      return;
    }
    const bool once = model_.variables[firstVariable(node)].isParameter();
    const ValueStore& values = once ? parameters_ : running_;
    DeliveryList& list = once ? deliveries.parameters : deliveries.running;
    const Target target{&receiver.accessor, position++};
    const bool isAlsoBetween = !once && isIntermediate(node);
    if (node.isArray()) {
      const BlockDelivery block{target, blockPieces(node, model_, values),
                                std::vector<std::byte>(blockBytes(node, model_))};
      list.addBlock(block);
      if (isAlsoBetween) deliveries.intermediate.addBlock(block);
      return;
    }
    const Variable& variable = model_.variables[node.variable];
    const auto isShared = [&](const void* place, std::size_t count) {
      return receiver.shared.share(place, receiver.recorder, target.position, count);
    };
    if (variable.type == VariableType::string) {
      const vtu::ustring* text = &values.text(node.variable, node.element);
      if (!isShared(text, 1)) list.addText(target, text);
    } else if (variable.type == VariableType::binary) {
      const Target length{&receiver.accessor, position++};
      const std::string* bytes = &values.binary(node.variable, node.element);
      if (isShared(bytes, 2)) return;
      if (variable.maxSize) {
        list.addBinary({target, length, bytes, std::vector<std::byte>(*variable.maxSize)});
      } else {
        list.addHexadecimal({target, length, bytes, {}});
      }
    } else {
      const std::byte* numbers = values.numbers(node.variable);
      if (isShared(numbers, 1)) return;
      list.addNumbers(target, numbers);
      if (isAlsoBetween) deliveries.intermediate.addNumbers(target, numbers);
    }
  }

 private:
  [[nodiscard]] bool isIntermediate(const SignalNode& node) const {
    if (node.isLeaf()) return model_.variables[node.variable].isIntermediate;
    return std::all_of(node.children.begin(), node.children.end(),
                       [this](const SignalNode& child) { return isIntermediate(child); });
  }

  static std::size_t firstVariable(const SignalNode& node) {
    return node.isLeaf() ? node.variable : firstVariable(node.children.front());
  }

  static std::unique_ptr<BusNode> makeBus(const std::string& name, std::size_t children, bool isRoot) {
    if (isRoot) return std::make_unique<TopBusNode>(-1, vtu::to_ustring(name), children);
    return std::make_unique<BusNode>(-1, vtu::to_ustring(name), children, core::utils::virtualBus);
  }

  std::unique_ptr<Node> buildBus(const SignalNode& node, bool isRoot) {
    std::unique_ptr<BusNode> bus = makeBus(node.name, node.children.size(), isRoot);
    for (const SignalNode& child : node.children) bus->addChild(build(child, false));
    return bus;
  }

  const ModelDescription& model_;
  const ValueStore& running_;
  const ValueStore& parameters_;
  unsigned long positions_ = 0;
};

SignalLog::SignalLog(Catalogue& catalogue, recorders::RecordingSession& session, const ModelDescription& model,
                     const std::vector<SignalTree>& trees, const ValueStore& running, const ValueStore& parameters,
                     const LogLimits& limits)
    : deliveries_(std::make_unique<Deliveries>()) {
  vtu::FullBlkPathToTopMdl path;
  path.append(vtu::InternedUstring(vtu::to_ustring(model.modelName)));
  SharedPositions shared;
  unsigned long inport = 0;
  unsigned long port = 0;
  for (const SignalTree& tree : trees) {
    Builder builder(model, running, parameters);
    std::unique_ptr<Node> root = builder.build(tree.root, true);
    const bool isBus = dynamic_cast<const TopBusNode*>(root.get()) != nullptr;
    const vtu::ustring name = vtu::to_ustring(tree.root.name);
    const auto describe = [&](auto... kind) -> const SignalDescriptor& {
      return catalogue.createSignalDescriptor(std::move(root), builder.positions(), kind..., limits.maxPoints,
                                              limits.decimation, name, u"", path, port);
    };
    const SignalDescriptor& descriptor =
        tree.role == SignalRole::output ? describe(InportOutportSignalDescriptor::outport)
        : tree.role == SignalRole::input
            ? catalogue.createSignalDescriptor(std::move(root), builder.positions(), limits.maxPoints,
                                               limits.decimation, name, u"", path, port, inport++)
            : describe();
    ++port;
    const smartlog::LoggingInterval& intervals = session.loggingInterval();
    std::unique_ptr<Accessor> accessor;
    if (isBus) {
      accessor = std::make_unique<VirtualBus>(descriptor, intervals);
    } else {
      accessor = std::make_unique<Scalar>(descriptor, intervals);
    }
    const Receiver receiver{*accessor, session.attach(descriptor, *accessor), shared};
    unsigned long position = 0;
    builder.deliverTo(receiver, tree.root, position, *deliveries_);
    accessors_.push_back(std::move(accessor));
  }
}

SignalLog::~SignalLog() = default;

void SignalLog::log(double time) { deliveries_->running.deliver(time); }

void SignalLog::logIntermediate(double time) { deliveries_->intermediate.deliver(time); }

void SignalLog::logParameters(double time) { deliveries_->parameters.deliver(time); }

}  // namespace vtio::runner
