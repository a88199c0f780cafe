#include "runner/input/csv.hpp"

#include <csv.h>

#include <array>
#include <exception>
#include <fstream>

#include "runner/error.hpp"

namespace vtio::runner {
namespace {

struct Reading {
  const CsvRow& take;
  std::vector<std::string> cells;
  std::size_t row = 0;
  std::exception_ptr failure;  // of take; the parser is C
};

void addCell(void* data, size_t bytes, void* context) {
  auto& reading = *static_cast<Reading*>(context);
  reading.cells.emplace_back(static_cast<const char*>(data), bytes);
}

void endRow(int /*terminator*/, void* context) {
  auto& reading = *static_cast<Reading*>(context);
  ++reading.row;
  try {
    if (!reading.failure) reading.take(reading.cells, reading.row);
  } catch (...) {
    reading.failure = std::current_exception();
  }
  reading.cells.clear();
}

class Parser {
 public:
  Parser() {
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0) throw RunnerError("cannot make a CSV parser");
  }
  ~Parser() { csv_free(&parser_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  void parse(const char* data, std::size_t bytes, Reading& reading) {
    if (csv_parse(&parser_, data, bytes, addCell, endRow, &reading) != bytes) fail(reading);
    if (reading.failure) std::rethrow_exception(reading.failure);
  }

  void finish(Reading& reading) {
    if (csv_fini(&parser_, addCell, endRow, &reading) != 0) fail(reading);
    if (reading.failure) std::rethrow_exception(reading.failure);
  }

 private:
  [[noreturn]] void fail(const Reading& reading) {
    throw RunnerError(csv_strerror(csv_error(&parser_)), "row " + std::to_string(reading.row + 1));
  }

  csv_parser parser_{};
};

}  // namespace

void readCsv(const std::filesystem::path& file, const CsvRow& take) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw RunnerError("cannot open '" + file.string() + "'");
  Parser parser;
  Reading reading{take, {}, 0, nullptr};
  std::array<char, 65536> buffer;
  while (in) {
    in.read(buffer.data(), buffer.size());
    parser.parse(buffer.data(), static_cast<std::size_t>(in.gcount()), reading);
  }
  if (in.bad()) throw RunnerError("cannot read '" + file.string() + "'");
  parser.finish(reading);
}

}  // namespace vtio::runner
