#include "platform/diagnostics.hpp"

#include <array>
#include <string_view>
#include <utility>

namespace vtsv {

namespace {

/// One message of the embedded catalogue; %1, %2, … are replaced by the arguments.
struct Message {
  std::string_view identifier;
  std::string_view key;
  std::string_view text;
};

constexpr std::array kCatalogue = {
    Message{"Vortan:logLoadBlocks", "UnhandledDatatype", "The data type '%1' cannot be logged: it is not known."},
    Message{"Vortan:FileIO", "ToFromFileOpenCloseErr",
            "The file '%1' cannot be opened or closed. Check that it exists, that it is a Qat file, and that you may "
            "read or write it."},
    Message{"Vortan:FileIO", "CannotSave", "The results cannot be saved in '%1': %2."},
    Message{"Vortan:FileIO", "CannotStream",
            "No more samples are streamed into '%1': %2. The file has %3 bytes; what was flushed is in it."},
    Message{"Vortan:Qat", "Unreadable", "'%1' cannot be read: %2."},
    Message{"Vortan:Qat", "NoSuchPart", "'%1' has no such part: %2."},
    Message{"Vortan:Qalc", "NullArray", "%1 was called without an array."},
    Message{"Vortan:Qalc", "WrongClass", "%1 was called for class %2; it needs %3."},
    Message{"Vortan:Qalc", "IndexOutOfRange", "%1 was called with index %2; the array has %3 elements or fields."},
    Message{"Vortan:Qalc", "EmptyArray", "%1 was called with an empty array; it needs at least one element."},
    Message{"Vortan:BlockPath", "BadEncoding",
            "The encoded block path '%1' is malformed: '%' must be followed by two hexadecimal digits, and the escaped "
            "bytes must be UTF-8."},
    Message{"Vortan:LoggingSelection", "Malformed", "The logging selection is malformed at %1: %2."},
};

/// The message of a diagnostic that is not in the catalogue.
std::string genericText(const Diagnostic& diagnostic) {
  std::string text = "Error " + diagnostic.identifier + " / " + diagnostic.key;
  const char* separator = ": ";
  for (const vtu::ustring& argument : diagnostic.arguments) {
    text += separator + ("'" + vtu::to_string(argument) + "'");
    separator = ", ";
  }
  return text + ".";
}

/// Puts the arguments into a text of the catalogue; one that is missing is left out.
std::string filledIn(std::string_view text, const std::vector<vtu::ustring>& arguments) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%' || i + 1 == text.size() || text[i + 1] < '1' || text[i + 1] > '9') {
      result += text[i];
      continue;
    }
    const auto argument = static_cast<std::size_t>(text[++i] - '1');
    if (argument < arguments.size()) {
      result += vtu::to_string(arguments[argument]);
    }
  }
  return result;
}

std::string messageOf(const Diagnostic& diagnostic) {
  for (const Message& message : kCatalogue) {
    if (message.identifier == diagnostic.identifier && message.key == diagnostic.key) {
      return filledIn(message.text, diagnostic.arguments);
    }
  }
  return genericText(diagnostic);
}

}  // namespace

IException::IException(Diagnostic diagnostic) : diagnostic_(std::move(diagnostic)), message_(messageOf(diagnostic_)) {}

IException::~IException() = default;

}  // namespace vtsv

vtsv::Diagnostic vtsvCreateDiagnostic(const char* identifier, const char* key, std::vector<vtu::ustring> arguments) {
  return {identifier != nullptr ? identifier : "", key != nullptr ? key : "", std::move(arguments)};
}

void vtsvThrowIExceptionFromDiagnostic(const vtsv::Diagnostic& diagnostic) { throw vtsv::IException(diagnostic); }
