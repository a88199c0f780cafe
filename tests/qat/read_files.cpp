// Reads whole Qat files, for the tests that are scripts.
//
//   qat_read_files print FILE        every variable as lines of text, the same for the same values
//   qat_read_files survive FILE...   reads and changes each file in a process of its own; fails if one of them is
//   killed, or
//                                    takes more than 2 s of processor time or 1 GiB
#include <sys/resource.h>

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

/// @return variables that were read; minus the signal or 1000 if it failed.
int surviveFile(const char* path) {
  int pipe[2];
  if (::pipe(pipe) != 0) return -1000;
  const pid_t child = fork();
  if (child == 0) {
    limitMemory(std::uint64_t{1} << 30U);
#if !defined(__SANITIZE_ADDRESS__)
    const rlimit seconds{2, 3};
    setrlimit(RLIMIT_CPU, &seconds);
#endif
    const int good = readFile(path);
    changeFile(path);
    std::_Exit(write(pipe[1], &good, sizeof good) == sizeof good ? 0 : 1);
  }
  ::close(pipe[1]);
  int status = 0, good = -1000;
  waitpid(child, &status, 0);
  const bool told = read(pipe[0], &good, sizeof good) == sizeof good;
  ::close(pipe[0]);
  if (WIFSIGNALED(status)) return -WTERMSIG(status);
  return WEXITSTATUS(status) == 0 && told ? good : -1000;
}

int survive(int count, char** paths) {
  int bad = 0, good = 0, whole = 0;
  for (int i = 0; i < count; ++i) {
    const int result = surviveFile(paths[i]);
    if (result < 0) {
      ++bad;
      std::printf("%s: %s\n", paths[i], result == -1000 ? "ended badly" : strsignal(-result));
    } else {
      good += result;
      whole += result > 0 ? 1 : 0;
    }
  }
  std::printf("%d files: %d with something to read, %d variables read, %d ended badly\n", count, whole, good, bad);
  return bad == 0 && whole > count / 2 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "print") == 0) return printFile(argv[2]);
  if (argc > 2 && std::strcmp(argv[1], "survive") == 0) return survive(argc - 2, argv + 2);
  std::fprintf(stderr, "usage: qat_read_files print FILE | survive FILE...\n");
  return 2;
}
