/// @file
/// A results file with a signal of every kind, as recorders write it.
#pragma once

#include <functional>
#include <string>

namespace vtio::tests {

/// Writes the file. Dataset `logsout`, two sample tables:
///
/// - table of times 0, 0.5, … 4.5: `wheels` (bus with `speed` [rad/s], linear, time squared; `on`, logical; `name`,
///   text), `mode` (enumeration OFF, ON by turns), `charge` (uint8, value = integer x 0.5 + 10), `matrix` (2x2,
///   column-wise times 1 to 4), `wave` (complex single);
/// - table of times 0.25, 1.25, 2.25: `late` (int64).
/// @param offset Is added to `wheels.speed` in samples from time 2 on.
/// @throws std::runtime_error
void writeExampleFile(const std::string& path, double offset = 0);

/// Writes a file as a run leaves it that was killed: signal `height`, linear, of times 0, 0.5 and 1.
void writeUnfinishedFile(const std::string& path);

/// Streams signal `height` [m], linear, as commands say: `append N` (rows that readers then see, row k at time k / 2,
/// value 10 - k, and 100 more for each step back before it), `mark`, `back` (to the mark), `close`. Starts with two
/// rows and ends with the commands; without `close` as a run that was killed.
/// @param next The next command; false: no more.
/// @param done Is called when the file is there, and after each command.
void streamHeight(const std::string& path, const std::function<bool(std::string&)>& next,
                  const std::function<void()>& done);

/// Writes fixed-point numbers of more than 64 bits, value = integer / 2 + 1, of three samples: `wide` (100 bits,
/// signed) of the integers 2^70 + 2, -6 and 5; `pair` (two of 128 bits, unsigned) of 1 and 2^65, 3 and 2^66,
/// 2^128 - 1 and 6 x 2^64; `wave` (complex, 128 bits, signed) of 7 + 9i, -1 - i, 1 + 2^64 i.
void writeWideFile(const std::string& path);

/// Writes a sweep of four runs of parameters `stiffness` (1 to 4) and `material` (oak, fir by turns), with the final
/// value `s0` = 10, 11, 12. Run k is writeManySignals() of two signals, ten samples and the offset k + 10. The last run
/// failed without results.
/// @param offset Is added to all samples of run 1.
void writeSweep(const std::string& path, double offset = 0);

/// Writes the same signals, their times and values as arrays of their own: such a file has no sample tables.
void writeExampleArrays(const std::string& path);

/// The same for the logged signals of any file.
void writeArraysOf(const std::string& tables, const std::string& path);

/// Writes `signals` scalars `s0`, `s1`, … of `samples` doubles each, every one an element of its own, in one table of
/// times 0, 0.001, …
void writeManySignals(const std::string& path, std::size_t signals, std::size_t samples, double offset = 0);

/// Writes signals that are hard to show: one with a name of 1000 characters, `nothing` of no samples, `once` of one,
/// `nan` of NaN only, `gaps` of every third value NaN, `infinite` with an infinite value; 10 samples of times 0, 1, …
void writeOddSignals(const std::string& path);

}  // namespace vtio::tests
