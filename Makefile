# The two commands of the README, and more for developers. Everything else is plain CMake: see CONTRIBUTING.md.

JOBS ?= $(shell nproc)
OUT ?= demo-out

export JOBS

.DEFAULT_GOAL := help
.PHONY: help demo test check lint bench package format clean

help:
	@echo "make demo     build everything, run two FMUs, a sweep and the spacecraft, plot what they logged (OUT=$(OUT))"
	@echo "make test     build a release and run its tests"
	@echo "make check    everything else: sanitizers with Clang, threads, fuzzers, headers, lint, format"
	@echo "make lint     clang-tidy with all checks over every source by itself (make check leaves out the analyzer)"
	@echo "make bench    run the benchmarks, print each ratio to its floor; fails where one is far above its target"
	@echo "make package  build the Debian packages into packages/ and try what they install"
	@echo "make format   rewrite the sources in the project's format"
	@echo "make clean    remove build/, packages/ and $(OUT)/"

demo:
	@scripts/install-packages.sh demo tools
	@scripts/demo.sh "$(OUT)"

test:
	@scripts/install-packages.sh demo tools test
	@scripts/test.sh

check:
	@scripts/install-packages.sh demo tools test package check
	@scripts/check.sh

lint:
	@scripts/install-packages.sh demo tools test check
	@scripts/lint.sh

bench:
	@scripts/install-packages.sh demo tools bench
	@scripts/bench.sh

package:
	@scripts/install-packages.sh demo tools package
	@scripts/package.sh packages

format:
	@scripts/format.sh

clean:
	@rm -rf build packages $(OUT)
