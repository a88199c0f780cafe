/// @file
/// Entry functions for generated simulation code, usable from C11 and from C++ (namespace mdlref_simtarget).
///
/// Conventions:
///  1. Handles. A catalogue handle, an accessor handle and a tree-vector handle are each the address of a cell that
///     holds unique ownership of the object. zetGetPointerFromUniquePtr() gives the raw pointer in the cell of a
///     catalogue or an accessor. A descriptor is a plain pointer owned by its catalogue.
///  2. Ownership. Accessors are released before the catalogue. zetGetSignalDescriptor() consumes its tree-vector
///     handle, whatever it returns.
///  3. Errors. Functions that create something return null, zetLogRootOutport() returns false, node additions, updates
///     and saving drop a failure; zetLastError() says what was dropped, except by updates. Only zetGetTreeVector(),
///     zetPopNVBusNode(), zetLoggingOverride() and the two rt_ functions may let a C++ exception through.
///  4. Strings are null-terminated UTF-8, copied during the call. Names, units and block paths may contain the escapes
///     of C string literals. A null string counts as empty.
///  5. Arrays of counts and dimensions hold 32-bit unsigned values and are copied during the call; a null array is fine
///     where its count is 0.
///  6. Threads. All calls for one catalogue come from its one simulation thread.
///
/// One signal, from description to samples:
///
///     void* tree = zetGetTreeVector();
///     zetAddLeafNode(0, "speed", "linear", 0, NULL, 0, "double", "m/s", "0.1", 0.1, 10.0, tree);
///     const void* descriptor = zetGetSignalDescriptor(tree, 1, 3, 0, 1, "speed", "", "", "car/Speed", 0, 0, catalogue,
///                                                     NULL, 0, NULL, 0);
///     void** accessor = zetGetAccessor(descriptor, loggingInterval);
///     zetVtioUpdateAccessor(accessor, 0, time, &speed);   // at each step
///     zetDestructAccessorPointer(accessor);
#ifndef VTIO_MDLREF_SIMTARGET_MDLREF_SIMTARGET_H
#define VTIO_MDLREF_SIMTARGET_MDLREF_SIMTARGET_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#define VTIO_ENTRY __attribute__((visibility("default")))

/* Functions that are called at every step are called without the procedure linkage table, where the compiler can. */
#if defined(__GNUC__) && !defined(__clang__)
#define VTIO_STEP_ENTRY VTIO_ENTRY __attribute__((noplt))
#else
#define VTIO_STEP_ENTRY VTIO_ENTRY
#endif

