#!/usr/bin/env bash
# Rewrites every source in the project's format; with --check only lists those that are not in it, and fails then.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

mapfile -t files < <(sources)
[ ${#files[@]} -gt 0 ] || { echo "no sources to format"; exit 1; }
if [ "${1:-}" = --check ]; then
  printf '%s\n' "${files[@]}" | xargs -P "$jobs" -n 20 clang-format --dry-run -Werror ||
    { echo "not formatted; make format does it"; exit 1; }
else
  clang-format -i "${files[@]}"
fi
