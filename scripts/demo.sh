#!/usr/bin/env bash
# Builds a release, runs the spacecraft target as generated code would run, and prints what it logged; then runs an FMU.
#
#   scripts/demo.sh OUT
out=${1:-demo-out}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

stage "build" build demo || exit 1

mkdir -p "$out"
programs=build/demo/bin
"$programs/spacecraft_write_configuration" "$out/config.qat"
"$programs/spacecraft" --config "$out/config.qat" --out "$out/results.qat"
"$programs/spacecraft_show_results" "$out/results.qat"

printf '\n'
"$programs/vtio-run" run build/demo/fmus/bouncing_ball_fmi3.fmu --locals -o "$out/ball.qat"
