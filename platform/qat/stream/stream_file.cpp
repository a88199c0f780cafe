#include "platform/qat/stream/stream_file.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/qat/driver.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/file.hpp"
#include "platform/qat/file_format.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/superblock.hpp"
#include "platform/qat/write/remove_link.hpp"

namespace vtu::qat {
namespace {

/// Chunks go straight to the file; the counts of rows are aligned, so that they change at once.
Handle makeStreamAccessList() {
  Handle list = makeAccessList();
  constexpr const char* kFailure = "cannot set up the file access";
  checked(H5Pset_cache(list.get(), 0, 0, 0, 0), kStorage, kFailure);
  checked(H5Pset_alignment(list.get(), 1, alignof(std::uint64_t)), kStorage, kFailure);
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

void StreamFile::layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables) {
  if (state_ != State::empty) throw Failure(kBadArgument, "is laid out already");
  writing([&] {
    SampleStore store(*kit_, name_);
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
    flushLibrary();
    writeCounts();
    if (toDisk && fdatasync(lock_->file().get()) != 0) {
      throw Failure(kStorage, std::string("cannot be written to the disk: ") + std::strerror(errno));
    }
  });
}

void StreamFile::writeCounts() {
  for (const auto& table : tables_) table->writeCounts();
}

QatStream::Mark StreamFile::mark() const {
  QatStream::Mark mark;
  mark.rows.reserve(tables_.size());
  for (const auto& table : tables_) mark.rows.push_back(table->rows());
  return mark;
}

void StreamFile::stepBack(const QatStream::Mark& mark) {
  requireLive();
  if (mark.rows.size() != tables_.size()) {
    throw Failure(kBadArgument, "the mark to step back to is of another file");
  }
  writing([&] {
    for (std::size_t k = 0; k < tables_.size(); ++k) {
      tables_[k]->rewind(std::min(mark.rows[k], tables_[k]->rows()));
    }
    for (const auto& table : tables_) {
      if (table->mustTakeBack()) table->writeCounts();
    }
  });
}

void StreamFile::releaseHandles() {
  for (const auto& table : tables_) table->close();
  root_.reset();
}

void StreamFile::close(std::span<const StreamVariable> variables) {
  if (state_ == State::closed) return;
  if (state_ == State::abandoned) {
    throw Failure(kStorage,
                  "was given up after a write that failed: " + *failure_ + "; what was flushed before is in it");
  }
  if (state_ == State::live) flush(false);
  const bool wasLive = state_ == State::live;
  state_ = State::closed;
  writing([&] {
    lock_->keepReadersOut();
    releaseHandles();
    if (!file_.close()) throwLibraryFailure(kStorage, "cannot be closed");
  });
  if (wasLive) finish(variables);
  lock_->letReadersIn();
}

/// Makes it a plain file and replaces variables.
void StreamFile::finish(std::span<const StreamVariable> variables) {
  const auto file = File::open(name_, File::Mode::update, File::Owner::stream);
  file->keepTables(static_cast<std::uint32_t>(tables_.size()));
  finishing_ = file.get();
  try {
    for (const StreamVariable& variable : variables) {
      atPlace(variable.name, [&] { file->put(variable.name, *variable.value); });
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

OpenTable& StreamFile::plainTable(std::uint32_t table) {
  if (finishing_ != nullptr || !reading_) {
    auto reading = std::make_unique<Reading>();
    if (finishing_ == nullptr) reading->file = File::open(name_, File::Mode::read);
    reading->tables.emplace(finishing_ != nullptr ? finishing_->source() : reading->file->source());
    reading_ = std::move(reading);
  }
  return reading_->tables->table(table);
}

void StreamFile::readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) {
  if (state_ == State::live) return writing([&] { this->table(table).readTimes(first, count, out); });
  plainTable(table).readTimes(first, count, out);
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
  OpenTable* plain = live ? nullptr : &plainTable(table);
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
    for (std::size_t k = 0; k < tables_.size(); ++k) {
      tables_[k]->reopen(*kit_, guard_,
                         Handle(checked(H5Gopen2(root_.get(), linkOf(k).c_str(), H5P_DEFAULT), kDamaged,
                                        "a sample table cannot be opened")));
    }
    writeCounts();
    flushLibrary();  // what is linked must be in the file
    for (const auto& table : tables_) table->linkCounts();
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
