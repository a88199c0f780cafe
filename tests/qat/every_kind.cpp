// Writes a Qat file with an array of every kind, for h5py_round_trip.py to read, and checks one.
#include <cstdio>
#include <string_view>
#include <utility>

#include "platform/qat.hpp"
#include "sample_tables.hpp"

using namespace vtio::tests;

namespace {

Array complexSingles() {
  const std::size_t dims[] = {2, 1};
  Array array(qxCreateNumericArray(2, dims, qxSINGLE, true));
  auto* values = static_cast<float*>(qxGetData(array.get()));
  for (int i = 0; i < 4; ++i) values[i] = static_cast<float>(i) + 0.5F;
  return array;
}

template <typename Value>
Array integers(qxClassID id, std::initializer_list<Value> list) {
  const std::size_t dims[] = {list.size(), 1};
  Array array(qxCreateNumericArray(2, dims, id, false));
  std::copy(list.begin(), list.end(), static_cast<Value*>(qxGetData(array.get())));
  return array;
}

Array logicals() {
  const std::size_t dims[] = {1, 3};
  Array array(qxCreateLogicalArray(2, dims));
  static_cast<bool*>(qxGetData(array.get()))[1] = true;
  return array;
}

Array cube() {
  std::vector<double> values(24);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i);
  return doubles({2, 3, 4}, values);
}

Array textCells() {
  std::vector<Array> values;
  for (const char* value : {"a", "b", "c", "d", "\xc3\xa9", "f"}) values.push_back(text(value));
  return cells({2, 3}, std::move(values));
}

Array mixedCells() {
  std::vector<Array> values;
  values.push_back(Array(qxCreateDoubleScalar(1.5)));
  values.push_back(text("two"));
  values.emplace_back();
  return cells({1, 3}, std::move(values));
}

Array structArray() {
  const std::size_t dims[] = {1, 2};
  const char* names[] = {"x"};
  Array array(qxCreateStructArray(2, dims, 1, names));
  qxSetField(array.get(), 0, "x", qxCreateDoubleScalar(10.0));
  qxSetField(array.get(), 1, "x", qxCreateDoubleScalar(11.0));
  return array;
}

Array shared(const Array& array) { return Array(qxShareArray(array.get())); }

Array dataset() {
  const Array time = doubles({3, 1}, {0.0, 0.1, 0.2});
  std::vector<Array> elements;
  for (int i = 0; i < 20; ++i) {
    std::vector<Array> path;
    path.push_back(text("top"));
    path.push_back(text(i % 2 == 1 ? "inner" : "outer"));
    const double first = i;
    elements.push_back(structure({{"Name", text(("signal" + std::to_string(i)).c_str())},
                                  {"BlockPath", cells({2, 1}, std::move(path))},
                                  {"PortIndex", integers<std::uint64_t>(qxUINT64, {static_cast<std::uint64_t>(i)})},
                                  {"Values", structure({{"Time", shared(time)},
                                                        {"Data", rowMajorDoubles({3, 2}, {first, 1, 2, 3, 4, 5})},
                                                        {"Unit", text(i == 17 ? "m/s" : "m")}})},
                                  {"Labels", i == 3 ? Array() : text(i == 4 ? "" : "x")},
                                  {"17", text("digits")}}));
  }
  return structure({{"Name", text("logsout")}, {"Elements", cells({1, 20}, std::move(elements))}});
}

vtu::SampleColumn column(const char16_t* name, qxClassID id, std::size_t offset, std::size_t rows) {
  vtu::SampleColumn made;
  made.name = name;
  made.unit = u"m/s\x00b2";
  made.id = id;
  made.offset = offset;
  made.count = rows;
  return made;
}

Array leaf(const std::shared_ptr<RowTable>& table, const vtu::SampleColumn& column) {
  return structure({{"Time", vtu::sampledTimes(table, column.first, column.count)},
                    {"Data", vtu::sampledArray(table, column)},
                    {"Unit", units(column.unit)}});
}

