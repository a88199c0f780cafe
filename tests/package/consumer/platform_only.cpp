// Uses the environment services alone.
#include <cstdio>

#include "platform/qalc.hpp"
#include "platform/text.hpp"

int main() {
  const vtu::qxArrayWrapper array(qxCreateDoubleScalar(42.0));
  const bool ok = qxGetScalar(array.get()) == 42.0 && vtu::to_string(vtu::to_ustring("vtio")) == "vtio";
  std::puts(ok ? "ok" : "wrong");
  return ok ? 0 : 1;
}
