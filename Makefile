# Every verb first makes sure the machine has what the build needs (scripts/setup).
#
#   make test        configure, build and run every test through ctest
#   make run         build and run the example program examples/band_filter
#   make bench       build the benchmarks (Release, peers installed) and print their tables
#   make sanitize    address+undefined and thread sanitizer builds, each running the tests
#   make test-shared the tests and the installed-package check on a shared-library build
#   make fuzz        build the fuzzers with clang and run each for FUZZ_SECONDS
#   make format      apply clang-format; make format-check only reports
#   make install-check  install into a temporary prefix and build tests/install against it

BUILD      ?= build
WERROR     ?= OFF
JOBS       ?= $(shell nproc)
FUZZ_SECONDS ?= 60
CMAKE_GEN  := -G Ninja -DQ7_WERROR=$(WERROR)

SOURCES = $(shell git ls-files '*.cpp' '*.h' 2>/dev/null)

.PHONY: all setup configure build test run bench sanitize sanitize-address sanitize-thread \
        fuzz format format-check install-check test-shared clean

all: build

setup:
	@scripts/setup

configure: setup
	@cmake -S . -B $(BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS) --timeout 300

run: build
	$(BUILD)/examples/band_filter/band_filter

bench:
	@scripts/setup bench
	@cmake -S . -B build-bench $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release -DQ7_BUILD_TESTS=OFF \
	  -DQ7_BUILD_BENCH=ON >/dev/null
	@cmake --build build-bench -j $(JOBS)
	@for b in build-bench/bench/*_bench; do echo "== $$b"; $$b --benchmark_counters_tabular=true || exit 1; done

sanitize: sanitize-address sanitize-thread

sanitize-address: setup
	@cmake -S . -B build-asan $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DQ7_SANITIZE=address >/dev/null
	@cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --test-dir build-asan --output-on-failure -j $(JOBS) --timeout 600

sanitize-thread: setup
	@cmake -S . -B build-tsan $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DQ7_SANITIZE=thread >/dev/null
	@cmake --build build-tsan -j $(JOBS)
	# The exit handlers run from the signal handler by design (bounded by a watchdog), so
	# calls that are not async-signal-safe there are expected.
	TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:report_signal_unsafe=0 \
	  ctest --test-dir build-tsan --output-on-failure -j $(JOBS) --timeout 600

fuzz:
	@scripts/setup fuzz
	@CC=clang CXX=clang++ cmake -S . -B build-fuzz $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DQ7_BUILD_TESTS=OFF -DQ7_BUILD_EXAMPLES=OFF -DQ7_BUILD_FUZZERS=ON >/dev/null
	@cmake --build build-fuzz -j $(JOBS)
	@scripts/run-fuzzers build-fuzz $(FUZZ_SECONDS)

format: setup
	clang-format -i $(SOURCES)

format-check: setup
	clang-format --dry-run --Werror $(SOURCES)

install-check: build
	@scripts/install-check $(BUILD)

test-shared: setup
	@cmake -S . -B build-shared $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_SHARED_LIBS=ON >/dev/null
	@cmake --build build-shared -j $(JOBS)
	ctest --test-dir build-shared --output-on-failure -j $(JOBS) --timeout 300
	@scripts/install-check build-shared

clean:
	rm -rf build build-bench build-asan build-tsan build-fuzz build-install build-shared
