/// @file
/// Command line of the spacecraft example.
#ifndef VTIO_EXAMPLES_SPACECRAFT_OPTIONS_H
#define VTIO_EXAMPLES_SPACECRAFT_OPTIONS_H

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kLongestRun = 100000000 };  ///< most steps of one run

typedef struct Options {
  double step;                ///< s, > 0
  double duration;            ///< s, at least one step
  unsigned long steps;        ///< whole steps in the duration, 1 .. kLongestRun
  const char* configuration;  ///< Qat file that is read; points into argv or to a constant
  const char* output;         ///< Qat file that is written; the same
  const char* stream;         ///< Qat file that signals are streamed into, or NULL; the same
  bool stepBack;              ///< step back and replay once, at half time
  bool help;
} Options;

/// Reads the command line.
/// @param message Receives a sentence that names the option and the value when the result is false; may be cut to fit.
/// @return Whether `options` holds a valid set.
bool optionsParse(int argc, char** argv, Options* options, char* message, size_t messageSize);

/// Text of --help.
const char* optionsHelp(void);

#ifdef __cplusplus
}
#endif

#endif
