# Sourced by the other scripts: the root, parallel jobs, stage headers with times, and configure-and-build of a preset.

set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
jobs=${JOBS:-$(nproc)}
logs=build/logs
mkdir -p "$logs"

# A compiler cache is used where there is one; precompiled headers need these two exceptions.
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_SLOPPINESS=pch_defines,time_macros
fi

failures=0

# stage <title> <command...>: prints the title, runs the command with its output in a log, prints how long it took;
# on failure the end of the log. Returns the command's exit code.
stage() {
  local title=$1 log start=$SECONDS rc=0
  shift
  log=$logs/$(tr -cs '[:alnum:]' '-' <<<"$title" | sed 's/-*$//').log
  printf '== %-44s ' "$title"
  [ -t 1 ] || printf '\n'
  "$@" >"$log" 2>&1 || rc=$?
  if [ $rc -eq 0 ]; then
    printf '   ok, %d s\n' $((SECONDS - start))
  else
    failures=$((failures + 1))
    printf '   FAILED after %d s; the end of %s:\n' $((SECONDS - start)) "$log"
    tail -n "${STAGE_TAIL:-60}" "$log" | sed 's/^/   | /'
  fi
  return $rc
}

# build <preset> [target...]: configures a preset and builds the targets (all by default).
build() {
  local preset=$1 targets=()
  shift
  [ $# -eq 0 ] || targets=(--target "$@")
  cmake --preset "$preset" && cmake --build "build/$preset" -j "$jobs" "${targets[@]}"
}

# The project's own C and C++ files.
sources() {
  git ls-files -co --exclude-standard -- '*.h' '*.hpp' '*.c' '*.cpp' | while read -r file; do
    [ ! -e "$file" ] || printf '%s\n' "$file"
  done
}
