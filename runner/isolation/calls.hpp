/// @file
/// What an instance is asked for in another process, and the kinds of answers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vtio::runner {

/// The operations of an Instance, then those of CoSimulation and ModelExchange. A request is a call and its arguments
/// in the order of the operation's declaration.
enum class Call : std::uint8_t {
  instantiate,  ///< made by the process itself, before the first request
  get,
  set,
  getTexts,
  setTexts,
  getBinaries,
  setBinaries,
  enterConfiguration,
  exitConfiguration,
  enterInitialization,
  exitInitialization,
  terminate,
  getState,
  setState,
  freeState,
  enterEvents,
  updateDiscreteStates,
  leaveEvents,
  getInterval,
  getShift,
  doStep,
  countStates,
  countIndicators,
  moveTo,
  getDerivatives,
  getIndicators,
  hasJacobian,
  getJacobian,
  getStates,
  getNominals,
  completeStep
};
inline constexpr std::size_t kCalls = static_cast<std::size_t>(Call::completeStep) + 1;

/// How a parcel from the process of the FMU begins. Any number of messages come before a result or an error.
enum class Answer : std::uint8_t {
  message,  ///< category and text
  result,   ///< what the operation returns
  error     ///< exit status and text of a RunnerError
};

}  // namespace vtio::runner
