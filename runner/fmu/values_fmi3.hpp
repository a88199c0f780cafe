/// @file
/// The functions of FMI 3 that get and set values, chosen by the type of the variable.
#pragma once

#include <array>
#include <span>

#include "runner/description/variable.hpp"
#include "runner/fmu/shared_library.hpp"

namespace vtio::runner {

/// Each operation returns the status of the FMU's function; a function that the library lacks counts as an error of it.
class ValuesOfFmi3 final {
 public:
  explicit ValuesOfFmi3(const SharedLibrary& library);

  int get(void* instance, VariableType type, std::span<const std::uint32_t> references, void* values,
          std::size_t count) const;
  int set(void* instance, VariableType type, std::span<const std::uint32_t> references, const void* values,
          std::size_t count) const;
  int getTexts(void* instance, std::span<const std::uint32_t> references, std::span<const char*> values) const;
  int setTexts(void* instance, std::span<const std::uint32_t> references, std::span<const char* const> values) const;
  int getBinaries(void* instance, std::span<const std::uint32_t> references, std::span<std::size_t> sizes,
                  std::span<const std::uint8_t*> values) const;
  int setBinaries(void* instance, std::span<const std::uint32_t> references, std::span<const std::size_t> sizes,
                  std::span<const std::uint8_t* const> values) const;

  [[nodiscard]] static const char* nameOfGet(VariableType type);
  [[nodiscard]] static const char* nameOfSet(VariableType type);

 private:
  using Symbol = void();

  std::array<Symbol*, kVariableTypes> getters_{};
  std::array<Symbol*, kVariableTypes> setters_{};
};

}  // namespace vtio::runner
