/// @file
/// Drives the tree-building entry functions from bytes and keeps a model of every call.
///
/// An instruction is one byte, modulo 8: top virtual bus, virtual bus, top non-virtual bus, non-virtual bus, leaf,
/// fixed-point leaf, enumeration leaf, closing marker; 255 ends the tree. Its arguments follow in the order in which
/// addBus() and addLeaf() read them. make_tree_vector_seeds.py writes the same form.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "fuzz/byte_reader.hpp"
#include "fuzz/tree_model.hpp"
#include "platform/text.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace vtio::fuzz {

class TreeScript final {
 public:
  TreeScript(ByteReader& in, void* treeVector) : in_(in), treeVector_(treeVector) {}

  /// Makes the calls; at most 96 of them.
  void run() {
    for (int i = 0; i < 96 && !in_.exhausted(); ++i) {
      const std::uint8_t instruction = in_.byte();
      if (instruction == 255) {
        return;
      }
      step(instruction % 8);
    }
  }

  /// A closing marker came while no bus had ever been open: the root that this gives is undefined.
  [[nodiscard]] bool strayMarker() const { return strayMarker_; }
  [[nodiscard]] Entries& entries() { return entries_; }

 private:
  struct OpenBus {
    const ModelNode* bus;
    unsigned attached;
    std::uint64_t repetitions;  // of one leaf in it when every array above is unrolled
  };

  static constexpr std::uint64_t kMostRepetitions = 512;

  void step(unsigned instruction) {
    switch (instruction) {
      case 0:
        return addBus(NodeClass::topBus);
      case 1:
        return addBus(NodeClass::bus);
      case 2:
        return addBus(NodeClass::topNvBus);
      case 3:
        return addBus(NodeClass::nvBus);
      case 7:
        return addMarker();
      default:
        return addLeaf(instruction);
    }
  }

  /// Dimensions whose product, wrapped, is at most `limit`; now and then one of the products of special meaning.
  std::vector<unsigned> dims(std::uint64_t limit, bool isLeaf) {
    static const std::array<std::vector<unsigned>, 6> kSpecial = {{
        {4294967295U, 641U, 6700417U},     // -1
        {454279U, 31252369U, 649657U},     // the largest signed number
        {4294967295U, 4294967295U},        // negative
        {4294967295U, 0U, 4294967295U},    // 0
        {65536U, 65536U, 65536U, 65536U},  // wraps to 0
        {1U, 1U},
    }};
    const unsigned count = in_.below(8);
    if (count >= 6) {
      const std::size_t which = in_.below(kSpecial.size());
      return kSpecial[which == 1 && !isLeaf ? 0 : which];
    }
    std::vector<unsigned> result;
    std::uint64_t product = 1;
    for (unsigned i = 0; i < count; ++i) {
      const unsigned dim = in_.below(5);
      product *= dim;
      result.push_back(product <= limit ? dim : 1);
      product = product <= limit ? product : product / dim;
    }
    return result;
  }

  static Dimensions widened(const std::vector<unsigned>& values) { return {values.begin(), values.end()}; }
  static const unsigned* orNull(const std::vector<unsigned>& values) {
    return values.empty() ? nullptr : values.data();
  }

  [[nodiscard]] bool outsideEveryBus() const { return open_.empty() && !balanced_; }
  [[nodiscard]] bool parentIsFull() const {
    return !open_.empty() && open_.back().bus->isNonVirtual() && open_.back().attached >= open_.back().bus->announced;
  }
  [[nodiscard]] bool soleLeaf() const {
    return entries_.size() == 1 && entries_[0] != nullptr && !entries_[0]->isBus();
  }

  void addBus(NodeClass nodeClass) {
    const std::string name = in_.text(6);
    const unsigned announced = in_.below(6);
    auto node = std::make_unique<ModelNode>();
    node->nodeClass = nodeClass;
    node->name = vtu::to_ustring_with_unescape(name, false, 4);
    node->announced = announced;
    if (node->isNonVirtual()) {
      readLayout(*node);
    }
    if (soleLeaf() || parentIsFull()) {
      return;
    }
    callAddBus(*node, name);
    noteChild();
    if (!balanced_) {
      const std::uint64_t above = open_.empty() ? 1 : open_.back().repetitions;
      open_.push_back({node.get(), 0, above * static_cast<std::uint64_t>(std::max(1LL, node->repetitions()))});
    }
    entries_.push_back(std::move(node));
  }

  void readLayout(ModelNode& node) {
    const std::uint64_t above = open_.empty() ? 1 : open_.back().repetitions;
    rawDims_ = dims(kMostRepetitions / above, false);
    node.dims = widened(rawDims_);
    rawOffsets_.clear();
    for (unsigned i = 0; i < node.announced; ++i) {
      rawOffsets_.push_back(in_.byte() == 255 ? in_.word() : i * 8);
    }
    node.childOffsets = widened(rawOffsets_);
    node.busSize = in_.below(2) == 0 ? in_.byte() : in_.word();
  }

