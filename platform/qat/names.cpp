#include "platform/qat/names.hpp"

#include <utf8.h>

#include <algorithm>
#include <cctype>

namespace vtu::qat {
namespace {

void appendEscaped(std::string& out, char byte) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const auto value = static_cast<unsigned char>(byte);
  out += '%';
  out += kDigits[value >> 4];
  out += kDigits[value & 15];
}

bool allDigits(std::string_view name) {
  return std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool firstByteIsReserved(std::string_view name, NameRole role) {
  return name == "." || name.starts_with("qat.") || (role == NameRole::tableField && allDigits(name));
}

int hexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

}  // namespace

std::string encodeName(std::string_view name, NameRole role) {
  if (name.empty()) return "%00";
  std::string out;
  out.reserve(name.size());
  if (firstByteIsReserved(name, role)) {
    appendEscaped(out, name.front());
    name.remove_prefix(1);
  }
  auto invalid = utf8::find_invalid(name.begin(), name.end());
  for (auto at = name.begin(); at != name.end(); ++at) {
    if (at == invalid) {
      appendEscaped(out, *at);
      invalid = utf8::find_invalid(at + 1, name.end());
    } else if (*at == '%' || *at == '/') {
      appendEscaped(out, *at);
    } else {
      out += *at;
    }
  }
  return out;
}

std::string decodeName(std::string_view encoded) {
  std::string out;
  out.reserve(encoded.size());
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    const int high = encoded[i] == '%' && i + 2 < encoded.size() ? hexValue(encoded[i + 1]) : -1;
    const int low = high >= 0 ? hexValue(encoded[i + 2]) : -1;
    if (low < 0) {
      out += encoded[i];
      continue;
    }
    if (const int value = high * 16 + low; value != 0) out += static_cast<char>(value);
    i += 2;
  }
  return out;
}

}  // namespace vtu::qat
