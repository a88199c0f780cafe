#include "options.h"

#include <errno.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/// Receives a message.
typedef struct Complaint {
  char* text;
  size_t size;
} Complaint;

static bool complain(Complaint complaint, const char* option, const char* value, const char* what) {
  snprintf(complaint.text, complaint.size, "%s: '%s' %s", option, value, what);
  return false;
}

static bool parsePositive(const char* option, const char* value, double* result, Complaint complaint) {
  char* end = NULL;
  errno = 0;
  *result = strtod(value, &end);
  if (end == value || *end != '\0' || errno == ERANGE || !isfinite(*result)) {
    return complain(complaint, option, value, "is not a number");
  }
  return *result > 0.0 || complain(complaint, option, value, "must be greater than 0 seconds");
}

static bool applyValue(const char* option, const char* value, Options* options, Complaint complaint) {
  if (strcmp(option, "--step") == 0) {
    return parsePositive(option, value, &options->step, complaint);
  }
  if (strcmp(option, "--duration") == 0) {
    return parsePositive(option, value, &options->duration, complaint);
  }
  if (value[0] == '\0') {
    return complain(complaint, option, value, "is not a file name");
  }
  if (strcmp(option, "--stream") == 0) {
    options->stream = value;
  } else {
    *(strcmp(option, "--config") == 0 ? &options->configuration : &options->output) = value;
  }
  return true;
}

static bool takesValue(const char* option) {
  static const char* const names[] = {"--step", "--duration", "--config", "--out", "--stream"};
  for (size_t i = 0; i < sizeof names / sizeof names[0]; ++i) {
    if (strcmp(option, names[i]) == 0) {
      return true;
    }
  }
  return false;
}

static bool checkTogether(Options* options, Complaint complaint) {
  char value[40];
  const double steps = floor(options->duration / options->step + 1e-9);
  snprintf(value, sizeof value, "%.17g", options->duration);
  if (strcmp(options->configuration, options->output) == 0) {
    return complain(complaint, "--out", options->output, "is the configuration file");
  }
  if (steps < 1.0) {
    return complain(complaint, "--duration", value, "is shorter than one step");
  }
  if (steps > (double)kLongestRun) {
    return complain(complaint, "--duration", value, "is more than 100000000 steps; take a longer --step");
  }
  options->steps = (unsigned long)steps;
  return true;
}

bool optionsParse(int argc, char** argv, Options* options, char* message, size_t messageSize) {
  const Complaint complaint = {message, messageSize};
  const Options defaults = {
      .step = 0.025, .duration = 5000.0, .configuration = "config.qat", .output = "results.qat", .stepBack = true};
  *options = defaults;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--help") == 0) {
      options->help = true;
    } else if (strcmp(argv[i], "--no-step-back") == 0) {
      options->stepBack = false;
    } else if (!takesValue(argv[i])) {
      return complain(complaint, "command line", argv[i], "is not an option; see --help");
    } else if (i + 1 == argc) {
      return complain(complaint, "command line", argv[i], "needs a value");
    } else if (!applyValue(argv[i], argv[i + 1], options, complaint)) {
      return false;
    } else {
      ++i;
    }
  }
  return checkTogether(options, complaint);
}

const char* optionsHelp(void) {
  return "Simulates a spacecraft in Earth orbit and logs its signals to a Qat file.\n"
         "\n"
         "  --step SECONDS      integration step (default 0.025)\n"
         "  --duration SECONDS  simulated time (default 5000)\n"
         "  --config FILE.qat   configuration to read (default config.qat)\n"
         "  --out FILE.qat      results to write (default results.qat)\n"
         "  --stream FILE.qat   stream the signals into this file while the run goes on\n"
         "  --no-step-back      run straight through, without stepping back and replaying at half time\n"
         "  --help              print this text\n"
         "\n"
         "Exit code: 0 when the results are saved, 1 when the run or the saving fails, 2 when an argument or the\n"
         "configuration is not valid.\n";
}
