#include "platform/qat/stream/stream_file.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "platform/qat/driver.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/file.hpp"
#include "platform/qat/file_format.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/stream/unfinished.hpp"
#include "platform/qat/superblock.hpp"
#include "platform/qat/write/remove_link.hpp"

namespace vtu::qat {
namespace {

/// Chunks go straight to the file.
Handle makeStreamAccessList() {
  Handle list = makeAccessList(Changes::inPlace);
  checked(H5Pset_cache(list.get(), 0, 0, 0, 0), kStorage, "cannot set up the file access");
  return list;
}

/// Memory for the chunk of one dataset: a megabyte, less where there are many.
std::size_t chunkBytes(std::span<const StreamTable> tables) {
  constexpr std::size_t kMost = 1U << 20U, kLeast = 64U << 10U, kTogether = 16U << 20U;
  return std::clamp(kTogether / std::max<std::size_t>(tables.size(), 1), kLeast, kMost);
}

/// A group to which links are added and from which they are taken by one write, so that none is half there at any
/// moment. @param known The links that it is going to have at least.
Handle makeGroup(hid_t parent, const std::string& link, unsigned known) {
  constexpr unsigned kMore = 24, kMost = 1000;
  const Handle list(checked(H5Pcreate(H5P_GROUP_CREATE), kStorage, "cannot set up a group"));
  checked(H5Pset_obj_track_times(list.get(), false), kStorage, "cannot set up a group");
  keepLinksInHeader(list.get(), kMost, std::min(known + kMore, kMost));
  return Handle(checked(H5Gcreate2(parent, link.c_str(), H5P_DEFAULT, list.get(), H5P_DEFAULT), kStorage,
                        "cannot make a group for samples"));
}

/// Lets the cells of texts point to copies that are kept. @param textOf Gives the text of a cell.
template <typename TextOf>
void keepTexts(std::byte* cells, std::size_t bytes, std::unordered_set<std::string>& texts, const TextOf& textOf) {
  for (std::byte* at = cells; at != cells + bytes; at += TextCell::kBytesInRow) {
    const TextCell cell = TextCell::fromRow(at);
    const std::string& kept = *texts.insert(std::string(textOf(cell))).first;
    TextCell{reinterpret_cast<std::uintptr_t>(kept.data()), cell.bytes}.toRow(at);
  }
}

std::string linkOf(std::size_t table) { return std::string(kSamplesGroup) + "/" + std::to_string(table); }

}  // namespace

StreamFile::StreamFile(std::string name) : name_(std::move(name)) {
  lock_.emplace(name_);
  kit_ = std::make_unique<Kit>();
  create();
}

StreamFile::~StreamFile() {
  releaseHandles();
  file_.reset();
}

/// Runs what writes to the file. After a write that failed, what HDF5 has still to write is unknown: the file is given
/// up.
template <typename Work>
void StreamFile::writing(Work&& work) {
  try {
    work();
    requireWritten();
  } catch (const Failure& failure) {
    if (failure.code() == kDiskFull) {
      full_ = true;
      guard_.useMargin();
    } else if (failure.code() == kStorage) {
      abandon(failure.message());
    }
    throw;
  }
}

void StreamFile::requireLive() const {
  if (state_ == State::live) return;
  throw Failure(kBadArgument, state_ == State::abandoned ? "was given up after a write that failed: " + *failure_
                              : state_ == State::empty   ? "is not laid out yet"
                                                         : "is closed");
}

void StreamFile::create() {
  const Handle access = makeStreamAccessList();
  const WatchedOpening opening(failure_);
  file_ = Handle(checked(H5Fcreate(name_.c_str(), H5F_ACC_TRUNC, makeFileCreationList().get(), access.get()), kStorage,
                         "cannot be created"));
  writing([this] {
    takeRoot();
    writeFormat(*kit_, root_.get());
    flushLibrary();
  });
}

void StreamFile::open() {
  const Handle access = makeStreamAccessList();
  const WatchedOpening opening(failure_);
  file_ = Handle(checked(H5Fopen(name_.c_str(), H5F_ACC_RDWR, access.get()), kStorage, "cannot be opened"));
  takeRoot();
}

void StreamFile::takeRoot() {
  if (!lock_->file().isSameFileAs(descriptorOf(file_.get()))) {
    *failure_ = "another file";
    throw Failure(kStorage, "was replaced by another file");
  }
  guard_ = DiskGuard(lock_->file().get());
  full_ = false;
  root_ = Handle(checked(H5Gopen2(file_.get(), "/", H5P_DEFAULT), kDamaged, "its root group cannot be opened"));
}

void StreamFile::layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables,
                        std::span<const StreamRing> rings) {
  if (state_ != State::empty) throw Failure(kBadArgument, "is laid out already");
  writing([&] {
    SampleStore store(*kit_, name_);
    store.leaveOut(RingLog::tablesOf(rings));
    SignalNames names;
    const Handle samples = makeGroup(root_.get(), kSamplesGroup, static_cast<unsigned>(tables.size()));
    for (std::size_t k = 0; k < tables.size(); ++k) {
      tables_.push_back(std::make_unique<StreamedTable>(*kit_, guard_, makeGroup(samples.get(), std::to_string(k), 0),
                                                        tables[k].leaves, chunkBytes(tables), names));
      store.adopt(tables[k].rows, tables[k].leaves, static_cast<std::uint32_t>(k));
    }
    SharedObjects shared([](haddr_t, const qxArray&) { return false; });
    for (const StreamVariable& variable : variables) {
      atPlace(variable.name, [&] {
        store.write(*variable.value, root_.get(), root_.get(), [&] { return names; });
        const std::string link = encodeName(variable.name);
        Writer(file_.get(), *kit_, shared, store).writeMember(root_.get(), link, *variable.value);
        keepWithoutLink(root_.get(), link);
      });
    }
    strays_.emplace(*kit_, guard_, root_.get());
    std::map<const SampleTable*, SampleStore::LeafRecords> records;
    store.addPlaces(records);
    rings_.place(rings, records);
    rings_.open(*kit_, guard_, root_.get());
    linkCounts();
    letReadersIn();
  });
  for (std::uint32_t k = 0; k < tables.size(); ++k) {
    const std::uint64_t rows = tables[k].rows->rows();
    append(k, *tables[k].rows, 0, rows);
    for (std::uint32_t leaf = 0; leaf < tables[k].leaves.size(); ++leaf) {
      const SampleColumn& column = tables[k].leaves[leaf];
      if (column.first + column.count < rows) table(k).endLeaf(leaf, column.first + column.count);
    }
  }
  flush(false);
}