/// A row: speed (double), position (double 2x2), mode (text), speed again (complex single), on (logical).
Array sampled() {
  constexpr std::size_t kRows = 5;
  const auto table = std::make_shared<RowTable>(kRows, 8 + 32 + 12 + 8 + 1);
  for (std::size_t row = 0; row < kRows; ++row) {
    const double first = 10.0 * static_cast<double>(row);
    table->set(row, 0, first);
    for (std::size_t e = 0; e < 4; ++e) table->set(row, 8 + 8 * e, first + static_cast<double>(e));
    table->setText(row, 40, row < 2 ? u"off" : u"caf\x00e9");
    table->set(row, 52, static_cast<float>(row));
    table->set(row, 56, -1.0F);
    table->set(row, 60, row % 2 == 1);
  }
  std::vector<vtu::SampleColumn> columns = {column(u"speed", qxDOUBLE, 0, kRows),
                                            column(u"position", qxDOUBLE, 8, kRows), column(u"mode", qxCELL, 40, kRows),
                                            column(u"speed", qxSINGLE, 52, kRows), column(u"on", qxLOGICAL, 60, kRows)};
  columns[1].dims = {2, 2};
  columns[3].isComplex = true;
  columns[4].first = 2;
  columns[4].count = 3;
  std::vector<Array> elements;
  for (const auto& one : columns) {
    elements.push_back(structure({{"Name", units(one.name)}, {"Values", leaf(table, one)}}));
  }
  return structure({{"Elements", cells({1, columns.size()}, std::move(elements))}, {"First", leaf(table, columns[0])}});
}

std::vector<std::pair<const char*, Array>> variables() {
  std::vector<std::pair<const char*, Array>> list;
  const auto put = [&list](const char* name, Array array) { list.emplace_back(name, std::move(array)); };
  put("zz first", Array(qxCreateDoubleScalar(3.5)));
  put("column", doubles({3, 1}, {1, 2, 3}));
  put("row", doubles({1, 3}, {1, 2, 3}));
  put("matrix", doubles({2, 3}, {1, 4, 2, 5, 3, 6}));
  put("cube", cube());
  put("empty", doubles({0, 4}, {}));
  put("complex", complexSingles());
  put("int8", integers<std::int8_t>(qxINT8, {-128, 127}));
  put("uint8", integers<std::uint8_t>(qxUINT8, {0, 255}));
  put("int16", integers<std::int16_t>(qxINT16, {-32768, 32767}));
  put("uint16", integers<std::uint16_t>(qxUINT16, {0, 65535}));
  put("int32", integers<std::int32_t>(qxINT32, {INT32_MIN, INT32_MAX}));
  put("uint32", integers<std::uint32_t>(qxUINT32, {0, UINT32_MAX}));
  put("int64", integers<std::int64_t>(qxINT64, {INT64_MIN, INT64_MAX}));
  put("uint64", integers<std::uint64_t>(qxUINT64, {0, UINT64_MAX}));
  put("single", integers<float>(qxSINGLE, {0.25F}));
  put("logicals", logicals());
  put("flag", Array(qxCreateLogicalScalar(true)));
  put("text", text("caf\xc3\xa9 \xf0\x9f\x98\x80"));
  put("no text", text(""));
  put("surrogate", units(u"a\xd83d"));
  put("text cells", textCells());
  put("mixed cells", mixedCells());
  put("structure", structure({{"Unit", text("m/s\xc2\xb2")},
                              {"Gain", Array(qxCreateDoubleScalar(2.5))},
                              {"On", Array(qxCreateLogicalScalar(true))},
                              {"Data", doubles({2, 1}, {7, 8})}}));
  put("structures", structArray());
  put("logsout", dataset());
  put("sampled", sampled());
  put("", text("no name"));
  put("a/b", text("slash"));
  return list;
}

int write(const char* path) {
  vtu::QatFileWrapper file(path, "w7.3");
  for (const auto& [name, array] : variables()) {
    if (file.put(name, array.get()) != 0) return std::fprintf(stderr, "%s\n", qatLastError()), 1;
  }
  return file.close() == 0 ? 0 : (std::fprintf(stderr, "%s\n", qatLastError()), 1);
}

/// Says what a file that was made from ours by other programs holds otherwise.
int check(const char* path) {
  const vtu::QatFileWrapper file(path, "r");
  for (const auto& [name, array] : variables()) {
    const Array found = file.variable(name);
    const std::string what = found ? difference(array.get(), found.get(), name) : qatLastError();
    if (!what.empty()) return std::fprintf(stderr, "%s\n", what.c_str()), 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view mode = argc == 3 ? argv[1] : "";
  if (mode == "write") return write(argv[2]);
  if (mode == "check") return check(argv[2]);
  return std::fprintf(stderr, "usage: %s write|check FILE\n", argv[0]), 2;
}
