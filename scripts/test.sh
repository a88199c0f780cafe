#!/usr/bin/env bash
# Builds a release and runs its tests, but for those that take long (CTest label `long`): scripts/check.sh has them.
source "$(dirname "${BASH_SOURCE[0]}")/counting.sh"

check "release: build" build release
run_tests "release: tests" release -LE long
finish "make test"
