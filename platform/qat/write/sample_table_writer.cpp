#include "platform/qat/write/sample_table_writer.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "platform/qat/failure.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/qat/sample_records.hpp"
#include "platform/text.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kChunkBytes = 1U << 20U;
constexpr std::uint64_t kChunkRows = 3072;  // that a chunk has before it becomes narrower than its dataset

std::uint64_t divideUp(std::uint64_t a, std::uint64_t b) { return (a + b - 1) / b; }

/// Splits an extent into equal pieces of at most `most` and more than half of that, so that little of the last is
/// unused.
std::uint64_t evenPiece(std::uint64_t extent, std::uint64_t most) {
  const std::uint64_t fewest = divideUp(extent, std::clamp<std::uint64_t>(most, 1, extent));
  std::uint64_t best = divideUp(extent, fewest);
  const auto unused = [extent](std::uint64_t piece) { return divideUp(extent, piece) * piece - extent; };
  for (std::uint64_t pieces = fewest; pieces < 2 * fewest && unused(best) > 0; ++pieces) {
    const std::uint64_t piece = divideUp(extent, pieces);
    if (unused(piece) < unused(best)) best = piece;
  }
  return best;
}

/// Columns that are adjacent in the dataset and in the rows.
struct Run {
  std::uint64_t column;  // first in the dataset
  std::uint64_t width;
  std::size_t offset;  // in a row, in bytes
};

std::vector<Run> runsOf(const SampleClass& leaves) {
  const std::size_t size = elementBytes(leaves.kind);
  std::vector<Run> runs;
  for (std::size_t i = 0; i < leaves.columns.size(); ++i) {
    const SampleColumn& column = *leaves.columns[i];
    const std::uint64_t width = column.bytes() / size;
    if (!runs.empty() && runs.back().offset + runs.back().width * size == column.offset) {
      runs.back().width += width;
    } else {
      runs.push_back({leaves.firsts[i], width, column.offset});
    }
  }
  return runs;
}

/// Collects the bytes of texts and lets cells point to them.
class TextCopy final {
 public:
  TextCopy(const SampleTable& table, std::uint64_t columns) : table_(table), last_(columns) {}

  /// Makes a cell of a column point to bytes() in place of the table's texts.
  void operator()(std::byte* cell, std::uint64_t column) {
    const TextCell source = TextCell::fromRow(cell);
    Copied& last = last_[column];  // most texts repeat the one before
    if (source.start != last.source.start || source.bytes != last.source.bytes) {
      table_.readText(source, text_);
      last = {source, {bytes_.size(), static_cast<std::uint32_t>(text_.size())}};
      bytes_ += text_;
    }
    last.target.toRow(cell);
  }

  [[nodiscard]] const std::string& bytes() const { return bytes_; }

 private:
  struct Copied {
    TextCell source, target;
  };

  const SampleTable& table_;
  std::vector<Copied> last_;
  std::string bytes_, text_;
};

/// The text without NUL, which would end it for some readers.
std::string plainText(const std::u16string& text) {
  const bool isAscii = std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit != 0 && unit < 0x80; });
  if (isAscii) return {text.begin(), text.end()};
  std::u16string plain = text;
  std::replace(plain.begin(), plain.end(), u'\0', u'\xFFFD');
  return vtu::to_string(plain);
}

}  // namespace

/// The dataset of one element class and the chunk that is being filled.
struct SampleTableWriter::Chunks {
  Handle dataset;
  hsize_t rows = 0;         // of the dataset
  hsize_t columns = 0;      // of the dataset
  std::size_t element = 0;  // bytes
  std::array<hsize_t, 2> extent{};
  std::array<hsize_t, 2> at{};  // first row and column of the chunk
  std::vector<std::byte> bytes;

  [[nodiscard]] hsize_t rowsHere() const { return std::min(rows - at[0], extent[0]); }
  [[nodiscard]] hsize_t columnsEnd() const { return std::min(columns, at[1] + extent[1]); }
  [[nodiscard]] std::size_t stride() const { return extent[1] * element; }

