#include "runner/fmu/values_fmi3.hpp"

#include "runner/fmi/fmi3.h"

namespace vtio::runner {
namespace {

struct Names {
  const char* get;
  const char* set;
};

// By VariableType. Enumerations are Int64 values.
constexpr std::array<Names, kVariableTypes> kNames = {{{"fmi3GetFloat64", "fmi3SetFloat64"},
                                                       {"fmi3GetFloat32", "fmi3SetFloat32"},
                                                       {"fmi3GetInt8", "fmi3SetInt8"},
                                                       {"fmi3GetUInt8", "fmi3SetUInt8"},
                                                       {"fmi3GetInt16", "fmi3SetInt16"},
                                                       {"fmi3GetUInt16", "fmi3SetUInt16"},
                                                       {"fmi3GetInt32", "fmi3SetInt32"},
                                                       {"fmi3GetUInt32", "fmi3SetUInt32"},
                                                       {"fmi3GetInt64", "fmi3SetInt64"},
                                                       {"fmi3GetUInt64", "fmi3SetUInt64"},
                                                       {"fmi3GetBoolean", "fmi3SetBoolean"},
                                                       {"fmi3GetInt64", "fmi3SetInt64"},
                                                       {"fmi3GetString", "fmi3SetString"},
                                                       {"fmi3GetBinary", "fmi3SetBinary"},
                                                       {"fmi3GetClock", "fmi3SetClock"}}};

constexpr int kMissing = FMI3_ERROR;

static_assert(sizeof(bool) == 1, "Booleans are handed over as bytes");

template <typename Function, typename Symbol>
Function* as(Symbol* symbol) {
  return reinterpret_cast<Function*>(symbol);
}

}  // namespace

const char* ValuesOfFmi3::nameOfGet(VariableType type) { return kNames[static_cast<std::size_t>(type)].get; }
const char* ValuesOfFmi3::nameOfSet(VariableType type) { return kNames[static_cast<std::size_t>(type)].set; }

ValuesOfFmi3::ValuesOfFmi3(const SharedLibrary& library) {
  for (std::size_t i = 0; i < kVariableTypes; ++i) {
    library.take(getters_[i], kNames[i].get);
    library.take(setters_[i], kNames[i].set);
  }
}

int ValuesOfFmi3::get(void* instance, VariableType type, std::span<const std::uint32_t> references, void* values,
                      std::size_t count) const {
  Symbol* symbol = getters_[static_cast<std::size_t>(type)];
  if (symbol == nullptr) return kMissing;
  const std::uint32_t* first = references.data();
  const std::size_t size = references.size();
  switch (type) {
    case VariableType::float64:
      return as<Fmi3GetFloat64>(symbol)(instance, first, size, static_cast<double*>(values), count);
    case VariableType::float32:
      return as<Fmi3GetFloat32>(symbol)(instance, first, size, static_cast<float*>(values), count);
    case VariableType::int8:
      return as<Fmi3GetInt8>(symbol)(instance, first, size, static_cast<std::int8_t*>(values), count);
    case VariableType::uint8:
      return as<Fmi3GetUInt8>(symbol)(instance, first, size, static_cast<std::uint8_t*>(values), count);
    case VariableType::int16:
      return as<Fmi3GetInt16>(symbol)(instance, first, size, static_cast<std::int16_t*>(values), count);
    case VariableType::uint16:
      return as<Fmi3GetUInt16>(symbol)(instance, first, size, static_cast<std::uint16_t*>(values), count);
    case VariableType::int32:
      return as<Fmi3GetInt32>(symbol)(instance, first, size, static_cast<std::int32_t*>(values), count);
    case VariableType::uint32:
      return as<Fmi3GetUInt32>(symbol)(instance, first, size, static_cast<std::uint32_t*>(values), count);
    case VariableType::int64:
    case VariableType::enumeration:
      return as<Fmi3GetInt64>(symbol)(instance, first, size, static_cast<std::int64_t*>(values), count);
    case VariableType::uint64:
      return as<Fmi3GetUInt64>(symbol)(instance, first, size, static_cast<std::uint64_t*>(values), count);
    case VariableType::boolean:
      return as<Fmi3GetBoolean>(symbol)(instance, first, size, static_cast<bool*>(values), count);
    case VariableType::clock:
      return as<Fmi3GetClock>(symbol)(instance, first, size, static_cast<bool*>(values));
    default:
      return kMissing;
  }
}

int ValuesOfFmi3::set(void* instance, VariableType type, std::span<const std::uint32_t> references, const void* values,
                      std::size_t count) const {
  Symbol* symbol = setters_[static_cast<std::size_t>(type)];
  if (symbol == nullptr) return kMissing;
  const std::uint32_t* first = references.data();
  const std::size_t size = references.size();
  switch (type) {
    case VariableType::float64:
      return as<Fmi3SetFloat64>(symbol)(instance, first, size, static_cast<const double*>(values), count);
    case VariableType::float32:
      return as<Fmi3SetFloat32>(symbol)(instance, first, size, static_cast<const float*>(values), count);
    case VariableType::int8:
      return as<Fmi3SetInt8>(symbol)(instance, first, size, static_cast<const std::int8_t*>(values), count);
    case VariableType::uint8:
      return as<Fmi3SetUInt8>(symbol)(instance, first, size, static_cast<const std::uint8_t*>(values), count);
    case VariableType::int16:
      return as<Fmi3SetInt16>(symbol)(instance, first, size, static_cast<const std::int16_t*>(values), count);
    case VariableType::uint16:
      return as<Fmi3SetUInt16>(symbol)(instance, first, size, static_cast<const std::uint16_t*>(values), count);
    case VariableType::int32:
      return as<Fmi3SetInt32>(symbol)(instance, first, size, static_cast<const std::int32_t*>(values), count);
    case VariableType::uint32:
      return as<Fmi3SetUInt32>(symbol)(instance, first, size, static_cast<const std::uint32_t*>(values), count);
    case VariableType::int64:
    case VariableType::enumeration:
      return as<Fmi3SetInt64>(symbol)(instance, first, size, static_cast<const std::int64_t*>(values), count);
    case VariableType::uint64:
      return as<Fmi3SetUInt64>(symbol)(instance, first, size, static_cast<const std::uint64_t*>(values), count);
    case VariableType::boolean:
      return as<Fmi3SetBoolean>(symbol)(instance, first, size, static_cast<const bool*>(values), count);
    case VariableType::clock:
      return as<Fmi3SetClock>(symbol)(instance, first, size, static_cast<const bool*>(values));
    default:
      return kMissing;
  }
}

int ValuesOfFmi3::getTexts(void* instance, std::span<const std::uint32_t> references,
                           std::span<const char*> values) const {
  auto* function = as<Fmi3GetString>(getters_[static_cast<std::size_t>(VariableType::string)]);
  if (function == nullptr) return kMissing;
  return function(instance, references.data(), references.size(), values.data(), values.size());
}

int ValuesOfFmi3::setTexts(void* instance, std::span<const std::uint32_t> references,
                           std::span<const char* const> values) const {
  auto* function = as<Fmi3SetString>(setters_[static_cast<std::size_t>(VariableType::string)]);
  if (function == nullptr) return kMissing;
  return function(instance, references.data(), references.size(), values.data(), values.size());
}

int ValuesOfFmi3::getBinaries(void* instance, std::span<const std::uint32_t> references, std::span<std::size_t> sizes,
                              std::span<const std::uint8_t*> values) const {
  auto* function = as<Fmi3GetBinary>(getters_[static_cast<std::size_t>(VariableType::binary)]);
  if (function == nullptr) return kMissing;
  return function(instance, references.data(), references.size(), sizes.data(), values.data(), values.size());
}

int ValuesOfFmi3::setBinaries(void* instance, std::span<const std::uint32_t> references,
                              std::span<const std::size_t> sizes, std::span<const std::uint8_t* const> values) const {
  auto* function = as<Fmi3SetBinary>(setters_[static_cast<std::size_t>(VariableType::binary)]);
  if (function == nullptr) return kMissing;
  return function(instance, references.data(), references.size(), sizes.data(), values.data(), values.size());
}

}  // namespace vtio::runner
