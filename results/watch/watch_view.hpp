/// @file
/// What `qat watch` shows, as text: a table of signals and the course of one of them.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "results/export.hpp"
#include "results/file/job.hpp"
#include "results/file/results_file.hpp"
#include "results/terminal/style.hpp"
#include "results/watch/growing_curve.hpp"

namespace vtio::results {

/// What a key asks for.
enum class WatchKey { none, quit, up, down, pageUp, pageDown, first, last };

/// Takes the next key off the front of what a terminal sent.
[[nodiscard]] VTIO_RESULTS_EXPORT WatchKey takeKey(std::string_view& sent);

/// Watches a file that grows. Has no terminal of its own.
class VTIO_RESULTS_EXPORT WatchView final {
 public:
  /// Opens the file.
  /// @throws ResultsError if it cannot be read, or a pattern matches nothing.
  WatchView(const std::string& path, std::vector<std::string> patterns);

  /// Looks at the file again and reads what came of the signal that is drawn. What cannot be read shows in the frame.
  /// @throws Interrupted
  void update(const Job& job = {});

  /// Chooses another signal. @return false for quit.
  bool press(WatchKey key);

  /// The screen: at most `height` lines of at most style.width columns, without a line end behind the last.
  [[nodiscard]] std::string frame(const Style& style, std::size_t height);

  /// The state in one line, for when the screen is gone.
  [[nodiscard]] std::string summary() const;

 private:
  [[nodiscard]] std::vector<const SignalInfo*> signals() const;
  [[nodiscard]] std::string stateText(const Style& style) const;
  void appendTable(std::vector<std::string>& lines, const Style& style, std::size_t rows);
  void appendChart(std::vector<std::string>& lines, const Style& style, std::size_t rows) const;
  void drawSignal(const Job& job);
  [[nodiscard]] std::vector<std::string> rowOf(const SignalInfo& signal, bool isChosen) const;

  ResultsFile file_;
  std::vector<std::string> patterns_;
  std::string chosen_;                // name of the signal that is drawn
  std::size_t place_ = 0;             // of it among the signals
  std::size_t top_ = 0;               // first signal on the screen
  std::size_t onScreen_ = 1;          // signals that fit
  std::vector<GrowingCurve> curves_;  // of its numbers
  std::string curvesOf_;              // name of the signal that they are of
  std::string stepBack_;              // what is told of the last one
  std::string problem_;               // why the file cannot be read now
};

}  // namespace vtio::results
