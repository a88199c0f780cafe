#include "recorders/dataset/node_structure.hpp"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "platform/sample_table.hpp"
#include "platform/text.hpp"
#include "recorders/dataset/dataset_element.hpp"
#include "recorders/dataset/repeated_array.hpp"
#include "recorders/layout/signal_layout.hpp"
#include "vtio/core/utils/bus_node.hpp"
#include "vtio/core/utils/date_time_leaf_node.hpp"
#include "vtio/core/utils/enum_leaf_node.hpp"
#include "vtio/core/utils/fixed_point_leaf_node.hpp"

namespace vtio::recorders {
namespace {

using core::utils::BusNode;
using core::utils::DateTimeLeafNode;
using core::utils::EnumLeafNode;
using core::utils::FixedPointLeafNode;
using core::utils::LeafNode;
using core::utils::Node;

vtu::qxArrayWrapper doubleScalar(double value) { return vtu::qxArrayWrapper(qxCreateDoubleScalar(value)); }

vtu::qxArrayWrapper utf8Array(const std::string& text) { return charArray(vtu::to_ustring(text)); }

void addEnumeration(vtu::qxStructWrapper& structure, const EnumLeafNode& leaf) {
  const std::vector<std::string>& labels = leaf.enumLabels();
  vtu::qxCellArrayWrapper names(labels.size(), 1);
  for (std::size_t i = 0; i < labels.size(); ++i) names.set(i, utf8Array(labels[i]));
  structure.set("EnumLabels", std::move(names));
  const std::size_t count = leaf.enumValues().size();
  vtu::qxArrayWrapper values(qxCreateNumericArray(1, &count, qxINT32, false));
  if (count != 0) {
    std::copy(leaf.enumValues().begin(), leaf.enumValues().end(), static_cast<std::int32_t*>(qxGetData(values.get())));
  }
  structure.set("EnumValues", std::move(values));
}

void addFixedPoint(vtu::qxStructWrapper& structure, const fxpDataTypeProp& properties) {
  vtu::qxStructWrapper fixedPoint({"Signed", "WordLength", "FixedExponent", "SlopeAdjustmentFactor", "Bias"});
  fixedPoint.set("Signed", vtu::qxArrayWrapper(qxCreateLogicalScalar(properties.isSigned != 0)));
  fixedPoint.set("WordLength", doubleScalar(properties.wordLength));
  fixedPoint.set("FixedExponent", doubleScalar(properties.fixedExponent));
  fixedPoint.set("SlopeAdjustmentFactor", doubleScalar(properties.slopeAdjustmentFactor));
  fixedPoint.set("Bias", doubleScalar(properties.bias));
  structure.set("FixedPoint", std::move(fixedPoint));
}

std::vector<std::size_t> sampleDimensions(const LeafColumn& column) {
  std::vector<std::size_t> dimensions;
  const auto append = [&dimensions](const std::vector<long long>& more) {
    for (const long long dimension : more) dimensions.push_back(static_cast<std::size_t>(dimension));
  };
  append(column.busDimensions);
  const std::vector<long long>& own = column.leaf->dataDimensions();
  const bool isScalar = own.size() <= 2 && std::all_of(own.begin(), own.end(), [](long long d) { return d == 1; });
  // A text leaf delivers one text whatever its dimensions are.
  if (!isScalar && column.type.text == StoredType::Text::none) append(own);
  if (column.type.words > 1) dimensions.push_back(column.type.words);
  return dimensions;
}

// @param offset Of the column in the position's part of a row.
vtu::SampleColumn sampleColumn(const LeafColumn& column, const vtu::ustring& name, const TableBuilder::Samples& samples,
                               std::size_t offset) {
  vtu::SampleColumn sampled;
  sampled.name = name;
  sampled.unit = column.leaf->unit().getUnits();
  sampled.dims = sampleDimensions(column);
  sampled.id = column.type.id;
  sampled.isComplex = column.type.isComplex;
  sampled.offset = samples.offset + offset;
  sampled.first = samples.first;
  sampled.count = samples.count;
  return sampled;
}

vtu::qxArrayWrapper leafStructure(const LeafColumn& column, const vtu::ustring& name,
                                  const TableBuilder::Samples& samples, std::size_t offset) {
  thread_local RepeatedArray<std::u16string> kind, unit, startDate, sampleTime;
  thread_local RepeatedArray<std::string> dataType, interpolation;
  const LeafNode& leaf = *column.leaf;
  vtu::qxStructWrapper structure(
      {"Kind", "Time", "Data", "DataType", "Unit", "Interpolation", "StartDate", "SampleTime"});
  structure.set("Kind", kind.of(u"leaf"));
  structure.set("Time", vtu::sampledTimes(samples.table, samples.first, samples.count));
  structure.set("Data", vtu::sampledArray(samples.table, sampleColumn(column, name, samples, offset)));
  structure.set("DataType", dataType.of(leaf.datatypeClassName()));
  structure.set("Unit", unit.of(leaf.unit().getUnits()));
  structure.set("Interpolation", interpolation.of(leaf.interpolationMethod()));
  structure.set("StartDate", startDate.of(leaf.startDate()));
  structure.set("SampleTime",
                sampleTime.of(column.visualization != nullptr ? column.visualization->sampleTime() : vtu::ustring()));
  if (const auto* enumeration = dynamic_cast<const EnumLeafNode*>(&leaf)) addEnumeration(structure, *enumeration);
  if (dynamic_cast<const FixedPointLeafNode*>(&leaf) != nullptr ||
      leaf.datatypeClassName() == core::utils::kFixedPointClassName) {
    addFixedPoint(structure, leaf.fxpDataTypeProperties());
  }
  if (const auto* date = dynamic_cast<const DateTimeLeafNode*>(&leaf)) {
    structure.set("TimeZone", utf8Array(date->attributes().timeZone));
    structure.set("Format", utf8Array(date->attributes().format));
  }
  return structure;
}

// The field of a child: its name, made unique among those taken before.
std::string fieldName(const Node& child, std::size_t index, std::set<std::string>& taken) {
  const vtu::ustring& text = child.signalName();
  const std::string name = vtu::to_string(std::u16string_view(text).substr(0, text.find(u'\0')));
  const std::string wanted = name.empty() ? "child" + std::to_string(index + 1) : name;
  std::string field = wanted;
  for (int n = 2; !taken.insert(field).second; ++n) field = wanted + "_" + std::to_string(n);
  return field;
}

// Visits the tree in the order in which positions and their columns were numbered.
class StructureBuilder {
 public:
  StructureBuilder(const std::vector<LayoutPosition>& layout, TableBuilder& builder, std::uint32_t first)
      : layout_(layout), builder_(builder), first_(first) {}

