#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

herr_t takeInnermost(unsigned position, const H5E_error2_t* error, void* target) {
  if (position == 0 && error->desc != nullptr) *static_cast<std::string*>(target) = error->desc;
  return 0;
}

}  // namespace

std::string libraryReason() {
  std::string reason;
  H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, takeInnermost, &reason);
  // The file driver adds time, buffer address and more to the system's message.
  constexpr std::string_view kMarker = "error message = '";
  if (const auto start = reason.find(kMarker); start != std::string::npos) {
    const auto from = start + kMarker.size();
    return reason.substr(from, reason.find('\'', from) - from);
  }
  return reason.empty() ? "no reason given" : reason;
}

void throwLibraryFailure(ErrorCode code, std::string_view what) {
  throw Failure(code, std::string(what) + ": " + libraryReason());
}

}  // namespace vtu::qat
