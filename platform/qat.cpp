#include "platform/qat.hpp"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "platform/qat/failure.hpp"
#include "platform/qat/library_call.hpp"
#include "platform/qat/qat_file.hpp"

using vtu::qat::Failure;
using vtu::qat::File;

namespace {

thread_local std::string lastError;

/// Runs `work` as a call into HDF5. A failure becomes an error code and qatLastError(), which begins with
/// `subjectOf()`.
template <typename Subject, typename Work>
int guarded(Subject&& subjectOf, Work&& work) noexcept {
  try {
    const std::string subject = subjectOf();
    const vtu::qat::LibraryCall call;
    try {
      work();
      return vtu::qat::kSuccess;
    } catch (const Failure& failure) {
      lastError = subject + ": " + failure.message();
      return failure.code();
    } catch (const std::bad_alloc&) {
      lastError = subject + ": not enough memory";
      return vtu::qat::kOutOfMemory;
    } catch (const std::exception& error) {
      lastError = subject + ": " + error.what();
      return vtu::qat::kDamaged;
    }
  } catch (...) {
    return vtu::qat::kOutOfMemory;
  }
}

File::Mode modeOf(const char* mode) {
  const std::string_view text = mode == nullptr ? "" : mode;
  if (text == "r") return File::Mode::read;
  if (text == "w" || text == "w7.3") return File::Mode::create;
  if (text == "u") return File::Mode::update;
  throw Failure(vtu::qat::kBadArgument,
                "unknown mode \"" + std::string(text) + "\"; it is \"r\", \"w\", \"w7.3\" or \"u\"");
}

/// What an error of an open file begins with.
auto subjectOf(const QatFile* file) {
  return [file] { return file == nullptr ? std::string("Qat file") : "'" + file->file->name() + "'"; };
}

void require(bool condition, const char* what) {
  if (!condition) throw Failure(vtu::qat::kBadArgument, what);
}

/// Pointers and texts in one block, so that one call frees it.
char** packNames(const std::vector<std::string>& names) {
  std::size_t size = (names.size() + 1) * sizeof(char*);
  for (const std::string& name : names) size += name.size() + 1;
  auto* block = static_cast<char**>(std::malloc(size));
  if (block == nullptr) throw std::bad_alloc();
  char* text = reinterpret_cast<char*>(block + names.size() + 1);
  for (std::size_t i = 0; i < names.size(); ++i) {
    block[i] = text;
    std::memcpy(text, names[i].c_str(), names[i].size() + 1);
    text += names[i].size() + 1;
  }
  block[names.size()] = nullptr;
  return block;
}

/// Adds the name of the variable to every failure.
template <typename Work>
void forVariable(const char* name, Work&& work) {
  require(name != nullptr, "the variable's name is null");
  try {
    work(std::string(name));
  } catch (const Failure& failure) {
    throw Failure(failure.code(), "variable \"" + std::string(name) + "\": " + failure.message());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw Failure(vtu::qat::kDamaged, "variable \"" + std::string(name) + "\": " + error.what());
  }
}

}  // namespace

QatFile* qatOpen(const char* name, const char* mode) {
  QatFile* opened = nullptr;
  const auto subject = [name] { return name == nullptr ? std::string("Qat file") : "'" + std::string(name) + "'"; };
  guarded(subject, [&] {
    require(name != nullptr, "the file name is null");
    auto file = std::make_unique<QatFile>();
    file->file = File::open(name, modeOf(mode));
    opened = file.release();
  });
  return opened;
}

qxArray* qatGetVariable(QatFile* file, const char* name) {
  qxArray* array = nullptr;
  guarded(subjectOf(file), [&] {
    require(file != nullptr, "the file is null");
    forVariable(name, [&](const std::string& variable) { array = file->file->get(variable).release(); });
  });
  return array;
}

int qatPutVariable(QatFile* file, const char* name, const qxArray* array) {
  return guarded(subjectOf(file), [&] {
    require(file != nullptr, "the file is null");
    forVariable(name, [&](const std::string& variable) {
      require(array != nullptr, "the array is null");
      file->file->put(variable, *array);
    });
  });
}

int qatDeleteVariable(QatFile* file, const char* name) {
  return guarded(subjectOf(file), [&] {
    require(file != nullptr, "the file is null");
    forVariable(name, [&](const std::string& variable) { file->file->remove(variable); });
  });
}

char** qatGetVariableNames(QatFile* file, int* count) {
  char** names = nullptr;
  if (count != nullptr) *count = -1;
  guarded(subjectOf(file), [&] {
    require(file != nullptr, "the file is null");
    require(count != nullptr, "the address for the number of names is null");
    const auto variables = file->file->variables();
    names = packNames(variables);
    *count = static_cast<int>(variables.size());
  });
  return names;
}

int qatClose(QatFile* file) {
  // Owned outside the guard: the file is freed even if there is no memory for the error with its name.
  std::unique_ptr<QatFile> owned(file);
  const int result = guarded(subjectOf(file), [&] {
    require(file != nullptr, "the file is null");
    file->file->close();
  });
  const vtu::qat::LibraryCall call;  // its end calls HDF5, too
  owned.reset();
  return result;
}

const char* qatLastError() { return lastError.c_str(); }
