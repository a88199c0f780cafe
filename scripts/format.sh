#!/usr/bin/env bash
# Rewrites every source in the project's format; with --check only lists those that are not in it, and fails then.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

mapfile -t files < <(sources)
[ ${#files[@]} -gt 0 ] || { echo "no sources to look at"; exit 1; }
if [ "${1:-}" = --check ]; then
  wrong=()
  for file in "${files[@]}"; do
    clang-format --dry-run -Werror "$file" 2>/dev/null || wrong+=("$file")
  done
  if [ ${#wrong[@]} -gt 0 ]; then
    printf '%s\n' "not formatted (make format does it):" "${wrong[@]}"
    exit 1
  fi
else
  clang-format -i "${files[@]}"
fi
