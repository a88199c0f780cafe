/// @file
/// One instance of an FMU, whatever its version: values, states of the instance, the functions common to all kinds.
/// Start at co_simulation.hpp or model_exchange.hpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runner/description/model_description.hpp"
#include "runner/export.hpp"

namespace vtio::runner {

/// The experiment that an instance is told before it is initialised. Times in seconds.
struct Experiment {
  double start = 0.0;
  double stop = 1.0;
  std::optional<double> tolerance;
};

/// Takes a message of an FMU.
using MessageSink = std::function<void(std::string_view category, std::string_view message)>;

/// Variables of one type, which are read by one call.
struct VariableBatch {
  VariableType type = VariableType::float64;
  std::vector<std::uint32_t> references;
  std::size_t count = 0;  ///< of the elements of all
};

/// What an FMU needs to be instantiated.
struct InstanceSetup {
  std::filesystem::path library;    ///< the unpacked shared library
  std::filesystem::path resources;  ///< the unpacked folder, which exists
  MessageSink message;
  bool loggingOn = false;
  std::vector<VariableBatch> intermediate;  ///< numbers to be read within steps, which the FMU offers
};

/// What came out of an update of the discrete states.
struct EventOutcome {
  bool needsUpdate = false;  ///< they are not settled yet
  bool terminate = false;
  bool statesChanged = false;      ///< continuous states jumped
  bool nominalsChanged = false;    ///< of continuous states
  std::optional<double> nextTime;  ///< of the next time event, in seconds
};

/// An interval of a clock, as asked for the last time or now.
struct ClockInterval {
  bool hasChanged = false;  ///< it is another one than the last time, or known for the first time
  double seconds = 0.0;     ///< if it has changed
};

/// An instance. Values are passed in the form of bytesOf(): Boolean, Clock one byte 0 or 1, Enumeration int64; arrays
/// row-major, one array behind the other.
///
/// Every failure of the FMU is a RunnerError of status failed, which names the function and its status; after that only
/// freeState() and destruction are allowed. Destruction frees the instance (not after a fatal error) and unloads the
/// library.
class VTIO_RUNNER_EXPORT Instance {
 public:
  virtual ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  /// @param values Room for valueCount values of the type, which is neither string nor binary.
  virtual void get(VariableType type, std::span<const std::uint32_t> references, void* values,
                   std::size_t valueCount) = 0;
  virtual void set(VariableType type, std::span<const std::uint32_t> references, const void* values,
                   std::size_t valueCount) = 0;

  /// @param values Receives null-terminated UTF-8 texts, valid until the next call of any function of the FMU.
  virtual void getTexts(std::span<const std::uint32_t> references, std::span<const char*> values) = 0;
  virtual void setTexts(std::span<const std::uint32_t> references, std::span<const char* const> values) = 0;

  /// As for texts; FMI 3 only.
  virtual void getBinaries(std::span<const std::uint32_t> references, std::span<std::size_t> sizes,
                           std::span<const std::uint8_t*> values) = 0;
  virtual void setBinaries(std::span<const std::uint32_t> references, std::span<const std::size_t> sizes,
                           std::span<const std::uint8_t* const> values) = 0;

  /// Between these two structural parameters are set; FMI 3 only.
  virtual void enterConfiguration() = 0;
  virtual void exitConfiguration() = 0;

  virtual void enterInitialization(const Experiment& experiment) = 0;
  /// Leaves the instance in the event mode, or ready for a step where it has none.
  virtual void exitInitialization() = 0;
  virtual void terminate() = 0;

  /// Copies the instance's state. Needs canGetAndSetFMUState.
  /// @param state Null: a new copy is made, to be given to freeState(). Else the copy that is overwritten.
  virtual void getState(void*& state) = 0;
  virtual void setState(void* state) = 0;
  /// Does nothing after a fatal error of the FMU.
  virtual void freeState(void* state) noexcept = 0;

  /// Enters the event mode; between this and leaveEvents() values are those of the event. An FMU for Co-Simulation has
  /// this mode only where its steps ask for it.
  virtual void enterEvents() = 0;
  [[nodiscard]] virtual EventOutcome updateDiscreteStates() = 0;
  virtual void leaveEvents() = 0;

  /// The interval of a clock in seconds, and how long after the start it ticks first; FMI 3 only.
  /// @param asFraction Asked for as a fraction, which is exact; the FMU supports it.
  [[nodiscard]] virtual ClockInterval getInterval(std::uint32_t clock, bool asFraction) = 0;
  [[nodiscard]] virtual double getShift(std::uint32_t clock, bool asFraction) = 0;

 protected:
  Instance() = default;
};

}  // namespace vtio::runner
