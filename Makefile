# The two commands of the README: `make demo` and `make check`. Both install what is
# missing, configure and build; the rest of the targets are for developers.
BUILD ?= build
JOBS ?= 2
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all deps configure build check demo clean format fuzz check-asan bench

all: build

deps:
	@scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j$(JOBS)

check: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j$(JOBS)

demo: build
	@scripts/demo.sh $(BUILD)

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD)

# Benchmarks, in their own Release build: pages per second of the invoice form, and
# positioning deep into a 1 GB data file (time and peak memory).
BENCH_BUILD ?= build-bench
bench: deps
	@cmake -S . -B $(BENCH_BUILD) -DKORVAN_BENCH=ON -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BENCH_BUILD) -j$(JOBS) --target bench_render bench_positioning
	QT_QPA_PLATFORM=offscreen $(BENCH_BUILD)/bin/bench_render
	QT_QPA_PLATFORM=offscreen $(BENCH_BUILD)/bin/bench_positioning
