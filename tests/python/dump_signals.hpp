/// @file
/// Prints what a Qat file holds of signals, as the library of this project reads it: the other side of the comparison
/// with the Python package.
#pragma once

namespace pythontest {

/// Reads a results file and prints one line of JSON per leaf: name, class, complex, dims, unit, time, data.
/// `dims` are those of the array, the sample first; `data` is column-major, complex values in two numbers.
/// @return The exit status of a program.
int dumpSignals(const char* file);

}  // namespace pythontest
