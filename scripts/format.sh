#!/usr/bin/env bash
# Rewrites every source in the project's format; with --check only lists those that are not in it, and every other line
# of more than 120 characters that could be broken, and fails then.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

mapfile -t files < <(sources)
[ ${#files[@]} -gt 0 ] || { echo "no sources to format"; exit 1; }
if [ "${1:-}" = --check ]; then
  printf '%s\n' "${files[@]}" | xargs -P "$jobs" -n 20 clang-format --dry-run -Werror ||
    { echo "not formatted; make format does it"; exit 1; }
  # Rows of tables in Markdown, elements in XML and addresses in HTML have to be in one line.
  if git ls-files -z -- ':!*.xml' ':!*.html' ':!*.json' ':!*.expected' ':!fuzz/corpus' |
    LC_ALL=C.UTF-8 xargs -0 grep -nIE '^[^|].{120}'; then
    echo "lines of more than 120 characters"
    exit 1
  fi
else
  clang-format -i "${files[@]}"
fi
