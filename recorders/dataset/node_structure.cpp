#include "recorders/dataset/node_structure.hpp"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "platform/text.hpp"
#include "recorders/dataset/column_array.hpp"
#include "recorders/dataset/dataset_element.hpp"
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

vtu::qxArrayWrapper leafStructure(const SampleStream& stream, std::size_t columnIndex) {
  const LeafColumn& column = stream.position().columns[columnIndex];
  const LeafNode& leaf = *column.leaf;
  vtu::qxStructWrapper structure(
      {"Kind", "Time", "Data", "DataType", "Unit", "Interpolation", "StartDate", "SampleTime"});
  structure.set("Kind", charArray(u"leaf"));
  structure.set("Time", stream.timeArray());
  structure.set("Data", columnArray(stream, columnIndex));
  structure.set("DataType", utf8Array(leaf.datatypeClassName()));
  structure.set("Unit", charArray(leaf.unit().getUnits()));
  structure.set("Interpolation", utf8Array(leaf.interpolationMethod()));
  structure.set("StartDate", charArray(leaf.startDate()));
  structure.set("SampleTime",
                charArray(column.visualization != nullptr ? column.visualization->sampleTime() : vtu::ustring()));
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

// Walks the tree in the order in which positions and their columns were numbered.
class StructureBuilder {
 public:
  explicit StructureBuilder(const std::vector<SampleStream>& streams) : streams_(streams) {}

  vtu::qxArrayWrapper build(const Node& node) {
    const bool startsPosition = !insidePosition_ && isOnePosition(node);
    insidePosition_ = insidePosition_ || startsPosition;
    const auto* bus = dynamic_cast<const BusNode*>(&node);
    vtu::qxArrayWrapper structure = bus != nullptr ? buildBus(*bus) : leafStructure(streams_[position_], column_++);
    if (startsPosition) {
      insidePosition_ = false;
      ++position_;
      column_ = 0;
    }
    return structure;
  }

 private:
  vtu::qxArrayWrapper buildBus(const BusNode& bus) {
    vtu::qxStructWrapper structure({"Kind"});
    structure.set("Kind", charArray(u"bus"));
    std::set<std::string> taken{"Kind"};
    for (std::size_t i = 0; i < bus.children().size(); ++i) {
      const Node& child = *bus.children()[i];
      structure.set(fieldName(child, i, taken).c_str(), build(child));
    }
    return structure;
  }

  const std::vector<SampleStream>& streams_;
  std::size_t position_ = 0;
  std::size_t column_ = 0;
  bool insidePosition_ = false;
};

}  // namespace

vtu::qxArrayWrapper nodeStructure(const Node& root, const std::vector<SampleStream>& streams) {
  return StructureBuilder(streams).build(root);
}

}  // namespace vtio::recorders
