#!/usr/bin/env bash
# Runs every fuzzer of a build for some seconds from its seed corpus, as many at a time as there are cores.
#
#   scripts/fuzz.sh BUILD_DIR [SECONDS]
build=${1:-build/fuzz}
seconds=${2:-30}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

mapfile -t fuzzers < <(find "$build" -type f -perm -u+x -name 'fuzz_*' | sort)
[ ${#fuzzers[@]} -gt 0 ] || { echo "no fuzzers in $build"; exit 1; }

run_one() {  # <program>; the seeds stay as they are: findings go to a scratch corpus
  local name seeds scratch
  name=$(basename "$1")
  seeds=fuzz/corpus/${name#fuzz_}
  scratch=$build/corpus/$name
  mkdir -p "$scratch" "$build/artifacts"
  [ -d "$seeds" ] || { echo "$name: no seed corpus $seeds"; return 1; }
  if "$1" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$name-" "$scratch" "$seeds" >"$logs/$name.log" 2>&1; then
    echo "$name: $(grep -o 'stat::number_of_executed_units: .*' "$logs/$name.log" | grep -o '[0-9]*$') inputs, no finding"
  else
    echo "$name: FAILED"
    tail -n 40 "$logs/$name.log"
    return 1
  fi
}
export -f run_one
export build seconds logs
export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS=print_stacktrace=1
printf '%s\n' "${fuzzers[@]}" | xargs -P "$jobs" -I{} bash -c 'run_one {}'