/// What says that the file is being written is in it before there are links to it.
void StreamFile::linkCounts() {
  flushLibrary();
  for (const auto& table : tables_) table->linkCounts();
  places_.linkCounts();
  strays_->link(root_.get());
  rings_.link(root_.get());
}

/// Nothing that readers find is moved or made from now on.
void StreamFile::letReadersIn() {
  flushLibrary();
  checked(H5Fstart_swmr_write(file_.get()), kStorage, "concurrent readers cannot be let in");
  state_ = State::live;
  lock_->letReadersIn();
}

void StreamFile::append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  requireLive();
  if (full_) throw Failure(kDiskFull, "the disk is full");
  writing([&] { this->table(table).append(source, first, count); });
}

void StreamFile::overwrite(std::uint32_t table, std::uint64_t at, const SampleTable& source, std::uint64_t first,
                           std::uint64_t count) {
  requireLive();
  if (at > this->table(table).rows()) throw Failure(kBadArgument, "there are no rows to overwrite");
  if (full_) throw Failure(kDiskFull, "the disk is full");
  writing([&] { this->table(table).overwrite(at, source, first, count); });
}

void StreamFile::append(const StrayBuffer& strays) {
  requireLive();
  if (full_) throw Failure(kDiskFull, "the disk is full");
  writing([&] { strays_->append(strays, places_); });
}

