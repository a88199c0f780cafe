#include "example_file.hpp"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "platform/qat_stream.hpp"
#include "platform/sample_table.hpp"
#include "platform/text.hpp"

namespace vtio::tests {
namespace {

/// Rows in memory.
class RowTable final : public vtu::SampleTable {
 public:
  RowTable(std::vector<double> times, std::size_t rowBytes)
      : times_(std::move(times)), rowBytes_(rowBytes), rows_(times_.size() * rowBytes) {}

  template <class T>
  void set(std::size_t row, std::size_t offset, T value) {
    std::memcpy(rows_.data() + row * rowBytes_ + offset, &value, sizeof value);
  }

  void setText(std::size_t row, std::size_t offset, const std::string& text) {
    vtu::TextCell{texts_.size(), static_cast<std::uint32_t>(text.size())}.toRow(rows_.data() + row * rowBytes_ +
                                                                                offset);
    texts_ += text;
  }

  [[nodiscard]] std::uint64_t rows() const override { return times_.size(); }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override {
    std::memcpy(out, times_.data() + first, count * sizeof(double));
  }
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override {
    for (std::uint64_t i = 0; i < count; ++i) {
      std::memcpy(out + i * stride, rows_.data() + (first + i) * rowBytes_ + offset, bytes);
    }
  }
  void readText(vtu::TextCell cell, std::string& utf8) const override { utf8.assign(texts_, cell.start, cell.bytes); }

