#include "results/file/signal_list.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "platform/diagnostics.hpp"
#include "platform/qat.hpp"
#include "results/file/record.hpp"
#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

std::vector<std::string> variableNames(QatFile* file, const std::string& path) {
  int count = 0;
  char** list = qatGetVariableNames(file, &count);
  if (list == nullptr) throw ResultsError::ofService(path, qatLastError());
  std::vector<std::string> names(list, list + std::max(count, 0));
  qxFree(list);
  return names;
}

EnumLabels labelsOf(const Record& leaf) {
  const std::vector<std::string> names = leaf.texts("EnumLabels");
  const std::vector<std::int64_t> values = leaf.integers("EnumValues");
  EnumLabels labels;
  for (std::size_t i = 0; i < std::min(names.size(), values.size()); ++i) labels.emplace_back(names[i], values[i]);
  return labels;
}

FixedPoint fixedPointOf(const Record& record) {
  return {record.number("Signed") != 0, static_cast<int>(record.number("WordLength")),
          static_cast<int>(record.number("FixedExponent")), record.number("SlopeAdjustmentFactor", 1),
          record.number("Bias")};
}

// An integer of more than 64 bits is stored as words along one more dimension; it is one number.
void joinWords(SignalInfo& signal) {
  if (!signal.fixedPoint || signal.type.id != ElementClass::uint64 || signal.dimensions.empty()) return;
  const std::size_t words = signal.dimensions.back();
  const int bits = signal.fixedPoint->wordLength;
  if (words < 2 || words > 255 || bits <= 64 || (static_cast<std::size_t>(bits) + 63) / 64 != words) return;
  signal.type.words = static_cast<std::uint8_t>(words);
  signal.type.isSigned = signal.fixedPoint->isSigned;
  signal.dimensions.pop_back();
}

/// First and last times of signals; a time that many have is read once.
class EndTimes {
 public:
  explicit EndTimes(QatSource& source) : source_(source) {}

  /// Sets the place of a signal, and its first and last time.
  void place(SignalInfo& signal, const SignalPlace& place) {
    signal.place = place;
    signal.first = signal.last = std::numeric_limits<double>::quiet_NaN();
    if (place.count == 0) return;
    signal.first = timeOf(place.table, place.begin);
    signal.last = timeOf(place.table, place.begin + place.count - 1);
  }

 private:
  double timeOf(std::uint32_t table, std::uint64_t row) {
    const auto [known, isNew] = times_.emplace(std::pair(table, row), 0.0);
    if (isNew) source_.readTimes(table, row, 1, &known->second);
    return known->second;
  }

  QatSource& source_;
  std::map<std::pair<std::uint32_t, std::uint64_t>, double> times_;
};

/// Collects the leaves of all datasets of a file.
class ListReader {
 public:
  ListReader(QatSource& source, const std::string& path) : source_(source), path_(path) {}

  std::vector<SignalInfo> read() {
    for (const std::string& variable : variableNames(source_.file(), path_)) readVariable(variable);
    readLateElements();
    addUnnamed();
    nameArrays();
    return std::move(signals_);
  }

 private:
  void readVariable(const std::string& variable) {
    if (!isDataset(variable)) return;
    const vtu::qxArrayWrapper dataset = partIfThere(variable, {"Dataset", "Name"});
    const vtu::qxArrayWrapper names = partIfThere(variable, {"Dataset", "Elements", "Name"});
    const std::size_t count = names ? qxGetNumberOfElements(names.get()) : 0;
    if (count == 0) return;
    vtu::qxStructWrapper columns({"Values"});
    for (const char* field : {"Name", "BlockPath", "PortIndex", "PortKind", "Decimation", "ForEach", "Values"}) {
      columns.set(field, partIfThere(variable, {"Dataset", "Elements", field}));
    }
    element_ = {};
    element_.dataset = textOf(dataset.get());
    for (std::size_t i = 0; i < count; ++i) readElement(Record(columns.get(), i, count));
  }

  void readLateElements() {
    for (const vtu::QatLateElement& late : vtu::qatLateElements(*source_.file())) {
      element_ = {};
      element_.dataset = late.dataset;
      readElement(Record(late.element.get()));
    }
  }

  // Whether a variable is a structure with a dataset that has elements; anything else holds no signals.
  bool isDataset(const std::string& variable) {
    try {
      const vtu::qxArrayWrapper storage = part(variable, {"DatasetStorageType"});
      return static_cast<bool>(storage);
    } catch (const std::exception&) {
      return false;
    }
  }

  vtu::qxArrayWrapper part(const std::string& variable, const std::vector<std::string>& place) {
    return vtu::qatGetPart(source_.file(), variable.c_str(), place, vtu::QatPartSamples::references);
  }

  // Empty where the file has no such field.
  vtu::qxArrayWrapper partIfThere(const std::string& variable, const std::vector<std::string>& place) {
    try {
      return part(variable, place);
    } catch (const vtsv::IException& error) {
      if (error.diagnostic().key != "NoSuchPart") throw;
      return vtu::qxArrayWrapper();
    }
  }

