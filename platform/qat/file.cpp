#include "platform/qat/file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/qat/driver.hpp"
#include "platform/qat/equality.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/file_format.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/read/late_elements.hpp"
#include "platform/qat/read/reader.hpp"
#include "platform/qat/read/strays.hpp"
#include "platform/qat/ring_format.hpp"
#include "platform/qat/stream/stream_lock.hpp"
#include "platform/qat/stream/unfinished.hpp"
#include "platform/qat/superblock.hpp"
#include "platform/qat/write/remove_link.hpp"
#include "platform/qat/write/table_upkeep.hpp"

namespace vtu::qat {
namespace {

constexpr off_t kReserve = 256 << 10;  // bytes that linking one more variable surely does not need

}  // namespace

std::unique_ptr<File> File::open(const std::string& name, Mode mode, Owner owner,
                                 std::span<const std::uint64_t> streamedRows) {
  std::unique_ptr<File> file(new File(name, mode, owner));
  if (mode != Mode::read && owner == Owner::anybody) requireNotStreamed(file->descriptor_.get());
  if (mode == Mode::create) {
    file->create();
  } else {
    file->openExisting(streamedRows);
  }
  return file;
}

File::File(std::string name, Mode mode, Owner owner)
    : name_(std::move(name)),
      mode_(mode),
      owner_(owner),
      descriptor_(name_,
                  mode == Mode::read     ? O_RDONLY
                  : mode == Mode::update ? O_RDWR
                                         : O_RDWR | O_CREAT,
                  owner == Owner::anybody),
      bytes_(descriptor_.get()),
      integrity_(bytes_),
      shared_([this](haddr_t address, const qxArray& array) { return holds(address, array); }) {}

File::~File() {
  root_.reset();
  file_.reset();
}

void File::create() {
  const Handle access = makeAccessList(Changes::none);
  const WatchedOpening opening(failure_);
  file_ = Handle(checked(H5Fcreate(name_.c_str(), H5F_ACC_TRUNC, makeFileCreationList().get(), access.get()), kStorage,
                         "cannot be created"));
  abandoningOnFailure([this] {
    takeRoot();
    writeFormat(kit_, root_.get());
    flush();
    settle();
  });
}

/// The file is not changed before it has been recognised as a Qat file.
void File::openExisting(std::span<const std::uint64_t> streamedRows) {
  const Superblock superblock = readSuperblock(bytes_);
  if (!superblock.markedAsOpen()) integrity_.endAt(superblock.endOfFile);
  integrity_.requireObject(superblock.rootAddress, mode_ == Mode::read ? Purpose::reading : Purpose::changing);
  live_ = superblock.markedAsStreamed();
  openLibraryFile(live_ ? H5F_ACC_RDONLY | H5F_ACC_SWMR_READ : H5F_ACC_RDONLY);
  checkFormat();
  if (mode_ == Mode::read) {
    if (live_) static_cast<void>(flock(descriptor_.get(), LOCK_UN));
    return;
  }
  live_ = false;
  root_.reset();
  file_.reset();
  if (superblock.markedAsOpen() && !clearOpenMark(descriptor_.get(), true)) {
    throw Failure(kStorage, "is marked as being written, and cannot be mended");
  }
  openLibraryFile(H5F_ACC_RDWR);
  abandoningOnFailure([this, streamedRows] {
    finishStream(source(), streamedRows);
    flush();
    settle();
  });
  if (owner_ == Owner::stream) samples_.leaveRoomForCounts();
  if (owner_ == Owner::anybody && has(kStraysGroup)) placeStrays();
}

/// Puts the strays of a run that was killed in their place: the variables are written again with them.
void File::placeStrays() {
  std::vector<std::unique_ptr<Reader>> readers;  // arrays read from the file until they are written
  std::vector<qalc::ArrayPtr> arrays;
  std::vector<std::pair<std::string, const qxArray*>> changed;
  for (const std::string& name : variables()) {
    Reader& reader = *readers.emplace_back(std::make_unique<Reader>(source()));
    arrays.push_back(reader.readLazily(root_.get(), encodeName(name)));
    if (reader.hasStrays()) changed.emplace_back(name, arrays.back().get());
  }
  putAll(changed, true);
}

void File::openLibraryFile(unsigned flags) {
  const Handle access = makeAccessList(flags == H5F_ACC_RDWR ? Changes::inPlace : Changes::none);
  const WatchedOpening opening(failure_);
  file_ = Handle(checked(H5Fopen(name_.c_str(), flags, access.get()), kDamaged, "cannot be opened"));
  takeRoot();
}

void File::takeRoot() {
  if (!descriptor_.isSameFileAs(descriptorOf(file_.get()))) {
    *failure_ = "another file";
    throw Failure(kStorage, "was replaced by another file while it was opened");
  }
  root_ = Handle(checked(H5Gopen2(file_.get(), "/", H5P_DEFAULT), kDamaged, "its root group cannot be opened"));
}

void File::checkFormat() {
  Reader reader(source());
  if (reader.textAttribute(root_.get(), kFormatAttribute) != "qat") {
    throw Failure(kDamaged, "is not a Qat file: the root attribute qat.format does not say \"qat\"");
  }
  const Handle attribute(H5Aopen(root_.get(), kVersionAttribute, H5P_DEFAULT));
  const Handle space(attribute ? H5Aget_space(attribute.get()) : H5I_INVALID_HID);
  std::uint32_t version = 0;
  if (!space || H5Sget_simple_extent_npoints(space.get()) != 1 ||
      H5Aread(attribute.get(), H5T_NATIVE_UINT32, &version) < 0) {
    throw Failure(kDamaged, "is not a Qat file: it has no root attribute qat.version");
  }
  if (version != kVersion) {
    throw Failure(kUnsupported, "has format version " + std::to_string(version) + "; this library reads version " +
                                    std::to_string(kVersion));
  }
}

void File::requireUsable() const {
  if (!failure_->empty()) throw Failure(kStorage, "was given up after a write that failed: " + *failure_);
}

void File::requireWritable() const {
  requireUsable();
  if (mode_ == Mode::read) throw Failure(kNotWritable, "is open for reading only");
}

bool File::has(const std::string& link) const { return hasMember(root_.get(), link); }

Source File::source() {
  requireUsable();
  if (mode_ != Mode::read || live_) fileChanged();
  return {kit_, bytes_, integrity_, root_.get(), name_, live_};
}

qalc::ArrayPtr File::get(const std::string& variable) {
  const Source source = this->source();
  const std::string link = encodeName(variable);
  return Reader(source).readVariable(root_.get(), link);
}

void File::put(const std::string& variable, const qxArray& array) {
  const std::pair<std::string, const qxArray*> one{variable, &array};
  putAll({&one, 1}, false);
}

void File::putAll(std::span<const std::pair<std::string, const qxArray*>> variables, bool withoutStrays) {
  requireWritable();
  requireSamplesChangeable();
  try {
    abandoningOnFailure([&] {
      std::vector<std::pair<std::string, Handle>> staged;
      for (const auto& variable : variables) {
        const std::string name = encodeName(variable.first);
        staged.emplace_back(name, atPlace(variable.first, [&] { return stage(name, *variable.second); }));
      }
      flush();  // the links to tables are in the file before what refers to them
      bool leavesTables = false;
      for (const auto& [name, staging] : staged) leavesTables = link(staging, name) || leavesTables;
      if (withoutStrays && has(kStraysGroup)) {
        removeLink(source(), root_.get(), kStraysGroup, false);
        if (has(kRingsGroup)) removeLink(source(), root_.get(), kRingsGroup, false);
      }
      if (leavesTables) removeUnusedTables();
      flush();
      settle();
    });
  } catch (...) {
    shared_.clear();
    samples_.clear();
    throw;
  }
}

/// Writes a variable into a group that has no link. Its tables are linked.
Handle File::stage(const std::string& name, const qxArray& array) {
  shared_.beginVariable();
  Handle staging(checked(H5Gcreate_anon(file_.get(), kit_.groupList(), H5P_DEFAULT), kStorage, "cannot make a group"));
  samples_.write(array, root_.get(), staging.get(), [&] { return keptNames(source(), name, keptTables_, leaving_); });
  if (owner_ == Owner::stream) samples_.addPlaces(places_);
  Writer(file_.get(), kit_, shared_, samples_).writeMember(staging.get(), name, array);
  keepWithoutLink(staging.get(), name);
  flush();
  reserve();
  samples_.link(root_.get(), staging.get());
  return staging;
}

void File::remove(const std::string& variable) {
  requireWritable();
  const std::string link = encodeName(variable);
  if (!has(link)) throw Failure(kAbsent, "no such variable");
  requireSamplesChangeable();
  abandoningOnFailure([&] {
    reserve();
    if (unlink(link)) removeUnusedTables();
    flush();
    settle();
  });
}

/// Checks that were made before this session wrote to the file are not valid any more.
void File::fileChanged() { integrity_.forget(); }

/// Tables are added and removed with variables.
void File::requireSamplesChangeable() {
  fileChanged();
  if (!has(kSamplesGroup)) return;
  H5L_info_t info;
  checked(H5Lget_info(root_.get(), kSamplesGroup, &info, H5P_DEFAULT), kDamaged, "the sample tables cannot be found");
  if (info.type != H5L_TYPE_HARD) throw Failure(kUnsupported, "qat.samples is a soft or external link");
  integrity_.requireObject(info.u.address, Purpose::changing);
}

/// @return True if there was one of that name before, to whose tables no variable may refer now.
bool File::link(const Handle& staging, const std::string& link) {
  const bool leavesTables = has(link) && unlink(link);
  checked(H5Lcreate_hard(staging.get(), link.c_str(), root_.get(), link.c_str(), H5P_DEFAULT, H5P_DEFAULT), kStorage,
          "the variable cannot be linked");
  written_.insert(link);
  return leavesTables;
}

/// @return True if there may be tables now that no variable refers to.
bool File::unlink(const std::string& link) {
  flush();  // what is read must be in the file
  const bool leavesTables = mayReferToTables(source(), link);
  shared_.clear();
  removeLink(source(), root_.get(), link, written_.erase(link) > 0);
  return leavesTables;
}

void File::removeUnusedTables() {
  flush();  // what is read must be in the file
  qat::removeUnusedTables(source(), mode_ == Mode::create, keptTables_);
  samples_.clear();
}

std::vector<std::string> File::variables() {
  requireUsable();
  std::vector<std::string> names;
  for (const std::string& link : memberNames(root_.get())) {
    if (!link.starts_with("qat.")) names.push_back(decodeName(link));
  }
  if (!has(kStraysGroup)) return names;
  for (std::string& late : lateVariables(Strays(source()).descriptions())) {
    if (std::find(names.begin(), names.end(), late) == names.end()) names.push_back(std::move(late));
  }
  return names;
}

void File::flush() {
  checked(H5Fflush(file_.get(), H5F_SCOPE_LOCAL), kStorage, "cannot be written");
  integrity_.endAt(endOfFile());  // what is in the file now; what HDF5 changes from here on is not in it yet
  requireWritten();
}

void File::requireWritten() {
  if (!failure_->empty()) throw Failure(kStorage, "cannot be written: " + *failure_);
}

haddr_t File::endOfFile() const {
  haddr_t end = 0;
  checked(H5Fget_eoa(file_.get(), &end), kStorage, "cannot be measured");
  return end;
}

void File::reserve() const {
  const haddr_t end = endOfFile();
  if (fallocate(bytes_.descriptor(), 0, static_cast<off_t>(end), kReserve) == 0) return;
  if (errno != EOPNOTSUPP && errno != ENOSYS) {
    throw Failure(kStorage, std::string("cannot be written: ") + std::strerror(errno));
  }
}

void File::settle() {
  const haddr_t end = endOfFile();
  if (bytes_.size() > end && ftruncate(bytes_.descriptor(), static_cast<off_t>(end)) != 0) {
    throw Failure(kStorage, std::string("cannot be cut to size: ") + std::strerror(errno));
  }
  // If this program is killed from here on, the next reader finds a closed file.
  if (!clearOpenMark(bytes_.descriptor(), false)) throw Failure(kStorage, "its superblock cannot be written");
}

/// Runs work that writes. When the storage fails, what HDF5 has still to write is unknown: the file is abandoned.
template <typename Work>
void File::abandoningOnFailure(Work&& work) {
  try {
    work();
  } catch (const Failure& failure) {
    if (failure.code() == kStorage) abandon(failure.message());
    throw;
  }
}

/// HDF5 closes the file; what it has still to write is discarded.
void File::abandon(const std::string& reason) {
  if (failure_->empty()) *failure_ = reason;
  shared_.clear();
  root_.reset();
  file_.reset();
  static_cast<void>(clearOpenMark(descriptor_.get(), true));
  descriptor_.reset();
}

void File::close() {
  if (!failure_->empty()) {
    throw Failure(kStorage,
                  "was given up after a write that failed: " + *failure_ + "; what was flushed before is in it");
  }
  abandoningOnFailure([this] {
    if (mode_ != Mode::read) flush();
    root_.reset();
    if (!file_.close()) throwLibraryFailure(kStorage, "cannot be closed");
    requireWritten();
  });
}

bool File::holds(haddr_t address, const qxArray& array) {
  try {
    return sameValue(Reader(source()).readAt(address).get(), &array);
  } catch (const Failure&) {
    return false;
  }
}

}  // namespace vtu::qat
