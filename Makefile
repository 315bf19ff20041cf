# What people type. Every target sets up what is missing first (scripts/bootstrap).
PRESETS_CHECK := dev asan i386
JOBS ?= $(shell nproc)
# Seconds per fuzz target: `make fuzz` and the smoke run of `make check`.
FUZZ_SECONDS ?= 30
FUZZ_SMOKE_SECONDS ?= 5

.PHONY: all setup build test check demo bench bench-smoke fuzz tsan clean

all: build

setup:
	@./scripts/bootstrap

build/%/CMakeCache.txt:
	cmake --preset $*

build: setup build/dev/CMakeCache.txt
	cmake --build --preset dev -j $(JOBS)

test: build
	ctest --preset dev -j $(JOBS)

# What CI runs: the developer build, then sanitizers, then the 32-bit target; then a short run of each
# fuzz target, the thread-sanitizer test and a brief run of every benchmark (their builds make only what
# those need).
check: setup
	@set -e; for p in $(PRESETS_CHECK); do \
	  echo "=== $$p ==="; \
	  cmake --preset $$p >/dev/null; \
	  cmake --build --preset $$p -j $(JOBS); \
	  ctest --preset $$p -j $(JOBS); \
	done
	@echo "=== fuzz (smoke, $(FUZZ_SMOKE_SECONDS)s per target) ==="
	$(MAKE) --no-print-directory fuzz FUZZ_SECONDS=$(FUZZ_SMOKE_SECONDS)
	@echo "=== tsan ==="
	$(MAKE) --no-print-directory tsan
	@echo "=== benchmarks (smoke) ==="
	$(MAKE) --no-print-directory bench-smoke

# Each fuzz target for FUZZ_SECONDS (docs/robustness.md: longer runs, reproducing a finding).
fuzz: setup
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz -j $(JOBS)
	./scripts/fuzz build/fuzz $(FUZZ_SECONDS)

tsan: setup
	cmake --preset tsan >/dev/null
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan

demo: build
	./scripts/demo build/dev

bench: setup build/bench/CMakeCache.txt
	cmake --build --preset bench -j $(JOBS)
	./scripts/run-benchmarks build/bench

# Builds the benchmarks and runs each once, briefly: they still build, run and report every figure.
bench-smoke: setup build/bench/CMakeCache.txt
	cmake --build --preset bench -j $(JOBS)
	./scripts/run-benchmarks --smoke build/bench

clean:
	rm -rf build
