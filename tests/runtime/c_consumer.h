/* One signal from description to release, as a compiled target calls it, in C. */
#ifndef VTIO_TESTS_RUNTIME_C_CONSUMER_H
#define VTIO_TESTS_RUNTIME_C_CONSUMER_H

#ifdef __cplusplus
extern "C" {
#endif

/* What the environment does for the target: subscribes clients, and sets when logging is on. */
typedef struct Environment {
  void* context;
  const void* (*loggingInterval)(void* context, void* catalogue);
  void (*subscribe)(void* context, void* catalogue, const void* descriptor, void* accessor);
} Environment;

/* Results of the steps; every field is 1 if that step worked. */
typedef struct RunReport {
  int gotCatalogue;
  int gotDescriptors;
  int gotAccessors;
  int logsRootOutports;
  int catalogueGone;
} RunReport;

/* Logs a scalar, a virtual bus, an array of structures, a fixed-point and an enumerated signal for `steps` steps. */
RunReport runTarget(const char* configuration, const char* results, unsigned steps, const Environment* environment);

#ifdef __cplusplus
}
#endif

#endif
