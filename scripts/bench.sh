#!/usr/bin/env bash
# Builds the benchmarks as a release and prints their table. Arguments go to the benchmark program.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

stage "build" build bench || exit 1
build/bench/bin/vtio_benchmarks "$@"