 private:
  std::vector<double> times_;
  std::size_t rowBytes_;
  std::vector<std::byte> rows_;
  std::string texts_;
};

using Table = std::shared_ptr<const vtu::SampleTable>;

vtu::qxArrayWrapper text(const std::string& utf8) { return vtu::qxArrayWrapper(qxCreateString(utf8.c_str())); }
vtu::qxArrayWrapper number(double value) { return vtu::qxArrayWrapper(qxCreateDoubleScalar(value)); }

/// The structure of a leaf.
vtu::qxStructWrapper leaf(const Table& table, const std::string& name, vtu::SampleColumn column,
                          const std::string& interpolation, const std::string& type) {
  column.name = vtu::to_ustring(name);
  column.count = table->rows();
  vtu::qxStructWrapper structure({"Kind"});
  structure.set("Kind", text("leaf"));
  structure.set("Time", vtu::sampledTimes(table, 0, table->rows()));
  structure.set("Data", vtu::sampledArray(table, column));
  structure.set("DataType", text(type));
  structure.set("Unit", text(vtu::to_string(column.unit)));
  structure.set("Interpolation", text(interpolation));
  structure.set("StartDate", text(""));
  structure.set("SampleTime", text("0.5"));
  return structure;
}

vtu::qxStructWrapper element(const std::string& name, const std::string& block, vtu::qxArrayWrapper values) {
  vtu::qxCellArrayWrapper path(2, 1);
  path.set(0, text("top/model"));
  path.set(1, text(block));
  vtu::qxStructWrapper structure({"Name"});
  structure.set("Name", text(name));
  structure.set("PropagatedName", text(""));
  structure.set("BlockPath", std::move(path));
  structure.set("SubPath", text(""));
  structure.set("PortIndex", number(1));
  structure.set("PortKind", text(""));
  structure.set("InportOrder", number(0));
  structure.set("Decimation", number(2));
  structure.set("MaxPoints", number(0));
  structure.set("Values", std::move(values));
  return structure;
}

vtu::qxStructWrapper loggedSignals(std::vector<vtu::qxStructWrapper> elements) {
  vtu::qxCellArrayWrapper list(elements.size(), 1);
  for (std::size_t i = 0; i < elements.size(); ++i) list.set(i, std::move(elements[i]));
  vtu::qxStructWrapper dataset({"Name"});
  dataset.set("Name", text("logsout"));
  dataset.set("Elements", std::move(list));
  vtu::qxStructWrapper variable({"DatasetStorageType"});
  variable.set("DatasetStorageType", text("DATASET_SIGNAL_LOGGING"));
  variable.set("Dataset", std::move(dataset));
  return variable;
}

void save(const std::string& path, std::vector<vtu::qxStructWrapper> elements) {
  const vtu::qxStructWrapper variable = loggedSignals(std::move(elements));
  vtu::QatFileWrapper file(path, "w7.3");
  if (!file || file.put("DATASET_SIGNAL_LOGGING", variable.get()) != 0 || file.close() != 0) {
    throw std::runtime_error(qatLastError());
  }
}

// Places in a row of the first table.
enum Offset : std::size_t {
  kSpeed = 0,
  kOn = 8,
  kName = 16,
  kMode = 32,
  kCharge = 36,
  kMatrix = 40,
  kWave = 72,
  kBytes = 80
};

Table firstTable(double offset) {
  std::vector<double> times;
  for (int i = 0; i < 10; ++i) times.push_back(0.5 * i);
  auto table = std::make_shared<RowTable>(times, kBytes);
  for (std::size_t row = 0; row < times.size(); ++row) {
    const double time = times[row];
    table->set(row, kSpeed, time * time + (time >= 2 ? offset : 0));
    table->set(row, kOn, static_cast<std::uint8_t>(row % 2));
    table->setText(row, kName, row % 2 == 0 ? "even, \"so\"" : "");
    table->set(row, kMode, static_cast<std::int32_t>(row % 2));
    table->set(row, kCharge, static_cast<std::uint8_t>(row));
    for (std::size_t i = 0; i < 4; ++i) table->set(row, kMatrix + 8 * i, time * static_cast<double>(i + 1));
    table->set(row, kWave, static_cast<float>(row));
    table->set(row, kWave + 4, -0.5F);
  }
  return table;
}

vtu::qxStructWrapper wheels(const Table& table) {
  vtu::qxStructWrapper bus({"Kind"});
  bus.set("Kind", text("bus"));
  bus.set("speed", leaf(table, "wheels.speed", {{}, u"rad/s", {}, qxDOUBLE, false, kSpeed, 0, 0}, "linear", "double"));
  bus.set("on", leaf(table, "wheels.on", {{}, u"", {}, qxLOGICAL, false, kOn, 0, 0}, "zoh", "boolean"));
  bus.set("name", leaf(table, "wheels.name", {{}, u"", {}, qxCELL, false, kName, 0, 0}, "zoh", "string"));
  return bus;
}

vtu::qxStructWrapper mode(const Table& table) {
  auto structure = leaf(table, "mode", {{}, u"", {}, qxINT32, false, kMode, 0, 0}, "linear", "Mode");
  vtu::qxCellArrayWrapper labels(2, 1);
  labels.set(0, text("OFF"));
  labels.set(1, text("ON"));
  structure.set("EnumLabels", std::move(labels));
  const std::size_t count = 2;
  vtu::qxArrayWrapper values(qxCreateNumericArray(1, &count, qxINT32, false));
  static_cast<std::int32_t*>(qxGetData(values.get()))[1] = 1;
  structure.set("EnumValues", std::move(values));
  return structure;
}

vtu::qxStructWrapper charge(const Table& table) {
  auto structure = leaf(table, "charge", {{}, u"W*h", {}, qxUINT8, false, kCharge, 0, 0}, "linear", "fixed-point");
  vtu::qxStructWrapper scaling({"Signed"});
  scaling.set("Signed", vtu::qxArrayWrapper(qxCreateLogicalScalar(false)));
  scaling.set("WordLength", number(8));
  scaling.set("FixedExponent", number(-1));
  scaling.set("SlopeAdjustmentFactor", number(1));
  scaling.set("Bias", number(10));
  structure.set("FixedPoint", std::move(scaling));
  return structure;
}

}  // namespace

void writeExampleFile(const std::string& path, double offset) {
  const Table first = firstTable(offset);
  auto second = std::make_shared<RowTable>(std::vector<double>{0.25, 1.25, 2.25}, 8);
  for (std::size_t row = 0; row < 3; ++row)
    second->set(row, 0, (std::int64_t{1} << 60U) + static_cast<std::int64_t>(row));
  std::vector<vtu::qxStructWrapper> elements;
  elements.push_back(element("wheels", "wheels", wheels(first)));
  elements.push_back(element("mode", "mode", mode(first)));
  elements.push_back(element("charge", "battery", charge(first)));
  elements.push_back(element(
      "matrix", "m", leaf(first, "matrix", {{}, u"", {2, 2}, qxDOUBLE, false, kMatrix, 0, 0}, "linear", "double")));
  elements.push_back(
      element("wave", "w", leaf(first, "wave", {{}, u"V", {}, qxSINGLE, true, kWave, 0, 0}, "linear", "single")));
  elements.push_back(
      element("late", "l", leaf(second, "late", {{}, u"", {}, qxINT64, false, 0, 0, 0}, "zoh", "int64")));
  save(path, std::move(elements));
}

namespace {

const vtu::SampleColumn kHeight{u"height", u"m", {}, qxDOUBLE, false, 0, 0, 0};

std::shared_ptr<const RowTable> heights(std::size_t first, std::size_t count, int stepsBack) {
  std::vector<double> times;
  for (std::size_t k = first; k < first + count; ++k) times.push_back(static_cast<double>(k) / 2);
  auto table = std::make_shared<RowTable>(times, 8);
  for (std::size_t i = 0; i < count; ++i) table->set(i, 0, 10.0 - 2.0 * times[i] + 100.0 * stepsBack);
  return table;
}

void layOutHeight(vtu::QatStream& stream, std::size_t rows) {
  const auto table = heights(0, rows, 0);
  std::vector<vtu::qxStructWrapper> elements;
  elements.push_back(element("height", "ball", leaf(table, "height", kHeight, "linear", "double")));
  const vtu::qxStructWrapper variable = loggedSignals(std::move(elements));
  const vtu::StreamVariable variables[] = {{"DATASET_SIGNAL_LOGGING", variable.get()}};
  vtu::SampleColumn column = kHeight;
  column.count = rows;
  const vtu::StreamTable tables[] = {{table, {column}}};
  stream.layOut(variables, tables);
  stream.flush();
}

}  // namespace

void writeUnfinishedFile(const std::string& path) {
  const std::string live = path + ".live";
  {
    vtu::QatStream stream(live);
    layOutHeight(stream, 3);
    std::filesystem::copy_file(live, path);
  }
  std::filesystem::remove(live);
}

void streamHeight(const std::string& path, const std::function<bool(std::string&)>& next,
                  const std::function<void()>& done) {
  vtu::QatStream stream(path);
  layOutHeight(stream, 2);
  std::size_t rows = 2;
  int stepsBack = 0;
  vtu::QatStream::Mark mark = stream.mark();
  done();
  for (std::string command; next(command); done()) {
    if (command.starts_with("append ")) {
      const std::size_t count = std::stoul(command.substr(7));
      stream.append(0, *heights(rows, count, stepsBack), 0, count);
      stream.flush();
      rows += count;
    } else if (command == "mark") {
      mark = stream.mark();
    } else if (command == "back") {
      stream.stepBack(mark);
      rows = mark.rows[0];
      ++stepsBack;
    } else if (command == "close") {
      stream.close();
    } else {
      throw std::runtime_error("no command " + command);
    }
  }
}

void writeExampleArrays(const std::string& path) {
  const std::string tables = path + ".tables";
  writeExampleFile(tables);
  writeArraysOf(tables, path);
  std::filesystem::remove(tables);
}

void writeArraysOf(const std::string& tables, const std::string& path) {
  vtu::QatFileWrapper from(tables, "r");
  const vtu::qxArrayWrapper variable(qatGetVariable(from.get(), "DATASET_SIGNAL_LOGGING"));
  vtu::QatFileWrapper file(path, "w7.3");
  if (!file || file.put("DATASET_SIGNAL_LOGGING", variable.get()) != 0 || file.close() != 0) {
    throw std::runtime_error(qatLastError());
  }
}

void writeOddSignals(const std::string& path) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  std::vector<vtu::qxStructWrapper> elements;
  const auto add = [&](const std::string& name, std::size_t count, double (*valueOf)(std::size_t)) {
    std::vector<double> times;
    for (std::size_t i = 0; i < count; ++i) times.push_back(static_cast<double>(i));
    auto table = std::make_shared<RowTable>(times, 8);
    for (std::size_t row = 0; row < count; ++row) table->set(row, 0, valueOf(row));
    elements.push_back(
        element(name, name, leaf(table, name, {{}, u"m", {}, qxDOUBLE, false, 0, 0, 0}, "linear", "double")));
  };
  add("long" + std::string(996, 'x'), 10, [](std::size_t i) { return static_cast<double>(i); });
  add("nothing", 0, [](std::size_t) { return 0.0; });
  add("once", 1, [](std::size_t) { return 42.0; });
  add("nan", 10, [](std::size_t) { return kNan; });
  add("gaps", 10, [](std::size_t i) { return i % 3 == 2 ? kNan : static_cast<double>(i); });
  add("infinite", 10, [](std::size_t i) { return i == 5 ? std::numeric_limits<double>::infinity() : 1.0; });
  save(path, std::move(elements));
}

