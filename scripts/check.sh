#!/usr/bin/env bash
# What `make test` leaves out: all tests under sanitizers with the second compiler, threads, lint, headers, fuzzers.
source "$(dirname "${BASH_SOURCE[0]}")/counting.sh"
export VTIO_NEED_PACKAGES=1  # a Python package that is missing fails the tests that are skipped without it

check "format" scripts/format.sh --check
check "Clang, ASan and UBSan: build" build asan
run_tests "Clang, ASan and UBSan: tests" asan
check "fuzzers: 15 s each" fuzz/smoke.sh build/asan 15
check "ThreadSanitizer: build" build tsan threads_test
run_tests "ThreadSanitizer: tests" tsan
check "every header compiled alone" cmake --build build/asan -j "$jobs" --target all_verify_interface_header_sets
check "Debian packages" scripts/package.sh build/packages
check "lint" scripts/lint.sh --quick
finish "make check"
