/// @file
/// Logging selections of every kind: they are read, or refused with a place; looking up gives what was read.
///
/// The bytes are a value: a kind, then what the kind needs. make_logging_selection_seeds.py writes them.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <utility>

#include "fuzz/byte_reader.hpp"
#include "fuzz/require.hpp"
#include "platform/diagnostics.hpp"
#include "platform/logging_selection.hpp"
#include "platform/qalc.hpp"

namespace {

using sigstg::LoggingInfo;
using sigstg::ModelLoggingInfo;
using vtio::fuzz::ByteReader;
using vtio::fuzz::require;
using vtu::FullBlkPathToTopMdl;
using vtu::qxArrayWrapper;

constexpr unsigned kMostChildren = 6;
constexpr unsigned kDeepest = 5;
constexpr const char* kFields[] = {"default",  "signals",    "blockPath",  "port",
                                   "selector", "customName", "decimation", "maxPoints"};
constexpr double kNumbers[] = {0,
                               1,
                               2,
                               3,
                               10,
                               -1,
                               0.5,
                               std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               0x1p63,
                               0x1p64,
                               -0.0};

qxArrayWrapper value(ByteReader& bytes, unsigned depth);

qxArrayWrapper integer(ByteReader& bytes) {
  const std::size_t dims[] = {1, 1};
  const bool isSigned = bytes.below(2) == 0;
  qxArrayWrapper result(qxCreateNumericArray(2, dims, isSigned ? qxINT64 : qxUINT64, false));
  const std::uint64_t bits = (std::uint64_t{bytes.word()} << 32U) | bytes.word();
  std::memcpy(qxGetData(result.get()), &bits, sizeof bits);
  return result;
}

qxArrayWrapper matrix(ByteReader& bytes) {
  const std::size_t dims[] = {bytes.below(3), bytes.below(3), bytes.below(3)};
  const auto id = static_cast<qxClassID>(qxLOGICAL + static_cast<int>(bytes.below(13)));
  const bool isComplex = bytes.below(4) == 3 && id >= qxDOUBLE;
  return qxArrayWrapper(qxCreateNumericArray(3, dims, id == 5 ? qxDOUBLE : id, isComplex));
}

qxArrayWrapper cells(ByteReader& bytes, unsigned depth) {
  const unsigned count = bytes.below(kMostChildren + 1);
  vtu::qxCellArrayWrapper result(1, count);
  for (unsigned i = 0; i < count; ++i) {
    result.set(i, value(bytes, depth + 1));
  }
  return result;
}

qxArrayWrapper structure(ByteReader& bytes, unsigned depth) {
  vtu::qxStructWrapper result({});
  for (unsigned count = bytes.below(kMostChildren + 1); count > 0; --count) {
    const char* name = kFields[bytes.below(std::size(kFields))];
    result.set(name, value(bytes, depth + 1));
  }
  return result;
}

qxArrayWrapper value(ByteReader& bytes, unsigned depth) {
  const unsigned kind = bytes.below(8);
  if (depth >= kDeepest && (kind == 3 || kind == 4)) {
    return qxArrayWrapper();
  }
  switch (kind) {
    case 1:
      return qxArrayWrapper(qxCreateDoubleScalar(kNumbers[bytes.below(std::size(kNumbers))]));
    case 2:
      return qxArrayWrapper(qxCreateString(bytes.text(8).c_str()));
    case 3:
      return cells(bytes, depth);
    case 4:
      return structure(bytes, depth);
    case 5:
      return integer(bytes);
    case 6:
      return qxArrayWrapper(qxCreateLogicalScalar(bytes.below(2) == 1));
    case 7:
      return matrix(bytes);
    default:
      return qxArrayWrapper();
  }
}

/// The path of a signal that was accepted.
FullBlkPathToTopMdl pathOf(const qxArray* blockPath) {
  FullBlkPathToTopMdl path;
  const bool one = qxGetClassID(blockPath) == qxCHAR;
  for (std::size_t i = 0; i < (one ? 1 : qxGetNumberOfElements(blockPath)); ++i) {
    const qxArray* text = one ? blockPath : qxGetCell(blockPath, i);
    path.append(vtu::InternedUstring(std::u16string_view(qxGetChars(text), qxGetNumberOfElements(text))));
  }
  return path;
}

/// A number that was accepted as a count.
unsigned long countOf(const qxArray* number) {
  if (qxGetClassID(number) == qxUINT64 || qxGetClassID(number) == qxINT64) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, qxGetConstData(number), sizeof bits);
    return bits;
  }
  return static_cast<unsigned long>(qxGetScalar(number));
}

void checkInfo(const qxArray* signal, unsigned selector, const LoggingInfo& info) {
  const bool used = selector == 2;
  const qxArray* name = qxGetField(signal, 0, "customName");
  const qxArray* decimation = qxGetField(signal, 0, "decimation");
  const qxArray* maxPoints = qxGetField(signal, 0, "maxPoints");
  require(info.getUseCustomSignalName() == (used && name != nullptr), "a listed name is used");
  require(info.getDecimateData() == (used && decimation != nullptr), "a listed decimation is used");
  require(info.getLimitDataPoints() == (used && maxPoints != nullptr), "a listed limit is used");
  require(!info.getDecimateData() || (info.getDecimation() == countOf(decimation) && info.getDecimation() >= 1),
          "the decimation is the listed one");
  require(!info.getLimitDataPoints() || info.getMaxPoints() == countOf(maxPoints), "the limit is the listed one");
}

/// Looks up everything that an accepted selection lists.
void checkLookups(const qxArray* selection, const ModelLoggingInfo& info) {
  const qxArray* signals = qxGetField(selection, 0, "signals");
  for (std::size_t i = 0; signals != nullptr && i < qxGetNumberOfElements(signals); ++i) {
    const qxArray* signal = qxGetCell(signals, i);
    const FullBlkPathToTopMdl path = pathOf(qxGetField(signal, 0, "blockPath"));
    const unsigned long port = countOf(qxGetField(signal, 0, "port"));
    const unsigned selector = info.getSelectorSetting(path, port);
    require(selector == countOf(qxGetField(signal, 0, "selector")), "the selector is the listed one");
    checkInfo(signal, selector, info.getLoggingInfo(path, port));
  }
  const qxArray* unlisted = qxGetField(selection, 0, "default");
  require(info.getSelectorSetting(FullBlkPathToTopMdl(), 0) == (unlisted != nullptr ? countOf(unlisted) : 1),
          "what is not listed has the default selector");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader bytes(std::span<const std::uint8_t>(data, size));
  const qxArrayWrapper selection = value(bytes, 0);
  ModelLoggingInfo info;
  try {
    info.populateFromQxArray(selection.get());
  } catch (const vtsv::IException& exception) {
    require(exception.diagnostic().identifier == "Vortan:LoggingSelection", "the error is of the selection");
    require(exception.diagnostic().key == "Malformed", "the error is Malformed");
    require(exception.diagnostic().arguments.size() == 2 && !exception.diagnostic().arguments[0].empty(),
            "the error names the place");
    require(info.getSelectorSetting(FullBlkPathToTopMdl(), 0) == 1, "a refused selection leaves the earlier one");
    return 0;
  }
  checkLookups(selection.get(), info);
  return 0;
}
