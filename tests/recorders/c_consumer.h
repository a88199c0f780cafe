/// @file
/// What the C consumer offers to its test. Each returns 0 if every call did what it should.
#ifndef VTIO_TESTS_RECORDERS_C_CONSUMER_H
#define VTIO_TESTS_RECORDERS_C_CONSUMER_H

#ifdef __cplusplus
extern "C" {
#endif

int consumeRecord(void* catalogue);
int consumeForEach(void* catalogue);
int consumeSampleOrder(void* catalogue);
int consumeAllCommands(void* catalogue);

#ifdef __cplusplus
}
#endif

#endif /* VTIO_TESTS_RECORDERS_C_CONSUMER_H */
