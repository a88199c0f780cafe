#include "results.hpp"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "platform/qat.hpp"

namespace spacecraft {
namespace {

const qxArray* field(const qxArray* structure, const char* name) {
  const qxArray* value = qxGetField(structure, 0, name);
  if (value == nullptr) {
    throw std::runtime_error(std::string("the field '") + name + "' is missing");
  }
  return value;
}

std::string text(const qxArray* value) {
  const std::unique_ptr<char, void (*)(void*)> utf8(qxArrayToString(value), qxFree);
  return utf8.get();
}

std::string blockPathOf(const qxArray* element) {
  std::string path;
  const qxArray* cells = field(element, "BlockPath");
  for (std::size_t level = 0; level < qxGetNumberOfElements(cells); ++level) {
    path += (level == 0 ? "" : " > ") + text(qxGetCell(cells, level));
  }
  return path + ":" + std::to_string(static_cast<unsigned long>(qxGetScalar(field(element, "PortIndex"))));
}

std::string typeOf(const qxArray* node) {
  std::string type = text(field(node, "DataType"));
  const qxArray* data = field(node, "Data");
  if (qxGetClassID(data) != qxCELL && qxIsComplex(data)) {
    type += " complex";
  }
  if (qxGetField(node, 0, "EnumLabels") != nullptr) {
    type += " enum";
  }
  if (const qxArray* scaling = qxGetField(node, 0, "FixedPoint")) {
    const bool isSigned = qxGetScalar(field(scaling, "Signed")) != 0.0;
    type += (isSigned ? " s" : " u") + std::to_string(static_cast<int>(qxGetScalar(field(scaling, "WordLength"))));
  }
  return type;
}

double slopeOf(const qxArray* node) {
  const qxArray* scaling = qxGetField(node, 0, "FixedPoint");
  return scaling == nullptr ? 1.0
                            : std::ldexp(qxGetScalar(field(scaling, "SlopeAdjustmentFactor")),
                                         static_cast<int>(qxGetScalar(field(scaling, "FixedExponent"))));
}

/// Dimensions after the first, without trailing ones of 1.
std::vector<std::size_t> sampleDimensions(const qxArray* data) {
  const std::size_t* extents = qxGetDimensions(data);
  std::vector<std::size_t> dimensions(extents + 1, extents + qxGetNumberOfDimensions(data));
  if (dimensions == std::vector<std::size_t>{1}) {
    dimensions.clear();
  }
  return dimensions;
}

/// Appends the leaves of a node, bus by bus.
void collectLeaves(const qxArray* element, const qxArray* node, const std::string& name, std::vector<Leaf>& leaves) {
  if (qxGetClassID(node) == qxCELL) {  // the iterations of a for-each
    for (std::size_t i = 0; i < qxGetNumberOfElements(node); ++i) {
      collectLeaves(element, qxGetCell(node, i), name + "[" + std::to_string(i) + "]", leaves);
    }
    return;
  }
  const qxArray* kind = field(node, "Kind");
  if (qxGetClassID(kind) == qxCHAR && text(kind) == "leaf") {
    leaves.emplace_back(element, node, name);
    return;
  }
  for (int i = 0; i < qxGetNumberOfFields(node); ++i) {
    const char* child = qxGetFieldName(node, i);
    const qxArray* value = qxGetField(node, 0, child);
    if (value != nullptr && qxGetClassID(value) == qxSTRUCT) {
      collectLeaves(element, value, name + "." + child, leaves);
    }
  }
}

void collectElements(const qxArray* dataset, std::vector<Leaf>& leaves) {
  const qxArray* elements = field(field(dataset, "Dataset"), "Elements");
  for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) {
    const qxArray* element = qxGetCell(elements, i);
    if (element != nullptr) {
      collectLeaves(element, field(element, "Values"), text(field(element, "Name")), leaves);
    }
  }
}

}  // namespace

Leaf::Leaf(const qxArray* element, const qxArray* node, std::string name)
    : name_(std::move(name)),
      blockPath_(blockPathOf(element)),
      type_(typeOf(node)),
      unit_(text(field(node, "Unit"))),
      dimensions_(sampleDimensions(field(node, "Data"))),
      slope_(slopeOf(node)),
      time_(field(node, "Time")),
      data_(field(node, "Data")) {
  if (qxGetClassID(time_) != qxDOUBLE || qxGetDimensions(data_)[0] != qxGetNumberOfElements(time_)) {
    throw std::runtime_error("signal '" + name_ + "': times and values do not belong together");
  }
}

std::size_t Leaf::width() const {
  return std::accumulate(dimensions_.begin(), dimensions_.end(), std::size_t{1}, std::multiplies<>());
}

double Leaf::rate() const {
  const std::size_t n = samples();
  const double span = n < 2 ? 0.0 : time(n - 1) - time(0);
  return span > 0.0 ? static_cast<double>(n - 1) / span : 0.0;
}

Results Results::open(const std::string& fileName) {
  const vtu::QatFileWrapper file(fileName, "r");
  if (!file) {
    throw std::runtime_error("cannot open '" + fileName + "': " + qatLastError());
  }
  Results results;
  for (const char* variable : {"DATASET_SIGNAL_LOGGING", "DATASET_OUTPORT_LOGGING"}) {
    vtu::qxArrayWrapper dataset = file.variable(variable);
    if (!dataset) {
      throw std::runtime_error("cannot read '" + std::string(variable) + "' of '" + fileName + "': " + qatLastError());
    }
    try {
      collectElements(dataset.get(), results.leaves_);
    } catch (const std::exception& error) {
      throw std::runtime_error("'" + std::string(variable) + "' of '" + fileName + "': " + error.what());
    }
    results.datasets_.push_back(std::move(dataset));
  }
  return results;
}

const Leaf* Results::find(std::string_view name) const {
  const auto found =
      std::find_if(leaves_.begin(), leaves_.end(), [&](const Leaf& leaf) { return leaf.name() == name; });
  return found == leaves_.end() ? nullptr : &*found;
}

const Leaf& Results::leaf(std::string_view name) const {
  if (const Leaf* found = find(name)) {
    return *found;
  }
  throw std::runtime_error("the signal '" + std::string(name) + "' is not logged");
}

}  // namespace spacecraft