void StreamFile::putNewest(std::uint32_t ring, std::span<const RingSamples> samples) {
  requireLive();
  if (full_) throw Failure(kDiskFull, "the disk is full");
  writing([&] { rings_.ring(ring).put(samples, [this] { flushLibrary(); }); });
}

void StreamFile::cutNewest(std::uint32_t ring, const std::function<std::uint64_t(std::uint32_t)>& endOf) {
  requireLive();
  writing([&] {
    Ring& of = rings_.ring(ring);
    for (std::uint32_t position = 0; position < of.positions(); ++position) of.cut(position, endOf(position));
    of.writeCounts();
  });
}

void StreamFile::keep(LeafPlace leaf, std::uint64_t samples) {
  requireLive();
  writing([&] { places_.keep(leaf, samples); });
}

void StreamFile::endLeaf(std::uint32_t table, std::uint32_t leaf, std::optional<std::uint64_t> row) {
  requireLive();
  this->table(table).endLeaf(leaf, row);
}

void StreamFile::flushLibrary() {
  checked(H5Fflush(file_.get(), H5F_SCOPE_LOCAL), kStorage, "cannot be written");
  requireWritten();
}

void StreamFile::requireWritten() const {
  if (!failure_->empty()) throw Failure(kStorage, "cannot be written: " + *failure_);
}

void StreamFile::flush(bool toDisk) {
  requireLive();
  writing([&] {
    for (const auto& table : tables_) table->flushRows();
    strays_->flushRows();
    flushLibrary();
    writeCounts();
    if (toDisk && fdatasync(lock_->file().get()) != 0) {
      throw Failure(kStorage, std::string("cannot be written to the disk: ") + std::strerror(errno));
    }
  });
}

void StreamFile::writeCounts() {
  for (const auto& table : tables_) table->writeCounts();
  strays_->writeCounts();
}

QatStream::Mark StreamFile::mark() const {
  QatStream::Mark mark;
  mark.rows.reserve(tables_.size());
  for (const auto& table : tables_) mark.rows.push_back(table->rows());
  if (strays_) mark.strays = strays_->mark();
  return mark;
}

void StreamFile::stepBack(const QatStream::Mark& mark) {
  requireLive();
  if (mark.rows.size() != tables_.size()) {
    throw Failure(kBadArgument, "the mark to step back to is of another file");
  }
  writing([&] {
    strays_->rewind(mark.strays);
    if (strays_->mustTakeBack()) strays_->writeCounts();
    for (std::size_t k = 0; k < tables_.size(); ++k) {
      tables_[k]->rewind(std::min(mark.rows[k], tables_[k]->rows()));
    }
    for (const auto& table : tables_) table->takeBackCounts();
  });
}

void StreamFile::releaseHandles() {
  for (const auto& table : tables_) table->close();
  strays_.reset();
  rings_.close();
  places_.close();
  root_.reset();
}

void StreamFile::close(std::span<const StreamVariable> variables, std::span<const StreamRing> rings) {
  if (state_ == State::closed) return;
  if (state_ == State::abandoned) {
    throw Failure(kStorage,
                  "was given up after a write that failed: " + *failure_ + "; what was flushed before is in it");
  }
  if (state_ == State::live) flush(false);
  const bool wasLive = state_ == State::live;
  const bool hasStrays = (strays_ && strays_->mark().strays > 0) || rings_.hasSamples();
  state_ = State::closed;
  writing([&] {
    lock_->keepReadersOut();
    releaseHandles();
    if (!file_.close()) throwLibraryFailure(kStorage, "cannot be closed");
  });
  if (wasLive) finish(variables, rings, hasStrays);
  lock_->letReadersIn();
}

