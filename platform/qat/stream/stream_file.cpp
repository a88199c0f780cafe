#include "platform/qat/stream/stream_file.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/qat/failure.hpp"
#include "platform/qat/file.hpp"
#include "platform/qat/file_format.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/superblock.hpp"

namespace vtu::qat {
namespace {

/// Chunks go straight to the file, and readers need no lock to be let in.
Handle makeStreamAccessList() {
  Handle list = makeAccessList();
  constexpr const char* kWhat = "cannot set up the file access";
  checked(H5Pset_file_locking(list.get(), false, true), kStorage, kWhat);
  checked(H5Pset_cache(list.get(), 0, 0, 0, 0), kStorage, kWhat);
  checked(H5Pset_alignment(list.get(), 1, alignof(std::uint64_t)), kStorage, kWhat);
  return list;
}

/// Memory for the chunk of one dataset: a megabyte, less where there are many.
std::size_t chunkBytes(std::span<const StreamTable> tables) {
  constexpr std::size_t kMost = 1U << 20U, kLeast = 64U << 10U, kTogether = 16U << 20U;
  return std::clamp(kTogether / std::max<std::size_t>(tables.size(), 1), kLeast, kMost);
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
  if (spare_ >= 0) ::close(spare_);
}

/// Runs what writes to the file. What HDF5 could not write makes the file useless to it: it is given up.
template <typename Work>
void StreamFile::writing(Work&& work) {
  try {
    work();
  } catch (const Failure& failure) {
    if (failure.code() == kDiskFull) {
      full_ = true;
      guard_.useMargin();
    } else if (failure.code() == kStorage) {
      abandon();
    }
    throw;
  }
}

void StreamFile::requireLive() const {
  if (state_ == State::live) return;
  throw Failure(kBadArgument, state_ == State::abandoned ? "was given up after a write that failed"
                              : state_ == State::empty   ? "is not laid out yet"
                                                         : "is closed");
}

void StreamFile::create() {
  const Handle access = makeStreamAccessList();
  file_ = Handle(checked(H5Fcreate(name_.c_str(), H5F_ACC_TRUNC, makeFileCreationList().get(), access.get()), kStorage,
                         "cannot be created"));
  takeDescriptor(access.get());
  writing([this] {
    writeFormat(*kit_, root_.get());
    flushLibrary();
  });
}

void StreamFile::open() {
  const Handle access = makeStreamAccessList();
  file_ = Handle(checked(H5Fopen(name_.c_str(), H5F_ACC_RDWR, access.get()), kStorage, "cannot be opened"));
  takeDescriptor(access.get());
}

void StreamFile::takeDescriptor(hid_t accessList) {
  void* handle = nullptr;
  checked(H5Fget_vfd_handle(file_.get(), accessList, &handle), kStorage, "has no descriptor");
  descriptor_ = *static_cast<int*>(handle);
  spare_ = fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
  if (spare_ < 0) throw Failure(kStorage, std::string("cannot be opened: ") + std::strerror(errno));
  if (!lock_->holds(name_)) throw Failure(kStorage, "was replaced by another program");
  guard_ = DiskGuard(spare_);
  full_ = false;
  root_ = Handle(checked(H5Gopen2(file_.get(), "/", H5P_DEFAULT), kDamaged, "its root group cannot be opened"));
}

void StreamFile::layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables) {
  if (state_ != State::empty) throw Failure(kBadArgument, "is laid out already");
  writing([&] {
    SampleStore store(*kit_);
    SignalNames names;
    const Handle samples(checked(H5Gcreate2(root_.get(), kSamplesGroup, H5P_DEFAULT, kit_->groupList(), H5P_DEFAULT),
                                 kStorage, "cannot make the group of sample tables"));
    for (std::size_t k = 0; k < tables.size(); ++k) {
      Handle group(checked(H5Gcreate2(root_.get(), linkOf(k).c_str(), H5P_DEFAULT, kit_->groupList(), H5P_DEFAULT),
                           kStorage, "cannot make the group of a sample table"));
      tables_.push_back(std::make_unique<StreamedTable>(*kit_, guard_, std::move(group), tables[k].leaves,
                                                        chunkBytes(tables), names));
      store.adopt(tables[k].rows, tables[k].leaves, static_cast<std::uint32_t>(k));
    }
    SharedObjects shared([](haddr_t, const qxArray&) { return false; });
    for (const StreamVariable& variable : variables) {
      atPlace(variable.name, [&] {
        store.write(*variable.value, root_.get(), root_.get(), [&] { return names; });
        Writer(file_.get(), *kit_, shared, store).writeMember(root_.get(), encodeName(variable.name), *variable.value);
      });
    }
    letReadersIn();
  });
  for (std::uint32_t k = 0; k < tables.size(); ++k) {
    const std::uint64_t rows = tables[k].rows->rows();
    append(k, *tables[k].rows, 0, rows);
    for (std::uint32_t leaf = 0; leaf < tables[k].leaves.size(); ++leaf) {
      const SampleColumn& column = tables[k].leaves[leaf];
      if (column.first + column.count < rows) endLeafAt(k, leaf, column.first + column.count);
    }
  }
  flush(false);
}

/// Nothing that readers find is moved or made from now on.
void StreamFile::letReadersIn() {
  flushLibrary();
  checked(H5Fstart_swmr_write(file_.get()), kStorage, "concurrent readers cannot be let in");
  state_ = State::live;
}

void StreamFile::append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  requireLive();
  if (full_) throw Failure(kDiskFull, "the disk is full");
  writing([&] { this->table(table).append(source, first, count); });
}