  /// Lets `fill` put the elements of each chunk into zeros or what a full chunk before held, and writes it.
  template <typename Fill>
  void forEach(Fill&& fill) {
    if (rows == 0 || columns == 0) return;
    bytes.resize(extent[0] * stride());
    for (at[1] = 0; at[1] < columns; at[1] += extent[1]) {
      for (at[0] = 0; at[0] < rows; at[0] += extent[0]) {
        const bool whole = rowsHere() == extent[0] && columnsEnd() == at[1] + extent[1];
        if (!whole) std::fill(bytes.begin(), bytes.end(), std::byte{0});
        fill();
        checked(H5Dwrite_chunk(dataset.get(), H5P_DEFAULT, 0, at.data(), bytes.size(), bytes.data()), kStorage,
                "samples cannot be written");
      }
    }
  }

  /// The address of an element of the chunk.
  [[nodiscard]] std::byte* elementAt(std::uint64_t row, std::uint64_t column) {
    return bytes.data() + (row - at[0]) * stride() + (column - at[1]) * element;
  }
};

bool sharesSamples(const SampleColumn& leaf, const SampleColumn& other) {
  return leaf.offset == other.offset && leaf.id == other.id && leaf.isComplex == other.isComplex &&
         leaf.dims == other.dims && leaf.first == other.first && leaf.count == other.count && leaf.bytes() != 0;
}

SampleTableWriter::SampleTableWriter(Kit& kit, hid_t group, const SampleSelection& selection)
    : kit_(kit), group_(group), datasets_(kit), selection_(selection) {
  for (const SampleColumn* column : selection.columns) {
    const ElementKind kind{column->id, column->isComplex};
    auto found = classOf(kind);
    if (found == classes_.end()) found = classes_.insert(found, {kind, {}, {}, 0});
    if (found->columns.empty() || !sharesSamples(*column, *found->columns.back())) {
      found->columns.push_back(column);
      found->firsts.push_back(found->width);
      found->width += column->bytes() / elementBytes(kind);
    }
    firsts_.push_back(found->firsts.back());
  }
}

std::vector<SampleClass>::iterator SampleTableWriter::classOf(ElementKind kind) {
  return std::find_if(classes_.begin(), classes_.end(), [&](const auto& known) { return known.kind == kind; });
}

void SampleTableWriter::writeTimes() {
  std::vector<double> times(selection_.count);
  if (!times.empty()) selection_.table->readTimes(selection_.first, selection_.count, times.data());
  datasets_.writeValues(group_, kTimeMember, kit_.elementType({qxDOUBLE, false}), {times.size()}, times.data());
}

void SampleTableWriter::writeValues() {
  for (const SampleClass& leaves : classes_) {
    atPlace(elementClassName(leaves.kind),
            [&] { leaves.kind.id == qxCELL ? writeTexts(leaves) : writeNumbers(leaves); });
  }
}

SampleTableWriter::Chunks SampleTableWriter::makeChunks(const SampleClass& leaves) {
  Chunks chunks;
  chunks.rows = selection_.count;
  chunks.columns = leaves.width;
  chunks.element = elementBytes(leaves.kind);
  const std::string name = elementClassName(leaves.kind);
  const hid_t type = kit_.elementType(leaves.kind);
  if (chunks.rows == 0 || chunks.columns == 0) {
    chunks.dataset = datasets_.writeValues(group_, name, type, {chunks.rows, chunks.columns}, nullptr);
    return chunks;
  }
  const std::uint64_t elements = kChunkBytes / chunks.element;
  chunks.extent[1] = evenPiece(chunks.columns, elements / std::min<hsize_t>(chunks.rows, kChunkRows));
  chunks.extent[0] = evenPiece(chunks.rows, elements / chunks.extent[1]);
  const Handle list(checked(H5Pcopy(kit_.chunkedList()), kStorage, "cannot make a property list"));
  checked(H5Pset_chunk(list.get(), 2, chunks.extent.data()), kStorage, "cannot set up chunks");
  chunks.dataset = Handle(checked(H5Dcreate2(group_, name.c_str(), type, makeSpace({chunks.rows, chunks.columns}).get(),
                                             H5P_DEFAULT, list.get(), H5P_DEFAULT),
                                  kStorage, "cannot make a dataset"));
  return chunks;
}

