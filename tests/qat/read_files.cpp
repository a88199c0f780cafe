// Reads whole Qat files, for the tests that are scripts.
//
//   qat_read_files print FILE        every variable as lines of text, the same for the same values
//   qat_read_files survive FILE...   reads and changes each file in a child process; fails if one of them kills it or
//                                    takes more than 2 s of processor time (10 under ASan), or the process over 1 GiB
#include <sys/time.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "guarded.hpp"
#include "platform/qalc.hpp"
#include "platform/qat.hpp"

namespace {

using vtio::tests::limitMemory;

std::vector<std::string> namesOf(QatFile* file) {
  int count = 0;
  char** list = qatGetVariableNames(file, &count);
  std::vector<std::string> names;
  if (list == nullptr && *qatLastError() == '\0') std::abort();
  for (int i = 0; list != nullptr && i < count; ++i) names.emplace_back(list[i]);
  qxFree(list);
  return names;
}

template <typename Value>
std::string numbers(const qxArray* array) {
  const auto* values = static_cast<const Value*>(qxGetConstData(array));
  const std::size_t count = qxGetNumberOfElements(array) * (qxIsComplex(array) ? 2 : 1);
  std::string text;
  char digits[40];
  for (std::size_t i = 0; i < count; ++i) {
    text += ' ';
    text.append(digits, std::to_chars(digits, digits + sizeof digits, values[i]).ptr);
  }
  return text;
}

std::string numericValues(const qxArray* array) {
  switch (qxGetClassID(array)) {
    case qxDOUBLE:
      return numbers<double>(array);
    case qxSINGLE:
      return numbers<float>(array);
    case qxINT8:
      return numbers<std::int8_t>(array);
    case qxLOGICAL:
    case qxUINT8:
      return numbers<std::uint8_t>(array);
    case qxINT16:
      return numbers<std::int16_t>(array);
    case qxCHAR:
    case qxUINT16:
      return numbers<std::uint16_t>(array);
    case qxINT32:
      return numbers<std::int32_t>(array);
    case qxUINT32:
      return numbers<std::uint32_t>(array);
    case qxINT64:
      return numbers<std::int64_t>(array);
    default:
      return numbers<std::uint64_t>(array);
  }
}

void print(const std::string& place, const qxArray* array) {
  if (array == nullptr) return static_cast<void>(std::printf("%s: nothing\n", place.c_str()));
  std::string line = place + ": class " + std::to_string(qxGetClassID(array)) + ",";
  for (std::size_t i = 0; i < qxGetNumberOfDimensions(array); ++i) {
    line += ' ' + std::to_string(qxGetDimensions(array)[i]);
  }
  const bool isContainer = qxGetClassID(array) == qxCELL || qxGetClassID(array) == qxSTRUCT;
  std::printf("%s:%s\n", line.c_str(), isContainer ? "" : numericValues(array).c_str());
  if (!isContainer) return;
  for (std::size_t i = 0; i < qxGetNumberOfElements(array); ++i) {
    const std::string element = place + "[" + std::to_string(i) + "]";
    if (qxGetClassID(array) == qxCELL) print(element, qxGetCell(array, i));
    const int fields = qxGetClassID(array) == qxSTRUCT ? qxGetNumberOfFields(array) : 0;
    for (int f = 0; f < fields; ++f) {
      const char* name = qxGetFieldName(array, f);
      print(element + "." + name, qxGetField(array, i, name));
    }
  }
}

int printFile(const char* path) {
  QatFile* file = qatOpen(path, "r");
  if (file == nullptr) return std::fprintf(stderr, "%s\n", qatLastError()), 1;
  int status = 0;
  for (const std::string& name : namesOf(file)) {
    qxArray* array = qatGetVariable(file, name.c_str());
    if (array == nullptr) {
      std::printf("%s: unreadable: %s\n", name.c_str(), qatLastError());
      status = 1;
    } else {
      print(name, array);
    }
    qxDestroyArray(array);
  }
  return qatClose(file) == 0 ? status : 1;
}

/// A failing call must leave a message.
void requireReason() {
  if (*qatLastError() == '\0') std::abort();
}

/// @return how many variables were read
int readFile(const char* path) {
  QatFile* file = qatOpen(path, "r");
  if (file == nullptr) return requireReason(), 0;
  int good = 0;
  for (const std::string& name : namesOf(file)) {
    qxArray* array = qatGetVariable(file, name.c_str());
    if (array == nullptr) requireReason();
    good += array != nullptr ? 1 : 0;
    qxDestroyArray(array);
  }
  qatClose(file);
  return good;
}

void changeFile(const char* path) {
  QatFile* file = qatOpen(path, "u");
  if (file == nullptr) return requireReason();
  qxArray* text = qxCreateString("new");
  const auto names = namesOf(file);
  qatPutVariable(file, "another", text);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const int result =
        i % 2 == 0 ? qatPutVariable(file, names[i].c_str(), text) : qatDeleteVariable(file, names[i].c_str());
    if (result != 0) requireReason();
  }
  qxDestroyArray(text);
  if (qatClose(file) != 0) std::abort();
}