#ifdef __cplusplus
namespace mdlref_simtarget {
extern "C" {
#endif

/* --- The catalogue ------------------------------------------------------------------------------------------------ */

/// Makes a catalogue and configures it from a Qat file: the logging selection and six run settings.
/// @param fileName Path of the configuration file.
/// @return The catalogue handle; null on any failure, which zetLastError() names.
VTIO_ENTRY void* zetGetNewVtioCatalogue(const char* fileName);

/// Destroys the catalogue and sets the caller's variable to null. Not to be called again on the same variable.
/// @param handle Address of the variable that holds the catalogue handle.
VTIO_ENTRY void zetTerminateVtioCatalogue(void** handle);

/// Writes the datasets into a new Qat file. Failures are dropped; zetLastError() names the first one.
/// @param catalogue The raw catalogue.
VTIO_ENTRY void zetSaveDatasetsToQatFile(void* catalogue, const char* fileName);

/// Applies the model's logging selection to one signal.
/// @param descriptor A descriptor of this catalogue.
/// @param catalogue The raw catalogue.
VTIO_ENTRY void zetLoggingOverride(const void* descriptor, void* catalogue);

/// What the last creating or saving call on this thread dropped, in words; the empty string if nothing was dropped.
///
/// zetGetNewVtioCatalogue(), zetGetTreeVector(), zetGetAccessor() and zetSaveDatasetsToQatFile() each begin with the
/// empty string. A node addition or zetGetSignalDescriptor() that succeeds leaves it as it is: after
/// zetGetSignalDescriptor() it is empty exactly if nothing was dropped since zetGetTreeVector(), and a descriptor whose
/// tree lacks a node is found.
/// @return Valid until the next of these calls on this thread.
VTIO_ENTRY const char* zetLastError(void);

/* --- The tree of one signal --------------------------------------------------------------------------------------- */

/// A new, empty tree vector. Nodes are added in depth-first pre-order, and each bus is closed by zetPopNVBusNode().
/// @return Its handle.
VTIO_ENTRY void* zetGetTreeVector(void);

/// Adds the root of a non-virtual bus.
/// @param dims Array-of-bus dimensions, numDims of them; {1} for a single bus.
/// @param busSize Bytes of one element, padding included.
/// @param childOffsets Byte offset of each child in one element; numChildren of them.
/// @param sampleTime Sample time as text.
/// @param discreteInc Discrete increment in seconds.
/// @param stopTime Stop time in seconds.
VTIO_ENTRY void zetAddTopNVBusNode(unsigned dataTypeId, const char* name, unsigned numChildren, const unsigned* dims,
                                   unsigned numDims, unsigned busSize, const unsigned* childOffsets,
                                   const char* sampleTime, double discreteInc, double stopTime, void* treeVector);

/// Adds a non-virtual bus below the root; parameters as above.
VTIO_ENTRY void zetAddNVBusNode(unsigned dataTypeId, const char* name, unsigned numChildren, const unsigned* dims,
                                unsigned numDims, unsigned busSize, const unsigned* childOffsets, void* treeVector);

/// Adds the root of a virtual bus.
VTIO_ENTRY void zetAddTopBusNode(const char* name, unsigned numChildren, void* treeVector);

/// Adds a virtual bus below the root.
VTIO_ENTRY void zetAddBusNode(const char* name, unsigned numChildren, void* treeVector);

/// Adds a leaf of a built-in type.
/// @param complexity 1 for complex data; any other value means real.
/// @param dims Dimensions, numDims of them; none for a scalar.
/// @param unitText Unit expression.
VTIO_ENTRY void zetAddLeafNode(unsigned dataTypeId, const char* name, const char* interpolation, unsigned complexity,
                               const unsigned* dims, unsigned numDims, const char* dataTypeName, const char* unitText,
                               const char* sampleTime, double discreteInc, double stopTime, void* treeVector);

/// Adds a fixed-point leaf: real value = slopeAdjustmentFactor * 2^fixedExponent * stored integer + bias.
/// @param wordLength Bits.
VTIO_ENTRY void zetAddFixedPointLeafNode(unsigned dataTypeId, const char* name, const char* interpolation,
                                         unsigned complexity, const unsigned* dims, unsigned numDims,
                                         const char* dataTypeName, const char* unitText, bool isSigned, int wordLength,
                                         double slopeAdjustmentFactor, int fixedExponent, double bias,
                                         const char* sampleTime, double discreteInc, double stopTime, void* treeVector);

/// Adds a leaf of an enumerated type, stored as resolvedClassName.
/// @param enumValues Values as 32-bit patterns of signed integers; numEnums of them, each named by enumLabels.
VTIO_ENTRY void zetAddEnumLeafNode(unsigned dataTypeId, const char* name, const char* interpolation,
                                   const unsigned* dims, unsigned numDims, const char* dataTypeName,
                                   const char* unitText, const char* resolvedClassName, const char* sampleTime,
                                   double discreteInc, double stopTime, const unsigned* enumValues,
                                   const char** enumLabels, unsigned numEnums, void* treeVector);

/// Closes the bus that was opened last, virtual or not.
VTIO_ENTRY void zetPopNVBusNode(void* treeVector);

/* --- Descriptors and accessors ------------------------------------------------------------------------------------ */

/// Assembles the tree and registers the signal.
/// @param treeVector Consumed, whatever is returned.
/// @param kind 1 a root outport, 3 an ordinary signal, anything else a root inport.
/// @param maxPoints Most points to log; 0 means no limit.
/// @param decimation Log every N-th sample.
/// @param encodedPath Encoded path of the model references above this model; empty in the top model.
/// @param blockPath Path of the block inside this model.
/// @param inportOrder Position of a root inport; used for that kind only.
/// @param catalogue The raw catalogue.
/// @param dims1 For-each dimensions, outermost first, continued by dims2; not used for a root inport.
/// @return The descriptor, owned by the catalogue; null on any failure, which zetLastError() names.
VTIO_ENTRY const void* zetGetSignalDescriptor(void* treeVector, unsigned numberOfInputPorts, unsigned kind,
                                              unsigned maxPoints, unsigned decimation, const char* signalName,
                                              const char* propagatedName, const char* encodedPath,
                                              const char* blockPath, unsigned connectedPortIndex,
                                              unsigned long inportOrder, void* catalogue, const unsigned* dims1,
                                              unsigned numDims1, const unsigned* dims2, unsigned numDims2);

/// Makes the accessor of a signal.
/// @param loggingInterval A smartlog::LoggingInterval, borrowed until the accessor is released.
/// @return The accessor handle; null on any failure, which zetLastError() names.
VTIO_ENTRY void** zetGetAccessor(const void* descriptor, const void* loggingInterval);

/// Delivers one sample. Does nothing for null data; failures are dropped.
/// @param index Leaf position in a virtual bus; ignored otherwise.
/// @param time Seconds.
VTIO_STEP_ENTRY void zetVtioUpdateAccessor(void* accessorHandle, unsigned index, double time, const void* data);

/// The raw pointer in the cell of a catalogue or accessor handle.
VTIO_ENTRY void* zetGetPointerFromUniquePtr(void* handle);

/// Destroys the accessor and frees its handle. Null is allowed.
VTIO_ENTRY void zetDestructAccessorPointer(void* accessorHandle);

/// Whether the run logs root outports.
/// @param catalogue The raw catalogue.
VTIO_ENTRY bool zetLogRootOutport(const void* catalogue);

/// Delivers one sample, from a variable-argument list: raw accessor, double time in seconds, const void* data and,
/// for numArgs >= 4, int index. Acts only for mode 1.
/// @param args The platform's va_list, cast to char*.
/// @return Null.
VTIO_STEP_ENTRY void* rt_VtioAccessorUpdate(int mode, int numArgs, char* args);

/// Destroys the raw accessor that is the one argument in the list. Acts only for mode 1.
/// @param args The platform's va_list, cast to char*.
/// @return Null.
VTIO_ENTRY void* rt_VtioAccessorRelease(int mode, int numArgs, char* args);

#ifdef __cplusplus
}  // extern "C"
}  // namespace mdlref_simtarget
#endif

#endif
