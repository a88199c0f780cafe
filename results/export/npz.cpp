#include "results/export/npz.hpp"

#include <zip.h>

#include <cstring>
#include <exception>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "results/export/npy.hpp"
#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

struct Archive {
  SeriesBatches& signals;
  bool raw;
  const Job& job;
  std::exception_ptr failure;  // of a signal that could not be read
};

/// One array, made when the archive is written and released behind it.
struct Entry {
  Archive& archive;
  std::size_t signal;
  bool isTime;
  std::string bytes;
  std::size_t position = 0;
  zip_error_t error{};

  void open() {
    const std::vector<const SignalInfo*>& list = archive.signals.signals();
    archive.job.step(static_cast<double>(signal) / static_cast<double>(list.size()));
    const SeriesView series = archive.signals.series(signal);
    bytes = isTime ? npyTimes(series) : npyValues(*list[signal], series, archive.raw);
    position = 0;
  }

  zip_int64_t read(void* out, zip_uint64_t size) {
    const std::size_t count = std::min<std::size_t>(size, bytes.size() - position);
    std::memcpy(out, bytes.data() + position, count);
    position += count;
    return static_cast<zip_int64_t>(count);
  }
};

zip_int64_t openEntry(Entry& entry) {
  try {
    entry.open();
    return 0;
  } catch (...) {  // libzip is C: the failure passes through it as an error code
    entry.archive.failure = std::current_exception();
    zip_error_set(&entry.error, ZIP_ER_READ, 0);
    return -1;
  }
}

zip_int64_t describe(void* data) {
  auto* stat = static_cast<zip_stat_t*>(data);
  zip_stat_init(stat);
  stat->valid = ZIP_STAT_MTIME;
  stat->mtime = 315532800;  // 1980, the same whenever it is made
  return sizeof *stat;
}

zip_int64_t serve(void* state, void* data, zip_uint64_t size, zip_source_cmd_t command) {
  auto& entry = *static_cast<Entry*>(state);
  switch (command) {
    case ZIP_SOURCE_SUPPORTS:
      return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                                            ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    case ZIP_SOURCE_OPEN:
      return openEntry(entry);
    case ZIP_SOURCE_READ:
      return entry.read(data, size);
    case ZIP_SOURCE_CLOSE:
      entry.bytes = {};
      return 0;
    case ZIP_SOURCE_STAT:
      return describe(data);
    case ZIP_SOURCE_ERROR:
      return zip_error_to_data(&entry.error, data, size);
    default:
      return 0;
  }
}

class Writer {
 public:
  Writer(Archive& archive, const TargetFile& target) : archive_(archive), target_(target) {
    int error = 0;
    zip_ = zip_open(target.temporaryPath().c_str(), ZIP_TRUNCATE, &error);
    if (zip_ == nullptr) {
      zip_error_t reason;
      zip_error_init_with_code(&reason, error);
      const std::string text = zip_error_strerror(&reason);
      zip_error_fini(&reason);
      throw ResultsError(target.path(), "cannot write: " + text);
    }
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() {
    if (zip_ != nullptr) zip_discard(zip_);
  }

  void add(const std::string& name, std::size_t signal, bool isTime) {
    entries_.push_back(std::make_unique<Entry>(Entry{archive_, signal, isTime, {}, 0, {}}));
    zip_source_t* source = zip_source_function(zip_, serve, entries_.back().get());
    if (source == nullptr) fail();
    const zip_int64_t index = zip_file_add(zip_, (name + ".npy").c_str(), source, ZIP_FL_ENC_UTF_8);
    if (index < 0) {
      zip_source_free(source);
      fail();
    }
    if (zip_set_file_compression(zip_, static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0) != 0) fail();
  }

  void close() {
    if (zip_close(zip_) != 0) {
      if (archive_.failure) std::rethrow_exception(archive_.failure);
      fail();
    }
    zip_ = nullptr;
  }

 private:
  [[noreturn]] void fail() { throw ResultsError(target_.path(), std::string("cannot write: ") + zip_strerror(zip_)); }

  Archive& archive_;
  const TargetFile& target_;
  zip_t* zip_ = nullptr;
  std::vector<std::unique_ptr<Entry>> entries_;
};

}  // namespace

void writeNpz(SeriesBatches& signals, bool raw, TargetFile& target, const Job& job) {
  Archive archive{signals, raw, job, nullptr};
  Writer writer(archive, target);
  std::set<std::string> names;
  for (const SignalInfo* signal : signals.signals()) names.insert(signal->name);
  for (std::size_t i = 0; i < signals.signals().size(); ++i) {
    const std::string& name = signals.signals()[i]->name;
    writer.add(name, i, false);
    if (!names.contains(name + ".time")) writer.add(name + ".time", i, true);
  }
  writer.close();
}

}  // namespace vtio::results
