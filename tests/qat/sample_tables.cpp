#include "sample_tables.hpp"

#include <array>

namespace vtio::tests {
namespace {

constexpr std::array<qxClassID, 12> kClasses = {qxDOUBLE, qxDOUBLE, qxSINGLE, qxINT8,  qxUINT8,   qxINT16,
                                                qxUINT16, qxINT32,  qxUINT32, qxINT64, qxLOGICAL, qxCELL};
constexpr std::array<std::u16string_view, 6> kTexts = {u"",       u"on",           u"\x00e9t\x00e9",
                                                       u"\xd83d", u"\xd83d\xde00", std::u16string_view(u"a\0b", 3)};

}  // namespace

void Recording::addTable(std::size_t rows, std::size_t leaves) {
  std::vector<vtu::SampleColumn> columns;
  std::size_t rowBytes = 0;
  for (std::size_t i = 0; i < leaves; ++i) {
    columns.push_back(randomColumn(rows));
    columns.back().offset = rowBytes;
    rowBytes += columns.back().bytes();
  }
  const auto table = std::make_shared<RowTable>(rows, rowBytes);
  for (const vtu::SampleColumn& column : columns) {
    fill(*table, column);
    leaves_.push_back({table, column});
  }
}

vtu::SampleColumn Recording::randomColumn(std::size_t rows) {
  vtu::SampleColumn column;
  column.name = below(4) == 0 ? u"same" : u"signal " + std::u16string(1, static_cast<char16_t>(u'a' + below(26)));
  column.unit = below(2) == 0 ? u"m/s\x00b2" : u"";
  column.id = kClasses[below(kClasses.size())];
  column.isComplex = column.id != qxLOGICAL && column.id != qxCELL && below(4) == 0;
  constexpr std::array<std::array<std::size_t, 3>, 4> kShapes = {{{2, 0, 0}, {3, 4, 0}, {1, 2, 3}, {1, 1, 1}}};
  if (below(3) == 0) {
    for (const std::size_t dim : kShapes[below(kShapes.size())]) {
      if (dim > 0) column.dims.push_back(dim);
    }
  }
  column.first = below(3) == 0 ? below(rows + 1) : 0;
  column.count = below(3) == 0 ? below(rows - column.first + 1) : rows - column.first;
  return column;
}

void Recording::fill(RowTable& table, const vtu::SampleColumn& column) {
  for (std::size_t row = column.first; row < column.first + column.count; ++row) {
    if (column.id == qxCELL) {
      for (std::size_t at = 0; at < column.bytes(); at += vtu::TextCell::kBytesInRow) {
        table.setText(row, column.offset + at, kTexts[below(kTexts.size())]);
      }
      continue;
    }
    for (std::size_t at = 0; at < column.bytes(); ++at) {
      *table.at(row, column.offset + at) = static_cast<std::byte>(random_() % (column.id == qxLOGICAL ? 2 : 256));
    }
  }
}

Array Recording::leaf(std::size_t number) const {
  const auto& [table, column] = leaves_[number];
  return structure({{"Time", vtu::sampledTimes(table, column.first, column.count)},
                    {"Data", vtu::sampledArray(table, column)},
                    {"Unit", units(column.unit)}});
}

Array Recording::plainLeaf(std::size_t number) const { return plainCopy(leaf(number).get()); }

Array plainCopy(const qxArray* array) { return Array(qxDuplicateArray(array)); }

}  // namespace vtio::tests
