#include "results/export/csv.hpp"

#include <vector>

#include "results/values/number_text.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

void appendCell(std::string& out, const ShownValue& value) {
  if (const auto* number = std::get_if<double>(&value)) {
    appendNumber(out, *number);
  } else if (const auto* text = std::get_if<std::string_view>(&value)) {
    appendCsvField(out, *text);
  } else {
    appendPlain(out, value);
  }
}

void writeHeader(const RowSource& rows, const std::string& axis, std::string& out) {
  appendCsvField(out, axis);
  for (const SignalInfo* signal : rows.signals()) {
    for (const std::string& name : cellNames(*signal)) {
      out += ',';
      appendCsvField(out, name);
    }
  }
  out += "\r\n";
}

}  // namespace

void appendCsvField(std::string& out, std::string_view text) {
  if (!text.empty() && text.find_first_of("\",\r\n") == std::string_view::npos) {
    out += text;
    return;
  }
  out += '"';
  for (const char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
}

void writeCsv(RowSource& rows, bool raw, TextOutput& out, const Job& job, const std::string& axis) {
  std::vector<ShownValues> values;
  std::vector<std::size_t> cells;
  for (const SignalInfo* signal : rows.signals()) {
    values.emplace_back(*signal, raw);
    cells.push_back(signal->width() * signal->type.parts());
  }
  std::string& buffer = out.buffer();
  writeHeader(rows, axis, buffer);
  job.step(0);
  while (rows.next()) {
    appendNumber(buffer, rows.time());
    for (std::size_t i = 0; i < values.size(); ++i) {
      const SampleView sample = rows.sample(i);
      if (!sample.exists()) {
        buffer.append(cells[i], ',');
        continue;
      }
      for (std::size_t cell = 0; cell < cells[i]; ++cell) {
        buffer += ',';
        appendCell(buffer, values[i](sample, cell));
      }
    }
    buffer += "\r\n";
    if (out.flushIfLarge()) job.step(rows.done());
  }
}

}  // namespace vtio::results
