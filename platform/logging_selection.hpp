/// @file
/// A model's logging selection: which signals are logged, and with which overridden parameters.
///
///     sigstg::ModelLoggingInfo selection;
///     selection.populateFromQatFile(u"configuration.qat");
///     if (selection.getSelectorSetting(path, port) == 2) use(selection.getLoggingInfo(path, port));
///
/// The selection is a 1-by-1 structure with the fields
///  - `default`: selector of a port that is not listed; 1 if absent;
///  - `signals`: cell array of 1-by-1 structures with `blockPath` (char array, or cell array of char arrays, top model
///    first), `port` (number, from 0) and `selector` (0 off, 1 as the model sets it, 2 override), and for selector 2
///    optionally `customName` (char), `decimation` (number, 1 or more) and `maxPoints` (number).
#pragma once

#include <cstddef>
#include <unordered_map>
#include <utility>

#include "platform/block_path.hpp"
#include "platform/export.hpp"
#include "platform/qalc.hpp"
#include "platform/text.hpp"

namespace sigstg {

/// Overridden logging parameters of one signal; each counts only if its switch is on.
class VTIO_PLATFORM_EXPORT LoggingInfo {
 public:
  [[nodiscard]] bool getUseCustomSignalName() const { return useCustomSignalName_; }
  void setUseCustomSignalName(bool use) { useCustomSignalName_ = use; }

  [[nodiscard]] const vtu::ustring& getCustomSignalName() const { return customSignalName_; }
  void setCustomSignalName(vtu::ustring name) { customSignalName_ = std::move(name); }

  [[nodiscard]] bool getDecimateData() const { return decimateData_; }
  void setDecimateData(bool decimate) { decimateData_ = decimate; }

  /// Every how many samples one is logged.
  [[nodiscard]] unsigned long getDecimation() const { return decimation_; }
  void setDecimation(unsigned long decimation) { decimation_ = decimation; }

  [[nodiscard]] bool getLimitDataPoints() const { return limitDataPoints_; }
  void setLimitDataPoints(bool limit) { limitDataPoints_ = limit; }

  /// Most samples kept.
  [[nodiscard]] unsigned long getMaxPoints() const { return maxPoints_; }
  void setMaxPoints(unsigned long maxPoints) { maxPoints_ = maxPoints; }

 private:
  vtu::ustring customSignalName_;
  unsigned long decimation_ = 1;
  unsigned long maxPoints_ = 0;
  bool useCustomSignalName_ = false;
  bool decimateData_ = false;
  bool limitDataPoints_ = false;
};

/// The selection of one model. Look-up is by hash: its cost does not grow with the number of listed signals.
///
/// Empty until populated: every signal is logged as the model sets it. Line feeds in paths count as spaces, and only
/// the elements of a path and the port identify a signal. Populating replaces the selection, or throws and leaves it
/// unchanged.
class VTIO_PLATFORM_EXPORT ModelLoggingInfo {
 public:
  /// Reads the variable `loggingSelection` of a Qat file; without it the selection is empty.
  /// @throws vtsv::IException "Vortan:FileIO" / "ToFromFileOpenCloseErr" with the file name if the file cannot be
  ///   opened or the variable cannot be read; otherwise as populateFromQxArray().
  void populateFromQatFile(const vtu::ustring& fileName);

  /// Reads a selection in the form given above.
  /// @throws vtsv::IException "Vortan:LoggingSelection" / "Malformed" with the place and what is wrong there: a wrong
  ///   class, a missing field, a port that is negative or not whole, an unknown selector, a decimation of 0, a port
  ///   listed twice.
  void populateFromQxArray(const qxArray* selection);

  /// 0 off, 1 as the model sets it, 2 override.
  [[nodiscard]] unsigned getSelectorSetting(const vtu::FullBlkPathToTopMdl& path, unsigned long port) const;

  /// Overridden parameters; plain ones for a port that is not listed. Valid until populated again or destroyed.
  [[nodiscard]] const LoggingInfo& getLoggingInfo(const vtu::FullBlkPathToTopMdl& path, unsigned long port) const;

 private:
  struct Key {
    vtu::FullBlkPathToTopMdl path;  // without line feeds
    unsigned long port;
    bool operator==(const Key& other) const;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const noexcept;
  };
  struct Entry {
    unsigned selector = 1;
    LoggingInfo info;
  };

  [[nodiscard]] const Entry* find(const vtu::FullBlkPathToTopMdl& path, unsigned long port) const;
  void addSignal(const qxArray* signal, std::size_t index);

  std::unordered_map<Key, Entry, KeyHash> entries_;
  Entry unlisted_;
};

}  // namespace sigstg
