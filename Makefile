# The two commands of the README, and what a developer needs besides. Everything else is plain CMake: see CONTRIBUTING.md.

JOBS ?= $(shell nproc)
OUT ?= demo-out

export JOBS

.DEFAULT_GOAL := help
.PHONY: help demo test lint bench format clean

help:
	@echo "make demo     build everything, run the spacecraft target, print what it logged (OUT=$(OUT))"
	@echo "make test     every check of this project: GCC, sanitizers, Clang, lint, format, fuzzers"
	@echo "make lint     clang-tidy over the sources of the libraries and examples"
	@echo "make bench    run the benchmarks, print each ratio to its floor"
	@echo "make format   rewrite the sources in the project's format"
	@echo "make clean    remove build/ and $(OUT)/"

demo:
	@scripts/install-packages.sh demo
	@scripts/demo.sh "$(OUT)"

test:
	@scripts/install-packages.sh demo test
	@scripts/test.sh

lint:
	@scripts/install-packages.sh demo test
	@cmake --preset clang >/dev/null
	@scripts/lint.sh build/clang

bench:
	@scripts/install-packages.sh demo bench
	@scripts/bench.sh

format:
	@scripts/format.sh

clean:
	@rm -rf build $(OUT)
