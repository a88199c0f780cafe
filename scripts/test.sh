#!/usr/bin/env bash
# Every check of this project, in stages; fails when a stage fails or when a stage that tests ran no test.
# The last line sums the tests of all stages and the stages that are no test programs: "N passed, N failed".
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
begin=$SECONDS
passed=0
failed=0

# check <title> <command...>: a stage that counts as one test.
check() {
  if stage "$@"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}

# run_tests <title> <preset>: a stage that counts as the tests it runs.
run_tests() {
  local title=$1 preset=$2 total=0 bad=0 line results=$logs/ctest-$2.txt
  rm -f "$results"
  stage "$title" ctest --preset "$preset" -j "$jobs" --output-log "$results" || bad=1
  line=$(grep -E '^[0-9]+% tests passed' "$results" 2>/dev/null || true)
  if [[ $line =~ ([0-9]+)\ tests?\ failed\ out\ of\ ([0-9]+) ]]; then
    bad=${BASH_REMATCH[1]}
    total=${BASH_REMATCH[2]}
    echo "   $line"
  else
    echo "   no test ran"
    bad=1
    total=1
  fi
  passed=$((passed + total - bad))
  failed=$((failed + bad))
}

build_and_test() {  # <name> <preset>
  if stage "$1: build" build "$2"; then
    passed=$((passed + 1))
    run_tests "$1: tests" "$2"
  else
    failed=$((failed + 1))
  fi
}

check "format" scripts/format.sh --check
build_and_test "GCC, release" release
build_and_test "GCC, ASan and UBSan" asan
build_and_test "Clang" clang
check "Clang: lint" scripts/lint.sh build/clang
check "Clang: every header compiled alone" cmake --build build/clang -j "$jobs" --target all_verify_interface_header_sets
check "fuzzers: build" build fuzz fuzzers
check "fuzzers: 30 s each" fuzz/smoke.sh build/fuzz 30

echo "All stages took $((SECONDS - begin)) s."
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$failures" -eq 0 ] && [ "$passed" -gt 0 ]
