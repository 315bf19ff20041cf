# What people type. Every target sets up what is missing first (scripts/bootstrap).
PRESETS_CHECK := dev asan i386
JOBS ?= $(shell nproc)

.PHONY: all setup build test check demo bench fuzz clean

all: build

setup:
	@./scripts/bootstrap

build/%/CMakeCache.txt:
	cmake --preset $*

build: setup build/dev/CMakeCache.txt
	cmake --build --preset dev -j $(JOBS)

test: build
	ctest --preset dev -j $(JOBS)

# What CI runs: the developer build, then sanitizers, then the 32-bit target.
check: setup
	@set -e; for p in $(PRESETS_CHECK); do \
	  echo "=== $$p ==="; \
	  cmake --preset $$p >/dev/null; \
	  cmake --build --preset $$p -j $(JOBS); \
	  ctest --preset $$p -j $(JOBS); \
	done

demo: build
	./scripts/demo build/dev

bench: setup build/bench/CMakeCache.txt
	cmake --build --preset bench -j $(JOBS)
	./scripts/run-benchmarks build/bench

clean:
	rm -rf build
