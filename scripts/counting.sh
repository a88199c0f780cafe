# Sourced by test.sh and check.sh: stages that count as tests, and the sum of them all.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

passed=0
failed=0

# check <title> <command...>: a stage that counts as one test.
check() {
  if stage "$@"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
}

# quiet_ctest <ctest option...>: only what failed and the summary, of thousands of lines.
quiet_ctest() {
  ctest "$@" | grep -vE '^ *Start +[0-9]+:|^ *[0-9]+/[0-9]+ Test +#[0-9]+:.*(   Passed|\*\*\*Skipped) '
}

# run_tests <title> <preset> [ctest option...]: a stage that counts as the tests it runs; a skipped test counts as none.
run_tests() {
  local title=$1 preset=$2 total=0 bad=0 skipped=0 suite results=$PWD/$logs/ctest-$2.xml
  shift 2
  rm -f "$results"
  STAGE_TAIL=200 stage "$title" quiet_ctest --preset "$preset" -j "$jobs" --output-junit "$results" "$@" || bad=1
  suite=$(tr '\n\t' '  ' <"$results" 2>/dev/null | grep -o '<testsuite [^>]*>' || true)
  if [[ $suite =~ \ tests=\"([1-9][0-9]*)\" ]]; then
    total=${BASH_REMATCH[1]}
    [[ $suite =~ \ failures=\"([0-9]+)\" ]] && [ "${BASH_REMATCH[1]}" -gt "$bad" ] && bad=${BASH_REMATCH[1]}
    [[ $suite =~ \ skipped=\"([0-9]+)\" ]] && skipped=${BASH_REMATCH[1]}
    echo "   $((total - bad - skipped)) of $total tests passed, $bad failed, $skipped skipped"
  else
    echo "   no test ran"
    bad=1
    total=1
  fi
  passed=$((passed + total - bad - skipped))
  failed=$((failed + bad))
}

# finish <name>: prints the sum, adds it to the file VTIO_COUNTS (if there is one), fails when a stage failed.
finish() {
  echo "$1: $passed of $((passed + failed)) tests passed, $SECONDS s."
  [ -z "${VTIO_COUNTS:-}" ] || echo "$passed $failed" >>"$VTIO_COUNTS"
  [ "$failed" -eq 0 ] && [ "$failures" -eq 0 ] && [ "$passed" -gt 0 ]
}
