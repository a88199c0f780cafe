#!/usr/bin/env bash
# Builds the benchmarks as a release, runs them and prints one table with each ratio to its floor.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

stage "build" build bench benchmarks || exit 1
benchmarks/run.sh build/bench
