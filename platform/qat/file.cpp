#include "platform/qat/file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/qat/attributes.hpp"
#include "platform/qat/equality.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/file_format.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/read/reader.hpp"
#include "platform/qat/stream/stream_lock.hpp"
#include "platform/qat/stream/unfinished.hpp"
#include "platform/qat/superblock.hpp"
#include "platform/qat/write/table_upkeep.hpp"

namespace vtu::qat {
namespace {

constexpr unsigned kLiveAttempts = 20;  // to read metadata that may be half-written
constexpr off_t kReserve = 256 << 10;   // bytes that linking one more variable surely does not need

/// A plain descriptor for the looks and repairs that happen before HDF5 opens the file.
class Descriptor final {
 public:
  Descriptor(const std::string& name, int flags, ErrorCode code)
      : value_(::open(name.c_str(), flags | O_CLOEXEC, 0666)) {
    if (value_ < 0)
      throw Failure(errno == ENOENT ? kAbsent : code, std::string("cannot be opened: ") + std::strerror(errno));
    struct stat status {};
    if (fstat(value_, &status) != 0 || !S_ISREG(status.st_mode)) {
      ::close(value_);
      throw Failure(kStorage, "is not a regular file");
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { ::close(value_); }

  [[nodiscard]] int get() const { return value_; }

 private:
  int value_;
};

/// Takes the mark off that a writer left behind when it was killed; a writer that lives holds the lock.
void mendOpenMark(const std::string& name) {
  const Descriptor descriptor(name, O_RDWR | O_NONBLOCK, kStorage);
  if (flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0) throw Failure(kStorage, "is being written by another program");
  if (!clearOpenMark(descriptor.get(), true))
    throw Failure(kStorage, "is marked as being written, and cannot be mended");
}

}  // namespace

std::unique_ptr<File> File::open(const std::string& name, Mode mode, Owner owner) {
  std::unique_ptr<File> file(new File(name, mode, owner));
  if (mode == Mode::create) {
    file->create();
  } else {
    file->openExisting();
  }
  return file;
}

File::File(std::string name, Mode mode, Owner owner)
    : name_(std::move(name)),
      mode_(mode),
      owner_(owner),
      shared_([this](haddr_t address, const qxArray& array) { return holds(address, array); }) {}

File::~File() {
  root_.reset();
  file_.reset();
  if (spare_ >= 0) ::close(spare_);
}

void File::create() {
  const bool exists = ::access(name_.c_str(), F_OK) == 0;
  if (exists) requireNotStreamed(Descriptor(name_, O_RDWR | O_NONBLOCK, kStorage).get());
  const Handle access = makeAccessList();
  file_ = Handle(checked(
      H5Fcreate(name_.c_str(), exists ? H5F_ACC_TRUNC : H5F_ACC_EXCL, makeFileCreationList().get(), access.get()),
      kStorage, "cannot be created"));
  try {
    takeDescriptor(access.get());
    writeFormat(kit_, root_.get());
    flush();
    settle();
  } catch (const Failure&) {
    abandon();
    throw;
  }
}

void File::openExisting() {
  const bool update = mode_ == Mode::update;
  if (inspect()) {
    mendOpenMark(name_);
    static_cast<void>(inspect());
  }
  const Handle access = makeAccessList();
  // Readers that are still attached hold a lock of HDF5; whoever streams has a better one.
  if (owner_ == Owner::stream) checked(H5Pset_file_locking(access.get(), false, true), kStorage, "cannot be opened");
  if (live_) checked(H5Pset_metadata_read_attempts(access.get(), kLiveAttempts), kStorage, "cannot be opened");
  const unsigned flags = update ? H5F_ACC_RDWR : live_ ? H5F_ACC_RDONLY | H5F_ACC_SWMR_READ : H5F_ACC_RDONLY;
  file_ = Handle(checked(H5Fopen(name_.c_str(), flags, access.get()), kDamaged, "cannot be opened"));
  takeDescriptor(access.get());
  checkFormat();
  if (update) finishStream();
}

/// Makes a file plain whose writer streamed into it and died, or is about to close it.
void File::finishStream() {
  try {
    qat::finishStream(source());
    flush();
    settle();
  } catch (const Failure& failure) {
    if (failure.code() == kStorage) abandon();
    throw;
  }
}

/// Looks at what HDF5 reads when it opens the file. @return true if the file is marked as open, which must be mended first.
bool File::inspect() {
  const Descriptor descriptor(name_, (mode_ == Mode::update ? O_RDWR : O_RDONLY) | O_NONBLOCK, kStorage);
  const FileBytes bytes(descriptor.get());
  const Superblock superblock = readSuperblock(descriptor.get(), bytes.size());
  if (mode_ != Mode::read && owner_ == Owner::anybody) requireNotStreamed(descriptor.get());
  live_ = mode_ == Mode::read && superblock.letsReadersIn();
  if (superblock.markedAsOpen() && !live_) return true;
  source_.emplace(bytes);
  integrity_.emplace(*source_, mode_ == Mode::read ? Purpose::reading : Purpose::changing);
  if (!live_) {
    integrity_->requireExtension(superblock.extension);
    integrity_->requireObject(superblock.rootAddress);
  }
  return false;
}

void File::takeDescriptor(hid_t accessList) {
  void* handle = nullptr;
  checked(H5Fget_vfd_handle(file_.get(), accessList, &handle), kStorage, "has no descriptor");
  bytes_ = FileBytes(*static_cast<int*>(handle));
  spare_ = fcntl(bytes_.descriptor(), F_DUPFD_CLOEXEC, 0);
  if (spare_ < 0) throw Failure(kStorage, std::string("cannot be opened: ") + std::strerror(errno));
  if (source_) {
    source_->use(bytes_);
  } else {
    source_.emplace(bytes_);
    integrity_.emplace(*source_, mode_ == Mode::read ? Purpose::reading : Purpose::changing);
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
      H5Aread(attribute.get(), H5T_NATIVE_UINT32, &version) < 0 || version == 0) {
    throw Failure(kDamaged, "is not a Qat file: it has no root attribute qat.version");
  }
  if (version != kVersion) {
    throw Failure(kUnsupported, "has format version " + std::to_string(version) + "; this library reads version " +
                                    std::to_string(kVersion));
  }
}

void File::requireUsable() const {
  if (abandoned_) throw Failure(kStorage, "was given up after a write that failed");
}

void File::requireWritable() const {
  requireUsable();
  if (mode_ == Mode::read) throw Failure(kNotWritable, "is open for reading only");
}

bool File::has(const std::string& link) const { return hasMember(root_.get(), link); }

Source File::source() {
  requireUsable();
  if (mode_ != Mode::read || live_) fileChanged();
  return {kit_, bytes_, *integrity_, root_.get(), name_, live_ ? &*source_ : nullptr};
}

qalc::ArrayPtr File::get(const std::string& variable) {
  const Source source = this->source();
  const std::string link = encodeName(variable);
  if (!has(link)) throw Failure(kAbsent, "no such variable");
  return Reader(source).readVariable(root_.get(), link);
}

void File::put(const std::string& variable, const qxArray& array) {
  requireWritable();
  const std::string name = encodeName(variable);
  fileChanged();
  if (has(name)) requireDeletable(name);
  shared_.beginVariable();
  try {
    const Handle staging(
        checked(H5Gcreate_anon(file_.get(), kit_.groupList(), H5P_DEFAULT), kStorage, "cannot make a group"));
    samples_.write(array, root_.get(), staging.get(), [&] { return keptNames(source(), name); });
    Writer(file_.get(), kit_, shared_, samples_).writeMember(staging.get(), name, array);
    flush();
    link(staging, name);
  } catch (const Failure& failure) {
    shared_.clear();
    samples_.clear();
    if (failure.code() == kStorage) abandon();
    throw;
  } catch (...) {
    shared_.clear();
    samples_.clear();
    throw;
  }
  flush();
  settle();
}

/// What was checked before this session wrote to the file counts no more.
void File::fileChanged() {
  source_->use(bytes_);
  integrity_->forget();
}

/// HDF5 goes through all of an object when it deletes it. What this library wrote since the file was made needs no look.
void File::requireDeletable(const std::string& link) {
  if (mode_ != Mode::update) return;
  H5L_info_t info;
  checked(H5Lget_info(root_.get(), link.c_str(), &info, H5P_DEFAULT), kDamaged, "the variable cannot be found");
  if (info.type == H5L_TYPE_HARD) integrity_->requireTree(info.u.address);
}

void File::link(const Handle& staging, const std::string& link) {
  reserve();
  samples_.link(root_.get(), staging.get());
  const bool replaced = has(link);
  if (replaced) {
    checked(H5Ldelete(root_.get(), link.c_str(), H5P_DEFAULT), kStorage, "the old variable cannot be removed");
    shared_.clear();
  }
  checked(H5Lcreate_hard(staging.get(), link.c_str(), root_.get(), link.c_str(), H5P_DEFAULT, H5P_DEFAULT), kStorage,
          "the variable cannot be linked");
  if (replaced) removeUnusedTables();
}

void File::removeUnusedTables() {
  flush();  // what is looked at must be in the file
  qat::removeUnusedTables(source(), mode_ == Mode::create);
  samples_.clear();
}

void File::remove(const std::string& variable) {
  requireWritable();
  const std::string link = encodeName(variable);
  if (!has(link)) throw Failure(kAbsent, "no such variable");
  fileChanged();
  requireDeletable(link);
  shared_.clear();
  checked(H5Ldelete(root_.get(), link.c_str(), H5P_DEFAULT), kStorage, "the variable cannot be removed");
  removeUnusedTables();
  flush();
  settle();
}

std::vector<std::string> File::variables() {
  requireUsable();
  std::vector<std::string> names;
  for (const std::string& link : memberNames(root_.get())) {
    if (!link.starts_with("qat.")) names.push_back(decodeName(link));
  }
  return names;
}

void File::flush() {
  if (H5Fflush(file_.get(), H5F_SCOPE_LOCAL) >= 0) return;
  const std::string reason = libraryReason();
  abandon();
  throw Failure(kStorage, "cannot be written: " + reason);
}

void File::reserve() const {
  haddr_t end = 0;
  checked(H5Fget_eoa(file_.get(), &end), kStorage, "cannot be measured");
  if (fallocate(bytes_.descriptor(), 0, static_cast<off_t>(end), kReserve) == 0) return;
  if (errno != EOPNOTSUPP && errno != ENOSYS) {
    throw Failure(kStorage, std::string("cannot be written: ") + std::strerror(errno));
  }
}

void File::settle() {
  haddr_t end = 0;
  checked(H5Fget_eoa(file_.get(), &end), kStorage, "cannot be measured");
  if (bytes_.size() > end && ftruncate(bytes_.descriptor(), static_cast<off_t>(end)) != 0) {
    throw Failure(kStorage, std::string("cannot be cut to size: ") + std::strerror(errno));
  }
  // Whatever happens to this program from here on, the next reader finds a closed file.
  if (!clearOpenMark(bytes_.descriptor(), false)) throw Failure(kStorage, "its superblock cannot be written");
}

void File::abandon() {
  if (abandoned_) return;
  abandoned_ = true;
  shared_.clear();
  if (spare_ < 0) return;
  if (const int sink = ::open("/dev/null", O_RDWR | O_CLOEXEC); sink >= 0) {
    // What HDF5 still holds back goes nowhere: closing can neither fail at the disk nor harm what is on it.
    dup2(sink, bytes_.descriptor());
    ::close(sink);
  }
  root_.reset();
  file_.reset();
  static_cast<void>(clearOpenMark(spare_, true));
  ::close(spare_);
  spare_ = -1;
}

void File::close() {
  root_.reset();
  if (abandoned_) throw Failure(kStorage, "was given up after a write that failed; what was flushed before is in it");
  if (!file_.close()) {
    const std::string reason = libraryReason();
    if (mode_ != Mode::read) static_cast<void>(clearOpenMark(spare_, true));
    throw Failure(kStorage, "cannot be closed: " + reason);
  }
}

bool File::holds(haddr_t address, const qxArray& array) {
  try {
    return sameValue(Reader(source()).readAt(address).get(), &array);
  } catch (const Failure&) {
    return false;
  }
}

}  // namespace vtu::qat
