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

# sum_of <attribute> <tag> <file>...: the sum of a number in all tags of XML files.
sum_of() {
  local attribute=$1 tag=$2
  shift 2
  cat /dev/null "$@" | tr '\n\t' '  ' | { grep -o "<$tag [^>]*>" || true; } |
    awk -v name="$attribute" 'match($0, " " name "=\"[0-9]+") { sum += substr($0, RSTART + length(name) + 3) }
                              END { print sum + 0 }'
}

# run_tests <title> <preset> [ctest option...]: a stage that counts as the tests it runs: the cases of each GoogleTest
# program, and the other CTest entries. A skipped test counts as none.
run_tests() {
  local title=$1 preset=$2 total=0 bad=0 skipped=0 entries=$PWD/$logs/ctest-$2.xml cases=$PWD/build/$2/gtest
  shift 2
  rm -rf "$entries" "$cases"
  STAGE_TAIL=200 stage "$title" quiet_ctest --preset "$preset" -j "$jobs" --output-junit "$entries" "$@" || bad=1
  if [ -s "$entries" ] && [ "$(sum_of tests testsuite "$entries")" -gt 0 ]; then
    local programs=("$cases"/*.xml) failed_programs
    [ -e "${programs[0]}" ] || programs=()
    failed_programs=$(grep -lE '<testsuites [^>]*(failures|errors)="[1-9]' /dev/null "${programs[@]}" | wc -l || true)
    total=$(($(sum_of tests testsuite "$entries") - ${#programs[@]} + $(sum_of tests testsuites "${programs[@]}")))
    local bad_cases=$(($(sum_of failures testsuite "$entries") - failed_programs +
                      $(sum_of failures testsuites "${programs[@]}") + $(sum_of errors testsuites "${programs[@]}")))
    [ "$bad_cases" -gt "$bad" ] && bad=$bad_cases
    skipped=$(($(sum_of skipped testsuite "$entries") + $(sum_of skipped testsuite "${programs[@]}") +
               $(sum_of disabled testsuites "${programs[@]}")))
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