namespace {

/// Sine waves, computed when they are read: of 1000 signals with a million samples each nothing is in memory.
class WaveTable final : public vtu::SampleTable {
 public:
  WaveTable(std::size_t samples, double offset) : samples_(samples), offset_(offset) {}

  [[nodiscard]] std::uint64_t rows() const override { return samples_; }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override {
    for (std::uint64_t i = 0; i < count; ++i) out[i] = timeOf(first + i);
  }
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override {
    for (std::uint64_t i = 0; i < count; ++i) {
      for (std::size_t at = 0; at < bytes; at += sizeof(double)) {
        const std::size_t signal = (offset + at) / sizeof(double);
        const double value = std::sin(timeOf(first + i) + static_cast<double>(signal)) + offset_;
        std::memcpy(out + i * stride + at, &value, sizeof value);
      }
    }
  }

 private:
  static double timeOf(std::uint64_t row) { return static_cast<double>(row) * 0.001; }

  std::size_t samples_;
  double offset_;
};

}  // namespace

void writeManySignals(const std::string& path, std::size_t signals, std::size_t samples, double offset) {
  const auto table = std::make_shared<WaveTable>(samples, offset);
  std::vector<vtu::qxStructWrapper> elements;
  for (std::size_t i = 0; i < signals; ++i) {
    const std::string name = "s" + std::to_string(i);
    elements.push_back(
        element(name, name, leaf(table, name, {{}, u"m", {}, qxDOUBLE, false, 8 * i, 0, 0}, "linear", "double")));
  }
  save(path, std::move(elements));
}

