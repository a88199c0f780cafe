#!/usr/bin/env bash
# Runs the benchmarks and prints one table: thing, floor, ratio, target, bytes per sample.
# Usage: benchmarks/run.sh BUILD_DIR [WORK_DIR]
# Files are saved under WORK_DIR (default: BUILD_DIR/bench-work) and removed; the raw results stay in
# BUILD_DIR/bench-results. Fails when a benchmark fails, and when a ratio is above its target by more than a third.
set -u -o pipefail

build=${1:?usage: benchmarks/run.sh BUILD_DIR [WORK_DIR]}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(cd "$build" && pwd) || exit 2
work=${2:-$build/bench-work}
results=$build/bench-results
mkdir -p "$work" "$results" || exit 2
rm -f "$results"/*.json

failed=0
run() {
  local name=$1
  shift
  if [ ! -x "$build/benchmarks/$name" ]; then
    echo "not built: $build/benchmarks/$name" \
      "(configure with -DVTIO_BUILD_BENCHMARKS=ON, build the target benchmarks)" >&2
    failed=1
    return
  fi
  echo "running $name ..." >&2
  if ! "$build/benchmarks/$name" --benchmark_out="$results/$name.json" --benchmark_out_format=json \
    --benchmark_report_aggregates_only=false "$@" >"$results/$name.log" 2>&1; then
    echo "$name failed:" >&2
    tail -n 30 "$results/$name.log" >&2
    failed=1
  fi
}

# Interleaving: other load of the machine affects a thing and its floor alike.
run bench_update --benchmark_min_time=0.05 --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
run bench_record --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
run bench_save --benchmark_repetitions=3 --benchmark_enable_random_interleaving=true --dir="$work"
run bench_run --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
run bench_sweep --benchmark_repetitions=3 --dir="$work"
run bench_read --benchmark_repetitions=3 --dir="$work"
run bench_results --benchmark_repetitions=3 --dir="$work"

# In memory, so that the disk is not what is measured.
memory=$(mktemp -d -p /dev/shm) || exit 2
run bench_stream --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true --dir="$memory"
rm -rf "$memory"

# The page of qat view, where there is a browser.
if command -v chromium >/dev/null && command -v npm >/dev/null; then
  echo "running view_bench ..." >&2
  if ! cmake --build "$build" --target view_bench >"$results/view_bench.log" 2>&1; then
    echo "view_bench failed:" >&2
    tail -n 30 "$results/view_bench.log" >&2
    failed=1
  fi
else
  echo "not measured: the page of qat view (Chromium or npm is not installed)" >&2
fi

shopt -s nullglob
python3 "$here/table.py" "$results"/*.json || failed=1
exit $failed
