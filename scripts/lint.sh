#!/usr/bin/env bash
# clang-tidy over the project's own translation units (tests and fuzzers aside), as the given build compiles them.
#
#   scripts/lint.sh [BUILD_DIR]
build=${1:-build/asan}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

mapfile -t files < <(sources | grep -E '^(platform|vtio|recorders|results|runner|tools|examples)/.*\.(c|cpp)$')
[ ${#files[@]} -gt 0 ] || { echo "no sources to look at"; exit 1; }
printf '%s\n' "${files[@]}" | xargs -P "$jobs" -n 4 clang-tidy --quiet -p "$build" --warnings-as-errors='*'