namespace {

vtu::qxStructWrapper wideLeaf(const Table& table, const std::string& name, vtu::SampleColumn column, int bits,
                              bool isSigned) {
  auto structure = leaf(table, name, std::move(column), "linear", "fixed-point");
  vtu::qxStructWrapper scaling({"Signed"});
  scaling.set("Signed", vtu::qxArrayWrapper(qxCreateLogicalScalar(isSigned)));
  scaling.set("WordLength", number(bits));
  scaling.set("FixedExponent", number(-1));
  scaling.set("SlopeAdjustmentFactor", number(1));
  scaling.set("Bias", number(1));
  structure.set("FixedPoint", std::move(scaling));
  return structure;
}

}  // namespace

void writeWideFile(const std::string& path) {
  constexpr std::uint64_t kOnes = ~std::uint64_t{0};
  const std::uint64_t words[3][10] = {
      {2, 64, 1, 0, 0, 2, 7, 9, 0, 0},
      {kOnes - 5, kOnes, 3, 0, 0, 4, kOnes, kOnes, kOnes, kOnes},
      {5, 0, kOnes, kOnes, 0, 6, 1, 0, 0, 1},
  };
  auto table = std::make_shared<RowTable>(std::vector<double>{0, 1, 2}, sizeof words[0]);
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t word = 0; word < 10; ++word) table->set(row, 8 * word, words[row][word]);
  }
  std::vector<vtu::qxStructWrapper> elements;
  elements.push_back(
      element("wide", "w", wideLeaf(table, "wide", {{}, u"V", {2}, qxUINT64, false, 0, 0, 0}, 100, true)));
  elements.push_back(
      element("pair", "p", wideLeaf(table, "pair", {{}, u"V", {2, 2}, qxUINT64, false, 16, 0, 0}, 128, false)));
  elements.push_back(
      element("wave", "c", wideLeaf(table, "wave", {{}, u"V", {2}, qxUINT64, true, 48, 0, 0}, 128, true)));
  save(path, std::move(elements));
}

void writeSweep(const std::string& path, double offset) {
  std::filesystem::create_directory(path + ".d");
  vtu::qxCellArrayWrapper runs(4, 1);
  for (std::size_t run = 0; run < 4; ++run) {
    const bool failed = run == 3;
    const auto k = static_cast<double>(run);
    vtu::qxStructWrapper record({"stiffness"});
    record.set("stiffness", number(1 + k));
    record.set("material", text(run % 2 == 0 ? "oak" : "fir"));
    record.set("status", text(failed ? "failed" : "done"));
    record.set("message", text(failed ? "it broke, at once" : ""));
    record.set("seconds", number(0.5));
    record.set("lastTime", number(failed ? std::nan("") : 0.009));
    record.set("s0", number(failed ? std::nan("") : 10 + k));
    runs.set(run, std::move(record));
    const std::string file = path + ".d/00000" + std::to_string(run) + ".qat";
    if (!failed) writeManySignals(file, 2, 10, 10 + k + (run == 1 ? offset : 0));
  }
  vtu::QatFileWrapper file(path, "w");
  if (!file || file.put("runs", runs.get()) != 0 || file.close() != 0) throw std::runtime_error(qatLastError());
}

}  // namespace vtio::tests
