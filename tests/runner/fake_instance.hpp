/// @file
/// An instance that writes down what it is told.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "runner/fmu/instance.hpp"

namespace runner_test {

using vtio::runner::VariableType;

/// Values by reference; only set() does something.
/// @tparam Base Instance or a kind of it.
template <typename Base = vtio::runner::Instance>
class FakeInstance : public Base {
 public:
  std::map<std::uint32_t, std::vector<std::byte>> numbers;
  std::map<std::uint32_t, std::string> texts;

  template <typename T>
  [[nodiscard]] T value(std::uint32_t reference) const {
    T result{};
    std::memcpy(&result, numbers.at(reference).data(), sizeof result);
    return result;
  }

  void get(VariableType, std::span<const std::uint32_t>, void*, std::size_t) override {}
  void set(VariableType type, std::span<const std::uint32_t> references, const void* values,
           std::size_t count) override {
    const auto* first = static_cast<const std::byte*>(values);
    numbers[references[0]].assign(first, first + count * vtio::runner::bytesOf(type));
  }
  void getTexts(std::span<const std::uint32_t>, std::span<const char*>) override {}
  void setTexts(std::span<const std::uint32_t> references, std::span<const char* const> values) override {
    texts[references[0]] = values[0];
  }
  void getBinaries(std::span<const std::uint32_t>, std::span<std::size_t>, std::span<const std::uint8_t*>) override {}
  void setBinaries(std::span<const std::uint32_t> references, std::span<const std::size_t> sizes,
                   std::span<const std::uint8_t* const> values) override {
    texts[references[0]].assign(reinterpret_cast<const char*>(values[0]), sizes[0]);
  }
  void enterConfiguration() override {}
  void exitConfiguration() override {}
  void enterInitialization(const vtio::runner::Experiment&) override {}
  void exitInitialization() override {}
  void terminate() override {}
  void getState(void*&) override {}
  void setState(void*) override {}
  void freeState(void*) noexcept override {}
  void enterEvents() override {}
  vtio::runner::EventOutcome updateDiscreteStates() override { return {}; }
  vtio::runner::ClockInterval getInterval(std::uint32_t, bool) override { return {}; }
  double getShift(std::uint32_t, bool) override { return 0.0; }
  void leaveEvents() override {}
};

}  // namespace runner_test