void SampleTableWriter::writeNumbers(const SampleClass& leaves) {
  const std::vector<Run> runs = runsOf(leaves);
  Chunks chunks = makeChunks(leaves);
  chunks.forEach([&] {
    const auto ends = [&chunks](const Run& run) { return run.column + run.width <= chunks.at[1]; };
    auto run = std::partition_point(runs.begin(), runs.end(), ends);
    for (; run != runs.end() && run->column < chunks.columnsEnd(); ++run) {
      const std::uint64_t from = std::max<std::uint64_t>(run->column, chunks.at[1]);
      const std::uint64_t to = std::min<hsize_t>(run->column + run->width, chunks.columnsEnd());
      selection_.table->readRows(selection_.first + chunks.at[0], chunks.rowsHere(),
                                 run->offset + (from - run->column) * chunks.element, (to - from) * chunks.element,
                                 chunks.elementAt(chunks.at[0], from), chunks.stride());
    }
  });
}

void SampleTableWriter::writeTexts(const SampleClass& leaves) {
  Chunks chunks = makeChunks(leaves);
  TextCopy copy(*selection_.table, leaves.width);
  chunks.forEach([&] {
    std::fill(chunks.bytes.begin(), chunks.bytes.end(), std::byte{0});
    for (std::size_t i = 0; i < leaves.columns.size(); ++i) {
      const SampleColumn& leaf = *leaves.columns[i];
      const std::uint64_t from = std::max<std::uint64_t>(leaves.firsts[i], chunks.at[1]);
      const std::uint64_t to = std::min<hsize_t>(leaves.firsts[i] + leaf.bytes() / chunks.element, chunks.columnsEnd());
      // Rows that are not the leaf's hold nothing that could be read as a text.
      const std::uint64_t begin = std::max<std::uint64_t>(leaf.first - selection_.first, chunks.at[0]);
      const std::uint64_t end =
          std::min<hsize_t>(leaf.first - selection_.first + leaf.count, chunks.at[0] + chunks.rowsHere());
      if (from >= to || begin >= end) continue;
      selection_.table->readRows(selection_.first + begin, end - begin,
                                 leaf.offset + (from - leaves.firsts[i]) * chunks.element, (to - from) * chunks.element,
                                 chunks.elementAt(begin, from), chunks.stride());
      for (std::uint64_t row = begin; row < end; ++row) {
        for (std::uint64_t c = from; c < to; ++c) copy(chunks.elementAt(row, c), c);
      }
    }
  });
  datasets_.writeValues(group_, kTextBytesMember, H5T_STD_U8LE, {copy.bytes().size()}, copy.bytes().data());
}

void SampleTableWriter::writeRecords(SignalNames& names) {
  std::vector<StoredColumn> records;
  records.reserve(selection_.columns.size());
  names.reserve(selection_.columns.size());
  for (std::size_t i = 0; i < selection_.columns.size(); ++i) {
    const SampleColumn* column = selection_.columns[i];
    const ElementKind kind{column->id, column->isComplex};
    records.push_back({names.unique(plainText(column->name)), plainText(column->unit), elementClassName(kind),
                       column->dims, static_cast<std::uint32_t>(firsts_[i]),
                       static_cast<std::uint32_t>(column->bytes() / elementBytes(kind)),
                       column->first - selection_.first, column->count});
  }
  const RecordLayout layout(records);
  std::vector<char> block(records.size() * layout.size(), '\0');
  for (std::size_t i = 0; i < records.size(); ++i) layout.put(records[i], block.data() + i * layout.size());
  datasets_.writeColumn(group_, kColumnsMember, layout.type(), {records.size()}, block.data());
}

}  // namespace vtu::qat
