// Writes a Qat file with an array of every kind, for h5py_round_trip.py to read.
#include <cstdio>

#include "arrays.hpp"
#include "platform/qat.hpp"

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

Array dataset() {
  const Array time = doubles({3, 1}, {0.0, 0.1, 0.2});
  std::vector<Array> elements;
  for (int i = 0; i < 20; ++i) {
    std::vector<Array> path;
    path.push_back(text("top"));
    if (i % 2 == 1) path.push_back(text("inner"));
    const std::size_t levels = path.size();
    const double first = i;
    elements.push_back(structure({{"Name", text(("signal" + std::to_string(i)).c_str())},
                                  {"BlockPath", cells({levels, 1}, std::move(path))},
                                  {"PortIndex", integers<std::uint64_t>(qxUINT64, {static_cast<std::uint64_t>(i)})},
                                  {"Values", structure({{"Time", Array(qxShareArray(time.get()))},
                                                        {"Data", rowMajorDoubles({3, 2}, {first, 1, 2, 3, 4, 5})},
                                                        {"Unit", text(i == 17 ? "m/s" : "m")}})}}));
  }
  return structure({{"Name", text("logsout")}, {"Elements", cells({20, 1}, std::move(elements))}});
}

/// More rows than one node of an index holds.
Array manyRows() {
  const Array time = doubles({3, 1}, {0.0, 0.1, 0.2});
  std::vector<Array> rows;
  for (int i = 0; i < 3000; ++i) {
    Array info = structure({{"Unit", text("m/s\xc2\xb2")}, {"Gain", Array(qxCreateDoubleScalar(0.5 * i))}});
    if (i == 8) info = structure({{"Label", text("")}, {"Data", doubles({2, 1}, {7, 8})}});
    rows.push_back(structure({{"Number", doubles({1, 1}, {1.0 * i})},
                              {"Info", std::move(info)},
                              {"Time", Array(qxShareArray(time.get()))},
                              {"Data", doubles({3, 1}, {1.0 * i, 1, 2})}}));
  }
  return cells({3000, 1}, std::move(rows));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: %s FILE\n", argv[0]), 2;
  QatFile* file = qatOpen(argv[1], "w7.3");
  const auto put = [file](const char* name, const Array& array) {
    if (qatPutVariable(file, name, array.get()) == 0) return;
    std::fprintf(stderr, "%s\n", qatLastError());
    std::exit(1);
  };
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
  put("many rows", manyRows());
  put("", text("no name"));
  put("a/b", text("slash"));
  if (qatClose(file) != 0) return std::fprintf(stderr, "%s\n", qatLastError()), 1;
  return 0;
}
