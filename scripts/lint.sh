#!/usr/bin/env bash
# clang-tidy over the project's own translation units (tests and fuzzers aside), as Clang compiles them in build/lint.
#
#   scripts/lint.sh           every source alone, with all checks
#   scripts/lint.sh --quick   the sources of the libraries eight at a time: a fifth of the time. Leaves out the static
#                             analyzer (clang-analyzer-*) and the slowest check, bugprone-reserved-identifier
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

folders='(platform|vtio|recorders|results|runner|tools|examples)'
options=(--quiet -p build/lint --warnings-as-errors='*')
unity=OFF
if [ "${1-}" = --quick ]; then
  unity=ON
  # Sources are headers here, and are meant to be included.
  options+=(--header-filter="/$folders/.*\.(h|hpp|cpp)$"
    --checks=-bugprone-suspicious-include,-bugprone-reserved-identifier,-clang-analyzer-*)
fi

cmake --preset asan -B build/lint -DVTIO_UNITY_BUILD=$unity -DVTIO_BUILD_TESTS=OFF -DVTIO_BUILD_FUZZERS=OFF \
  -DVTIO_BUILD_BENCHMARKS=OFF >/dev/null
mapfile -t files < <(sed -n 's/^ *"file": "\(.*\)",*$/\1/p' build/lint/compile_commands.json |
  grep -E "/(Unity/unity_[^/]*|$folders/.*\.(c|cpp))$" | grep -v '/viewer_page[.]cpp$' | sort -u)  # that is generated
[ ${#files[@]} -gt 0 ] || { echo "no sources to check"; exit 1; }
printf '%s\n' "${files[@]}" | xargs -P "$jobs" -n 1 clang-tidy "${options[@]}"
