#!/usr/bin/env bash
# Runs every fuzzer for a while, two at a time, each on a copy of its corpus, and prints how much each one executed.
# Usage: fuzz/smoke.sh BUILD_DIR [SECONDS] [FUZZER...]     (all of them by default)
# FUZZ_SEED=N chooses what is tried: 1, if it is not set, so that two runs of one build try the same; 0 is random.
# Fails when a fuzzer finds something (what it found stays in BUILD_DIR/fuzz-findings), is not built, or ran nothing.
set -u -o pipefail

build=${1:?usage: fuzz/smoke.sh BUILD_DIR [SECONDS]}
seconds=${2:-30}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(cd "$build" && pwd) || exit 2
findings=$build/fuzz-findings
work=$(mktemp -d) || exit 2
trap 'rm -rf "$work"' EXIT
mkdir -p "$findings" || exit 2

run_one() {
  local name=$1 program=$build/fuzz/$1 corpus=$here/corpus/${1#fuzz_}
  if [ ! -x "$program" ]; then
    echo "not built: $program" >"$work/$name.log"
    echo 127 >"$work/$name.status"
    return
  fi
  mkdir -p "$work/$name.corpus"
  if [ -d "$corpus" ]; then cp -r "$corpus/." "$work/$name.corpus/"; fi
  (cd "$work" && "$program" "$work/$name.corpus" -seed="${FUZZ_SEED:-1}" \
    -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$findings/$name-") >"$work/$name.log" 2>&1
  echo $? >"$work/$name.status"
}

export LSAN_OPTIONS=suppressions=$here/lsan.supp:print_suppressions=0

names=("${@:3}")
if [ ${#names[@]} -eq 0 ]; then
  for source in "$here"/fuzz_*.cpp; do
    [ -e "$source" ] && names+=("$(basename "$source" .cpp)")
  done
fi
if [ ${#names[@]} -eq 0 ]; then
  echo "no fuzzer in $here" >&2
  exit 1
fi

for ((i = 0; i < ${#names[@]}; i += 2)); do
  run_one "${names[i]}" &
  if ((i + 1 < ${#names[@]})); then run_one "${names[i + 1]}" & fi
  wait
done

failed=0
printf '%-26s %8s %14s  %s\n' fuzzer seeds executions result
for name in "${names[@]}"; do
  status=$(cat "$work/$name.status" 2>/dev/null || echo 126)
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$name.log" 2>/dev/null | tail -n 1)
  seeds=$(find "$here/corpus/${name#fuzz_}" -type f 2>/dev/null | wc -l)
  result=ok
  if [ "$seeds" -eq 0 ]; then result="no seed corpus"; fi
  if [ "${runs:-0}" -le "$seeds" ]; then result="did not run"; fi
  if [ "$status" -ne 0 ]; then result="FINDING (exit $status)"; fi
  if [ "$status" -eq 127 ]; then result="not built"; fi
  printf '%-26s %8d %14d  %s\n' "$name" "$seeds" "${runs:-0}" "$result"
  if [ "$result" != ok ]; then
    failed=1
    cp "$work/$name.log" "$findings/$name.log"
  fi
done

if [ $failed -ne 0 ]; then
  for log in "$findings"/*.log; do
    printf '\n== %s\n' "$log" >&2
    tail -n 60 "$log" >&2
  done
  exit 1
fi