  void readElement(const Record& element) {
    element_.element = element.text("Name");
    element_.blockPath = element.texts("BlockPath");
    element_.port = static_cast<std::uint64_t>(element.number("PortIndex"));
    element_.portKind = element.text("PortKind");
    element_.decimation = static_cast<std::uint64_t>(element.number("Decimation"));
    std::vector<std::int64_t> iterations;
    for (const Record& forEach : element.records("ForEach")) iterations = forEach.integers("Iteration");
    const std::vector<Record> nodes = element.records("Values");
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const bool isIteration = i < iterations.size();
      readNode(nodes[i], nameOfElement() + (isIteration ? "[" + std::to_string(iterations[i]) + "]" : ""));
    }
  }

  std::string nameOfElement() const {
    if (!element_.element.empty()) return element_.element;
    std::string name;
    for (const std::string& level : element_.blockPath) name += (name.empty() ? "" : "|") + level;
    return name + ":" + std::to_string(element_.port);
  }

  void readNode(const Record& node, const std::string& name) {
    if (node.text("Kind") == "leaf") {
      readLeaf(node, name);
      return;
    }
    for (const std::string& field : node.fields()) {
      std::string childName = name;
      childName.append(".").append(field);
      for (const Record& child : node.records(field.c_str())) readNode(child, childName);
    }
  }

  void readLeaf(const Record& leaf, const std::string& name) {
    SignalInfo signal = element_;
    signal.interpolation = leaf.text("Interpolation");
    signal.sampleTime = leaf.text("SampleTime");
    if (const auto data = leaf.reference("Data"); data && leaf.reference("Time")) {
      addColumn(signal, data->table, data->column);
      named_.emplace(data->table, data->column);
    } else {
      addArray(signal, leaf, name);
    }
    if (leaf.has("EnumLabels")) {
      signal.labels = labelsOf(leaf);
      signal.typeName = leaf.text("DataType");
    }
    for (const Record& fixedPoint : leaf.records("FixedPoint")) signal.fixedPoint = fixedPointOf(fixedPoint);
    joinWords(signal);
    signals_.push_back(std::move(signal));
  }

  void addArray(SignalInfo& signal, const Record& leaf, const std::string& name) {
    signal.name = name;
    signal.unit = leaf.text("Unit");
    try {
      source_.arrays().add(signal, leaf.array("Time").get(), leaf.array("Data").get());
    } catch (const std::invalid_argument& error) {
      throw ResultsError(path_, "signal '" + name + "': " + error.what());
    }
    signal.typeName = nameOf(signal.type.id);
  }

  // Names of columns are unique already; among arrays the second of a name becomes NAME#2.
  void nameArrays() {
    std::set<std::string> taken;
    for (const SignalInfo& signal : signals_) {
      if (!source_.arrays().has(signal.place.table)) taken.insert(signal.name);
    }
    for (SignalInfo& signal : signals_) {
      if (!source_.arrays().has(signal.place.table)) continue;
      const std::string name = signal.name;
      for (int k = 2; !taken.insert(signal.name).second; ++k) signal.name = name + "#" + std::to_string(k);
    }
  }

  // What the table says about its column.
  void addColumn(SignalInfo& signal, std::uint32_t table, std::uint32_t number) {
    const std::vector<vtu::StoredColumn>& columns = source_.samples().columns(table);
    if (number >= columns.size()) {
      throw ResultsError(path_, "element '" + signal.element + "' refers to column " + std::to_string(number) +
                                    " of table " + std::to_string(table) + ", which has " +
                                    std::to_string(columns.size()));
    }
    const vtu::StoredColumn& column = columns[number];
    signal.name = column.name;
    signal.unit = column.unit;
    signal.type = elementTypeOf(column.elementClass);
    signal.typeName = nameOf(signal.type.id);
    signal.dimensions = column.dims;
    times_.place(signal, {table, number, column.first, column.begin, column.count});
  }

  // A column without a name holds nothing: its samples are in another table.
  bool isUnused(std::uint32_t table, std::uint32_t column) const {
    return named_.contains({table, column}) || source_.samples().columns(table)[column].name.empty() ||
           source_.samples().isElsewhere(table, column);
  }

  void addUnnamed() {
    element_ = {};
    for (const std::uint32_t table : source_.samples().tables()) {
      const std::size_t count = source_.samples().columns(table).size();
      for (std::uint32_t column = 0; column < count; ++column) {
        if (isUnused(table, column)) continue;
        SignalInfo signal;
        addColumn(signal, table, column);
        signals_.push_back(std::move(signal));
      }
    }
  }

  QatSource& source_;
  const std::string& path_;
  SignalInfo element_;  // what all leaves of the element have in common
  std::set<std::pair<std::uint32_t, std::uint32_t>> named_;
  EndTimes times_{source_};
  std::vector<SignalInfo> signals_;
};

}  // namespace

std::vector<SignalInfo> readSignalList(QatSource& source, const std::string& path) {
  return ListReader(source, path).read();
}

Refresh readLengthsAgain(QatSource& source, std::vector<SignalInfo>& signals) {
  Refresh found;
  EndTimes times(source);
  for (SignalInfo& signal : signals) {
    if (source.arrays().has(signal.place.table)) continue;
    const vtu::StoredColumn& column = source.samples().columns(signal.place.table).at(signal.place.column);
    const SignalPlace before = signal.place;
    const double lastBefore = signal.last;
    times.place(signal, {before.table, before.column, column.first, column.begin, column.count});
    if (column.count == before.count && (column.count == 0 || signal.last == lastBefore)) continue;
    found.hasChanged = true;
    if (column.count < before.count || signal.last < lastBefore) found.isSteppedBack = true;
  }
  return found;
}

}  // namespace vtio::results