void StreamFile::endLeaf(std::uint32_t table, std::uint32_t leaf) {
  requireLive();
  endLeafAt(table, leaf, this->table(table).rows());
}

void StreamFile::endLeafAt(std::uint32_t table, std::uint32_t leaf, std::uint64_t row) {
  if (this->table(table).hasEnded(leaf)) return;
  this->table(table).endLeaf(leaf, row);
  ends_.push_back({table, leaf});
}

void StreamFile::flushLibrary() { checked(H5Fflush(file_.get(), H5F_SCOPE_LOCAL), kStorage, "cannot be written"); }

void StreamFile::flush(bool toDisk) {
  requireLive();
  writing([&] {
    for (const auto& table : tables_) table->flushRows();
    flushLibrary();
    writeCounts();
    if (toDisk && fdatasync(descriptor_) != 0) {
      throw Failure(kStorage, std::string("cannot be written to the disk: ") + std::strerror(errno));
    }
  });
}

void StreamFile::writeCounts() {
  for (const auto& table : tables_) table->writeCounts();
}

QatStream::Mark StreamFile::mark() const {
  QatStream::Mark mark;
  for (const auto& table : tables_) mark.rows.push_back(table->rows());
  mark.ends = ends_.size();
  return mark;
}

void StreamFile::stepBack(const QatStream::Mark& mark) {
  requireLive();
  if (mark.rows.size() != tables_.size() || mark.ends > ends_.size()) {
    throw Failure(kBadArgument, "the mark to step back to is of another file");
  }
  writing([&] {
    for (; ends_.size() > mark.ends; ends_.pop_back()) table(ends_.back().table).continueLeaf(ends_.back().leaf);
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

void StreamFile::close() {
  if (state_ == State::closed) return;
  if (state_ == State::abandoned) {
    lock_.reset();
    throw Failure(kStorage, "was given up after a write that failed; what was flushed before is in it");
  }
  if (state_ == State::live) flush(false);
  const bool wasLive = state_ == State::live;
  state_ = State::closed;
  writing([&] {
    releaseHandles();
    if (!file_.close()) throw Failure(kStorage, "cannot be closed: " + libraryReason());
    if (wasLive) File::open(name_, File::Mode::update, File::Owner::stream)->close();
  });
  ::close(spare_);
  spare_ = -1;
  lock_.reset();
}

void StreamFile::reopen() {
  if (state_ == State::live) return;
  if (state_ != State::closed) requireLive();
  lock_.emplace(name_);
  open();
  writing([&] {
    for (std::size_t k = 0; k < tables_.size(); ++k) {
      tables_[k]->reopen(*kit_, guard_,
                         Handle(checked(H5Gopen2(root_.get(), linkOf(k).c_str(), H5P_DEFAULT), kDamaged,
                                        "a sample table cannot be opened")));
    }
    writeCounts();
    letReadersIn();
  });
}

/// Lets HDF5 go without touching the file any more, and takes its mark off.
void StreamFile::abandon() {
  state_ = State::abandoned;
  if (spare_ < 0) return;
  if (const int sink = ::open("/dev/null", O_RDWR | O_CLOEXEC); sink >= 0) {
    dup2(sink, descriptor_);
    ::close(sink);
  }
  releaseHandles();
  file_.reset();
  static_cast<void>(clearOpenMark(spare_, true));
  ::close(spare_);
  spare_ = -1;
}

}  // namespace vtu::qat