  vtu::qxArrayWrapper build(const Node& node, const vtu::ustring& name) {
    const bool startsPosition = position_ < layout_.size() && layout_[position_].node == &node;
    if (startsPosition) samples_ = builder_.samples(first_ + position_);
    const auto* bus = dynamic_cast<const BusNode*>(&node);
    vtu::qxArrayWrapper structure = bus != nullptr ? buildBus(*bus, name) : buildLeaf(name);
    if (startsPosition) {
      ++position_;
      column_ = 0;
      offset_ = 0;
    }
    return structure;
  }

 private:
  vtu::qxArrayWrapper buildBus(const BusNode& bus, const vtu::ustring& name) {
    vtu::qxStructWrapper structure({"Kind"});
    structure.set("Kind", charArray(u"bus"));
    std::set<std::string> taken{"Kind"};
    for (std::size_t i = 0; i < bus.children().size(); ++i) {
      const Node& child = *bus.children()[i];
      const std::string field = fieldName(child, i, taken);
      structure.set(field.c_str(), build(child, name + u'.' + vtu::to_ustring(field)));
    }
    return structure;
  }

  vtu::qxArrayWrapper buildLeaf(const vtu::ustring& name) {
    const LeafColumn& column = layout_[position_].columns[column_++];
    vtu::qxArrayWrapper structure = leafStructure(column, name, samples_, offset_);
    offset_ += column.bytesPerRow();
    return structure;
  }

  const std::vector<LayoutPosition>& layout_;
  TableBuilder& builder_;
  std::uint32_t first_;
  std::uint32_t position_ = 0;
  TableBuilder::Samples samples_{};  // of the position that is being visited
  std::size_t column_ = 0;
  std::size_t offset_ = 0;  // of the column in the position's part of a row
};

/// Visits the leaves in the same order.
class RunCollector {
 public:
  RunCollector(const std::vector<LayoutPosition>& layout, TableBuilder& builder, std::uint32_t first)
      : layout_(layout), builder_(builder), first_(first) {}

  void collect(const Node& node, const vtu::ustring& name, std::vector<LeafRun>& found) {
    const bool startsPosition = position_ < layout_.size() && layout_[position_].node == &node;
    if (startsPosition) runs_ = builder_.runs(first_ + position_);
    if (const auto* bus = dynamic_cast<const BusNode*>(&node)) {
      std::set<std::string> taken{"Kind"};
      for (std::size_t i = 0; i < bus->children().size(); ++i) {
        const Node& child = *bus->children()[i];
        collect(child, name + u'.' + vtu::to_ustring(fieldName(child, i, taken)), found);
      }
    } else {
      const LeafColumn& column = layout_[position_].columns[column_++];
      for (const TableBuilder::Samples& run : runs_) {
        found.push_back({first_ + position_, run.table, sampleColumn(column, name, run, offset_)});
      }
      offset_ += column.bytesPerRow();
    }
    if (!startsPosition) return;
    ++position_;
    column_ = 0;
    offset_ = 0;
  }

 private:
  const std::vector<LayoutPosition>& layout_;
  TableBuilder& builder_;
  std::uint32_t first_;
  std::uint32_t position_ = 0;
  std::vector<TableBuilder::Samples> runs_;  // of the position that is being visited
  std::size_t column_ = 0;
  std::size_t offset_ = 0;
};

}  // namespace

std::vector<LeafRun> leafRuns(const Node& root, const vtu::ustring& name, const std::vector<LayoutPosition>& layout,
                              TableBuilder& builder, std::uint32_t first) {
  std::vector<LeafRun> found;
  RunCollector(layout, builder, first).collect(root, name, found);
  return found;
}

vtu::qxArrayWrapper nodeStructure(const Node& root, const vtu::ustring& name, const std::vector<LayoutPosition>& layout,
                                  TableBuilder& builder, std::uint32_t first) {
  return StructureBuilder(layout, builder, first).build(root, name);
}

}  // namespace vtio::recorders
