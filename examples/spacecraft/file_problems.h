/// @file
/// Says what is wrong with a Qat file that the entry functions of generated code refused without a word.
#ifndef VTIO_EXAMPLES_SPACECRAFT_FILE_PROBLEMS_H
#define VTIO_EXAMPLES_SPACECRAFT_FILE_PROBLEMS_H

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Looks for what keeps a file from being a configuration: unreadable, a variable missing or of the wrong class, a
/// malformed logging selection.
/// @param message Receives a sentence with the file's name, in any case; cut to fit.
void describeConfigurationProblem(const char* fileName, char* message, size_t messageSize);

/// Checks that a results file can be opened and holds the datasets.
/// @param outports Whether it must hold the dataset of root outports.
/// @param message Receives what is wrong when the result is false; cut to fit.
bool checkResultsFile(const char* fileName, bool outports, char* message, size_t messageSize);

#ifdef __cplusplus
}
#endif

#endif