#if defined(__has_feature)
#define VTIO_HAS_FEATURE(name) __has_feature(name)
#else
#define VTIO_HAS_FEATURE(name) 0
#endif

// Some files need a third of a second, and AddressSanitizer makes all of it several times slower.
#if defined(__SANITIZE_ADDRESS__) || VTIO_HAS_FEATURE(address_sanitizer)
constexpr time_t kMostSeconds = 10;
#else
constexpr time_t kMostSeconds = 2;
#endif

/// Lets SIGPROF end the process unless this is called again within these seconds of processor time.
void limitProcessorTime() {
  const itimerval limit{{0, 0}, {kMostSeconds, 0}};
  setitimer(ITIMER_PROF, &limit, nullptr);
}

/// Reads and changes files one after the other and writes to `pipe` how many variables of each were read.
[[noreturn]] void surviveFiles(int count, char** paths, int pipe) {
  limitMemory(std::uint64_t{1} << 30U);
  for (int i = 0; i < count; ++i) {
    limitProcessorTime();
    const int good = readFile(paths[i]);
    changeFile(paths[i]);
    if (write(pipe, &good, sizeof good) != sizeof good) std::_Exit(1);
  }
  std::_Exit(0);
}

struct Survived {
  int files = 0;  // that were read and changed, in order
  int whole = 0;  // of which something could be read
  int variables = 0;
  int signal = 0;  // that killed the process at the next file; 0 if it ended otherwise
};

/// Has one child process read files, as far as it gets.
Survived surviveInChild(int count, char** paths) {
  Survived result;
  int pipe[2];
  if (::pipe(pipe) != 0) return result;
  const pid_t child = fork();
  if (child == 0) surviveFiles(count, paths, pipe[1]);
  ::close(pipe[1]);
  int good = 0;
  for (; read(pipe[0], &good, sizeof good) == sizeof good; ++result.files) {
    result.variables += good;
    result.whole += good > 0 ? 1 : 0;
  }
  ::close(pipe[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  return result;
}

int survive(int count, char** paths) {
  const int atOnce = 50;  // files of one process: starting one costs more than reading a file
  int bad = 0, variables = 0, whole = 0;
  for (int i = 0; i < count;) {
    const int wanted = std::min(atOnce, count - i);
    const Survived got = surviveInChild(wanted, paths + i);
    variables += got.variables;
    whole += got.whole;
    i += got.files;
    if (got.files == wanted) continue;
    std::printf("%s: %s\n", paths[i++], got.signal == 0 ? "ended badly" : strsignal(got.signal));
    ++bad;
  }
  std::printf("%d files: %d with something to read, %d variables read, %d ended badly\n", count, whole, variables, bad);
  return bad == 0 && whole > count / 2 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "print") == 0) return printFile(argv[2]);
  if (argc > 2 && std::strcmp(argv[1], "survive") == 0) return survive(argc - 2, argv + 2);
  std::fprintf(stderr, "usage: qat_read_files print FILE | survive FILE...\n");
  return 2;
}