/// Makes it a plain file and replaces variables. Without these strays stay in their log, where readers find them.
void StreamFile::finish(std::span<const StreamVariable> variables, std::span<const StreamRing> rings, bool hasStrays) {
  std::vector<std::uint64_t> rows;
  for (const auto& table : tables_) rows.push_back(table->rows());
  const auto file = File::open(name_, File::Mode::update, File::Owner::stream, rows);
  file->keepTables(static_cast<std::uint32_t>(tables_.size()));
  std::set<LeafPlace> leaving;
  for (const auto& [table, weak] : leafTables_) {
    const auto leaves = weak.lock();
    for (std::size_t i = 0; leaves && i < leaves->leaves().size(); ++i) leaving.insert(leaves->leaves()[i].place());
  }
  file->leave(std::move(leaving));
  finishing_ = file.get();
  reading_.reset();
  try {
    std::vector<std::pair<std::string, const qxArray*>> borrowed;
    for (const StreamVariable& variable : variables) borrowed.emplace_back(variable.name, variable.value);
    const bool withoutStrays = !hasStrays || !variables.empty();
    file->putAll(borrowed, withoutStrays);
    if (withoutStrays) {
      noteLeafPlaces(*file);
      rings_.place(rings, file->places());
    }
  } catch (...) {
    finishing_ = nullptr;
    reading_.reset();
    lock_->letReadersIn();
    throw;
  }
  finishing_ = nullptr;
  reading_.reset();
  file->close();
}

/// The variables that were put have the samples of leaves with strays: from now on these are there.
void StreamFile::noteLeafPlaces(File& file) {
  reading_.reset();
  std::map<LeafPlace, LeafPlace> places;
  std::map<std::uint32_t, std::vector<std::uint32_t>> retired;
  for (const auto& [table, weak] : leafTables_) {
    const auto leaves = weak.lock();
    if (!leaves) continue;
    leaves->stored({});
    const auto put = file.places().find(table);
    if (put == file.places().end()) continue;
    std::optional<StoredTable> stored;
    for (const StreamedLeaves::Leaf& leaf : leaves->leaves()) {
      const auto [first, end] = put->second.equal_range({leaf.offset, leaf.leaf.bytes == 0});
      if (first == end) continue;
      const auto record =
          std::min_element(first, end, [](const auto& a, const auto& b) { return a.second < b.second; });
      const auto& [number, column, part] = record->second;  // aliases come later
      places[leaf.place()] = {number, column};
      if (leaf.leaf.table < tables_.size()) retired[leaf.leaf.table].push_back(leaf.leaf.column);
      if (!stored) stored = StoredTable{name_, number, {}};
      if (number == stored->table && leaf.leaf.bytes > 0) stored->records.emplace(leaf.offset, column);
    }
    leaves->stored(std::move(stored));
  }
  std::erase_if(leafTables_, [](const auto& entry) { return entry.second.expired(); });
  for (const auto& [table, records] : retired) retireLeaves(file.source(), table, records);
  if (places.empty()) return;
  OpenTables tables(file.source());
  places_.set(places, tables);
}

void StreamFile::keepPlaces(const SampleTable& table, const std::shared_ptr<StreamedLeaves>& leaves) {
  std::erase_if(leafTables_, [](const auto& entry) { return entry.second.expired(); });
  leafTables_.emplace_back(&table, leaves);
}

OpenTables& StreamFile::plainTables() {
  if (!reading_) {
    auto reading = std::make_unique<Reading>();
    if (finishing_ == nullptr) reading->file = File::open(name_, File::Mode::read);
    reading->tables.emplace(finishing_ != nullptr ? finishing_->source() : reading->file->source());
    reading_ = std::move(reading);
  }
  return *reading_->tables;
}

