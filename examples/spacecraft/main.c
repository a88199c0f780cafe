// Simulates the spacecraft and logs it as code generated from a model does: spacecraft --help
#include <stdio.h>

#include "mission.h"
#include "options.h"

int main(int argc, char** argv) {
  Options options;
  char message[512];
  if (!optionsParse(argc, argv, &options, message, sizeof message)) {
    fprintf(stderr, "spacecraft: %s\n", message);
    return kExitInvalid;
  }
  if (options.help) {
    fputs(optionsHelp(), stdout);
    return kExitDone;
  }
  return missionRun(&options, stdout, stderr);
}
