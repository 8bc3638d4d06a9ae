# The two commands of the README: `make demo` and `make check`. Both install what is
# missing, configure and build; the rest of the targets are for developers.
BUILD ?= build
JOBS ?= 2
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all deps configure build check demo clean format fuzz fuzz-run check-asan bench

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

# Benchmarks, in their own Release build: the micro-benchmarks of the hot paths, pages
# per second of the invoice form into images, then bench/run.py: the invoice benchmark
# to PDF against the floor (a plain Qt program drawing the same pages), peak memory,
# start-up, layout check, positioning deep into a 1 GB data file and the preview's
# redraw time, in one table. BENCH_ARGS passes options to run.py (--runs N, --skip-50k).
BENCH_BUILD ?= build-bench
BENCH_ARGS ?=
BENCH_TARGETS = korvan korvan-batch floor_pdf bench_micro bench_render bench_positioning bench_redraw
bench:
	@scripts/install-deps.sh --bench
	@cmake -S . -B $(BENCH_BUILD) -DKORVAN_BENCH=ON -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BENCH_BUILD) -j$(JOBS) --target $(BENCH_TARGETS)
	QT_QPA_PLATFORM=offscreen $(BENCH_BUILD)/bin/bench_micro
	QT_QPA_PLATFORM=offscreen $(BENCH_BUILD)/bin/bench_render
	python3 bench/run.py $(BENCH_BUILD) $(BENCH_ARGS)

# Fuzzing (clang and libFuzzer): `make fuzz` builds the harnesses of fuzz/ into
# $(FUZZ_BUILD); `make fuzz-run FUZZ_SECONDS=600` runs the layout fuzzer for that long.
# It starts from fuzz/corpus/layout and the examples; new inputs go to
# $(FUZZ_BUILD)/corpus/layout, crashes to $(FUZZ_BUILD)/crash-*, the
# log to $(FUZZ_BUILD)/fuzz-0.log. Reproduce a crash: $(FUZZ_BUILD)/fuzz_layout FILE
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 600

fuzz:
	@cmake -S fuzz -B $(FUZZ_BUILD) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build $(FUZZ_BUILD) -j$(JOBS)

fuzz-run: fuzz
	@mkdir -p $(FUZZ_BUILD)/corpus/layout
	cd $(FUZZ_BUILD) && LSAN_OPTIONS=suppressions=$(CURDIR)/fuzz/lsan.supp QT_QPA_PLATFORM=offscreen \
		./fuzz_layout corpus/layout $(CURDIR)/fuzz/corpus/layout $(wildcard $(CURDIR)/examples/*/) \
		-dict=$(CURDIR)/fuzz/layout.dict -max_total_time=$(FUZZ_SECONDS) -timeout=10 \
		-close_fd_mask=2 -jobs=1 -workers=1 -artifact_prefix=./