void StreamFile::readTimes(const StreamedLeaves& leaves, std::uint64_t first, std::uint64_t count, double* out) {
  if (count == 0) return;
  const LeafPlace leaf = leaves.leaves().front().place();
  if (state_ == State::live) {
    return writing([&] {
      const std::uint64_t rows = rowsBeforeStrays(leaf, first, count);
      if (rows > 0 && places_.find(leaf)) places_.readTimes(leaf, first, rows, out);
      if (rows > 0 && !places_.find(leaf)) table(leaf.first).readTimes(first, rows, out);
      strays_->readTimes(places_.find(leaf).value_or(leaf), first + rows - rowsBefore(leaf), count - rows, out + rows);
    });
  }
  const auto [table, column] = places_.find(leaf).value_or(leaf);
  const Reference at = plainTables().resolve({table, column});
  OpenTable& open = plainTables().table(at.table);
  open.readTimes(open.column(at.column).begin + first, count, out);
}

void StreamFile::readRows(const StreamedLeaves& leaves, std::uint64_t first, std::uint64_t count, std::size_t offset,
                          std::size_t bytes, std::byte* out, std::size_t stride,
                          std::unordered_set<std::string>& texts) {
  std::vector<std::byte> values;
  for (const StreamedLeaves::Leaf& leaf : leaves.leaves()) {
    const std::size_t from = std::max(offset, leaf.offset),
                      to = std::min(offset + bytes, leaf.offset + leaf.leaf.bytes);
    if (from >= to) continue;
    const std::size_t width = to - from;
    values.resize(width * count);
    readLeaf(leaf, first, count, from - leaf.offset, width, values.data(), texts);
    for (std::uint64_t row = 0; row < count; ++row) {
      std::memcpy(out + row * stride + (from - offset), values.data() + row * width, width);
    }
  }
}

/// Samples of a leaf with strays that are rows of a table.
std::uint64_t StreamFile::rowsBefore(LeafPlace leaf) {
  if (places_.find(leaf)) return places_.count(leaf);
  return leaf.first < tables_.size() ? table(leaf.first).count(leaf.second) : 0;
}

std::uint64_t StreamFile::rowsBeforeStrays(LeafPlace leaf, std::uint64_t first, std::uint64_t count) {
  const std::uint64_t rows = rowsBefore(leaf);
  return first < rows ? std::min(count, rows - first) : 0;
}

void StreamFile::readLive(const StreamedLeaves::Leaf& leaf, std::uint64_t first, std::uint64_t count,
                          std::size_t offset, std::size_t bytes, std::byte* out,
                          std::unordered_set<std::string>& texts) {
  const bool isText = leaf.leaf.id == qxCELL;
  const LeafPlace place = leaf.place();
  const std::uint64_t rows = rowsBeforeStrays(place, first, count);
  std::string text;
  if (rows > 0 && places_.find(place)) {
    const std::size_t element = elementBytes({leaf.leaf.id, leaf.leaf.isComplex});
    places_.readValues(*kit_, place, first, rows, offset / element, bytes / element, out);
    if (isText) keepTexts(out, rows * bytes, texts, [&](TextCell cell) { return places_.readText(place, cell, text); });
  } else if (rows > 0) {
    table(place.first).readLeaf(place.second, first, rows, offset, bytes, out);
    if (isText) {
      keepTexts(out, rows * bytes, texts, [&](TextCell cell) { return table(place.first).readText(cell, text); });
    }
  }
  std::byte* strays = out + rows * bytes;
  strays_->readValues(places_.find(place).value_or(place), first + rows - rowsBefore(place), count - rows, offset,
                      bytes, strays);
  if (isText) {
    keepTexts(strays, (count - rows) * bytes, texts, [&](TextCell cell) { return strays_->readText(cell, text); });
  }
}