  void callAddBus(const ModelNode& node, const std::string& name) {
    namespace zet = mdlref_simtarget;
    const auto busSize = static_cast<unsigned>(node.busSize);
    const auto numDims = static_cast<unsigned>(rawDims_.size());
    switch (node.nodeClass) {
      case NodeClass::topBus:
        return zet::zetAddTopBusNode(name.c_str(), node.announced, treeVector_);
      case NodeClass::bus:
        return zet::zetAddBusNode(name.c_str(), node.announced, treeVector_);
      case NodeClass::topNvBus:
        return zet::zetAddTopNVBusNode(7, name.c_str(), node.announced, orNull(rawDims_), numDims, busSize,
                                       orNull(rawOffsets_), "0.1", 0.1, 10.0, treeVector_);
      default:
        return zet::zetAddNVBusNode(8, name.c_str(), node.announced, orNull(rawDims_), numDims, busSize,
                                    orNull(rawOffsets_), treeVector_);
    }
  }

  void addLeaf(unsigned instruction) {
    const std::string name = in_.text(6);
    const unsigned complexity = in_.below(3);
    const unsigned which = in_.below(static_cast<unsigned>(kClassNames.size()));
    rawDims_ = dims(UINT64_MAX, true);
    auto node = std::make_unique<ModelNode>();
    node->name = vtu::to_ustring_with_unescape(name, false, 4);
    node->dims = widened(rawDims_);
    node->isComplex = complexity == 1 && instruction != 6;
    const std::string unit = in_.text(4);
    const std::string sampleTime = in_.text(4);
    if (soleLeaf() || parentIsFull() || (outsideEveryBus() && !entries_.empty())) {
      return;
    }
    const bool known = which < kKnownClassNames;
    if (instruction == 4) {
      mdlref_simtarget::zetAddLeafNode(6, name.c_str(), "zoh", complexity, orNull(rawDims_),
                                       static_cast<unsigned>(rawDims_.size()), kClassNames[which], unit.c_str(),
                                       sampleTime.c_str(), 0.5, 1e300, treeVector_);
    } else if (instruction == 5) {
      addFixedPoint(name, complexity, kClassNames[which], unit, sampleTime);
    } else {
      addEnum(name, kClassNames[which], unit, sampleTime);
    }
    if (known || instruction == 5) {  // an unknown class name adds nothing
      noteChild();
      entries_.push_back(std::move(node));
    }
  }

  void addFixedPoint(const std::string& name, unsigned complexity, const char* className, const std::string& unit,
                     const std::string& sampleTime) {
    const bool isSigned = in_.below(2) == 1;
    const auto wordLength = static_cast<int>(in_.below(2) == 0 ? 1U + in_.below(200) : in_.word());
    const auto exponent = static_cast<int>(in_.word());
    mdlref_simtarget::zetAddFixedPointLeafNode(
        5, name.c_str(), "linear", complexity, orNull(rawDims_), static_cast<unsigned>(rawDims_.size()), className,
        unit.c_str(), isSigned, wordLength, 1.25, exponent, -0.5, sampleTime.c_str(), 0.25, 3.0, treeVector_);
  }

  void addEnum(const std::string& name, const char* resolved, const std::string& unit, const std::string& sampleTime) {
    std::vector<unsigned> values;
    std::vector<std::string> labels;
    for (unsigned n = in_.below(4); n > 0; --n) {
      values.push_back(in_.word());
      labels.push_back(in_.text(5));
    }
    std::vector<const char*> pointers;
    for (const std::string& label : labels) {
      pointers.push_back(label.c_str());
    }
    mdlref_simtarget::zetAddEnumLeafNode(
        4, name.c_str(), "none", orNull(rawDims_), static_cast<unsigned>(rawDims_.size()), "Mode", unit.c_str(),
        resolved, sampleTime.c_str(), 0.0, 0.0, orNull(values), pointers.empty() ? nullptr : pointers.data(),
        static_cast<unsigned>(values.size()), treeVector_);
  }

  void addMarker() {
    if (soleLeaf()) {
      return;
    }
    strayMarker_ = strayMarker_ || outsideEveryBus();
    mdlref_simtarget::zetPopNVBusNode(treeVector_);
    entries_.push_back(nullptr);
    if (!open_.empty()) {
      open_.pop_back();
      balanced_ = open_.empty();
    }
  }

  void noteChild() {
    if (!open_.empty()) {
      ++open_.back().attached;
    }
  }

  static constexpr unsigned kKnownClassNames = 15;
  static constexpr std::array<const char*, 19> kClassNames = {
      "double",   "single",      "boolean",       "logical",   "int8",   "uint8",  "int16",
      "uint16",   "int32",       "uint32",        "int64",     "uint64", "string", "action",
      "fcn_call", "fixed-point", "scaled-double", "date-time", ""};

  ByteReader& in_;
  void* treeVector_;
  Entries entries_;
  std::vector<OpenBus> open_;
  std::vector<unsigned> rawDims_;
  std::vector<unsigned> rawOffsets_;
  bool balanced_ = false;  // the first bus was closed: what follows is ignored
  bool strayMarker_ = false;
};

}  // namespace vtio::fuzz