/// Reads bytes [offset, offset + bytes) of samples of a leaf.
void StreamFile::readLeaf(const StreamedLeaves::Leaf& leaf, std::uint64_t first, std::uint64_t count,
                          std::size_t offset, std::size_t bytes, std::byte* out,
                          std::unordered_set<std::string>& texts) {
  const ElementKind kind{leaf.leaf.id, leaf.leaf.isComplex};
  const std::size_t element = elementBytes(kind);
  if (state_ == State::live) {
    return writing([&] { readLive(leaf, first, count, offset, bytes, out, texts); });
  }
  const auto [table, column] = places_.find(leaf.place()).value_or(leaf.place());
  const Reference at = plainTables().resolve({table, column});
  OpenTable& open = plainTables().table(at.table);
  const StoredColumn& stored = open.column(at.column);
  open.readBlock(kind, stored.first + offset / element, bytes / element, stored.begin + first, count, out);
  if (kind.id == qxCELL) keepTexts(out, count * bytes, texts, [&](TextCell cell) { return open.text(cell); });
}

void StreamFile::readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) {
  if (state_ == State::live) return writing([&] { this->table(table).readTimes(first, count, out); });
  plainTables().table(table).readTimes(first, count, out);
}

void StreamFile::readRows(std::uint32_t table, std::uint64_t first, std::uint64_t count, std::size_t offset,
                          std::size_t bytes, std::byte* out, std::size_t stride,
                          std::unordered_set<std::string>& texts) {
  std::vector<std::byte> values;
  this->table(table).forEachBlock(first, count, offset, bytes, [&](const StreamedTable::Block& block, std::size_t at) {
    const std::size_t width = block.width * elementBytes(block.kind);
    values.resize(width * count);
    readBlock(table, block, values.data(), texts);
    for (std::uint64_t row = 0; row < count; ++row) {
      std::memcpy(out + row * stride + (at - offset), values.data() + row * width, width);
    }
  });
}

void StreamFile::readBlock(std::uint32_t table, const StreamedTable::Block& block, std::byte* out,
                           std::unordered_set<std::string>& texts) {
  const bool live = state_ == State::live;
  OpenTable* plain = live ? nullptr : &plainTables().table(table);
  if (live) {
    writing([&] { this->table(table).read(block, out); });
  } else {
    plain->readBlock(block.kind, block.column, block.width, block.first, block.count, out);
  }
  if (block.kind.id != qxCELL) return;
  std::string text;
  for (std::byte* cell = out; cell != out + block.count * block.width * TextCell::kBytesInRow;
       cell += TextCell::kBytesInRow) {
    const TextCell stored = TextCell::fromRow(cell);
    if (live) {
      this->table(table).readText(stored, text);
    } else {
      text = plain->text(stored);
    }
    const std::string& kept = *texts.insert(text).first;
    TextCell{reinterpret_cast<std::uintptr_t>(kept.data()), stored.bytes}.toRow(cell);
  }
}

void StreamFile::reopen() {
  if (state_ == State::live) return;
  if (state_ != State::closed) requireLive();
  reading_.reset();
  lock_->keepReadersOut();
  open();
  writing([&] {
    if (H5Lexists(root_.get(), kStraysGroup, H5P_DEFAULT) > 0) {
      throw Failure(kBadArgument, "has strays that close() was given no variables for");
    }
    for (std::size_t k = 0; k < tables_.size(); ++k) {
      tables_[k]->reopen(*kit_, guard_,
                         Handle(checked(H5Gopen2(root_.get(), linkOf(k).c_str(), H5P_DEFAULT), kDamaged,
                                        "a sample table cannot be opened")));
    }
    places_.open(root_.get());
    strays_.emplace(*kit_, guard_, root_.get());
    rings_.open(*kit_, guard_, root_.get());
    writeCounts();
    linkCounts();
    letReadersIn();
  });
}

/// HDF5 closes the file; what it has still to write is discarded.
void StreamFile::abandon(const std::string& reason) {
  state_ = State::abandoned;
  if (failure_->empty()) *failure_ = reason;
  releaseHandles();
  file_.reset();
  static_cast<void>(clearOpenMark(lock_->file().get(), true));
  lock_->letReadersIn();
}

}  // namespace vtu::qat
