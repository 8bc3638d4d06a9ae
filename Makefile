# The two commands of the README: `make demo` and `make check`. Both install what is
# missing, configure and build; the rest of the targets are for developers.
BUILD ?= build
JOBS ?= 2
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all deps configure build check demo clean format fuzz fuzz-run check-asan bench check-fresh \
	install package

all: build

deps:
	@scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j$(JOBS)

# ctest shows a skipped test's output nowhere: its reason is printed after the run.
CTEST = QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j$(JOBS); status=$$?; \
	grep -h 'SKIP:' Testing/Temporary/LastTest.log 2>/dev/null; exit $$status

check: build
	cd $(BUILD) && $(CTEST)

demo: build
	@scripts/demo.sh $(BUILD)

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD)

# The whole build (engine, korvan, korvan-batch, tests) and test suite under
# AddressSanitizer and UndefinedBehaviorSanitizer in $(ASAN_BUILD), halting at the first
# report. gcc's -fsanitize=undefined leaves out float-cast-overflow, a float too large
# for the int it is turned into: exactly what a hostile coordinate or size brings, so it
# is added. Leak detection stays on: the test programs make and destroy contexts,
# forms and readers many times over, and a leak of the engine shows there. It is
# suppressed for the korvan-batch program only, whose context is by design never freed
# (the process ends instead; korvan keeps its own reachable), and in three system
# libraries (fontconfig's cache, the X11 platform's D-Bus connection, the CUPS PPD
# cache). Under the sanitizers no_page_lost runs 500 records instead of 20,000, and
# the hostile files get five times the time and four times the memory.
ASAN_BUILD ?= build-asan
ASAN_ENV = ASAN_OPTIONS=detect_leaks=1 \
	LSAN_OPTIONS=suppressions=$(CURDIR)/$(ASAN_BUILD)/lsan.supp:print_suppressions=0 \
	UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

check-asan: deps
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKORVAN_SANITIZE=ON \
		-DCMAKE_CXX_FLAGS=-fsanitize=float-cast-overflow >/dev/null
	@cmake --build $(ASAN_BUILD) -j$(JOBS)
	@printf '%s\n' 'leak:korvan-batch' 'leak:libfontconfig.so' 'leak:libdbus-1.so' \
		'leak:libcups.so' >$(ASAN_BUILD)/lsan.supp
	cd $(ASAN_BUILD) && $(ASAN_ENV) $(CTEST)

# Benchmarks, in their own Release build: the micro-benchmarks of the hot paths, pages
# per second of the invoice form into images, then bench/run.py: the invoice benchmark
# to PDF against the floor (a plain Qt program drawing the same pages), peak memory,
# start-up, layout check, positioning deep into a 1 GB data file and the preview's
# redraw time, in one table. BENCH_ARGS passes options to run.py (--runs N, --skip-50k).
BENCH_BUILD ?= build-bench
BENCH_ARGS ?=
# The benchmarks render with the tests' fonts, whatever else the machine has installed.
BENCH_ENV = QT_QPA_PLATFORM=offscreen FONTCONFIG_FILE=$(CURDIR)/tests/fonts.conf
BENCH_TARGETS = korvan korvan-batch floor_pdf bench_micro bench_render bench_positioning bench_redraw
bench:
	@scripts/install-deps.sh --bench
	@cmake -S . -B $(BENCH_BUILD) -DKORVAN_BENCH=ON -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BENCH_BUILD) -j$(JOBS) --target $(BENCH_TARGETS)
	$(BENCH_ENV) $(BENCH_BUILD)/bin/bench_micro
	$(BENCH_ENV) $(BENCH_BUILD)/bin/bench_render
	$(BENCH_ENV) python3 bench/run.py $(BENCH_BUILD) $(BENCH_ARGS)

# Fuzzing (clang and libFuzzer): `make fuzz` builds every harness of fuzz/ (one per
# input: layout, data, edit, barcode, numbers, text) into $(FUZZ_BUILD);
# `make fuzz-run FUZZ_SECONDS=1800` runs each for that long, FUZZ_JOBS at a time, from
# the seeds of fuzz/corpus/NAME, and prints executions, coverage and crashes per
# harness. Logs: $(FUZZ_BUILD)/fuzz-NAME.log; crashing inputs:
# $(FUZZ_BUILD)/crashes/NAME/; reproduce one with $(FUZZ_BUILD)/fuzz_NAME FILE.
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 600
FUZZ_JOBS ?= 2

fuzz:
	@cmake -S fuzz -B $(FUZZ_BUILD) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build $(FUZZ_BUILD) -j$(JOBS)

fuzz-run: fuzz
	fuzz/run.sh $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_JOBS)

# Installing. `make install` puts korvan and korvan-batch in PREFIX/bin, their manual
# pages in section 1, the user's guide and the examples in PREFIX/share/doc/korvan and
# the completion of korvan-batch's options where bash-completion finds it; with
# DESTDIR=DIR everything lands under DIR instead of /, for staging.
# `make package` makes the Debian package $(BUILD)/korvan_VERSION_ARCH.deb (CPack, with
# the library dependencies from dpkg-shlibdeps) and has lintian judge it: an error
# fails the target, warnings are listed. `apt install ./$(BUILD)/korvan_*.deb` installs
# it with everything it needs.
PREFIX ?= /usr/local
DESTDIR ?=

install: build
	DESTDIR="$(DESTDIR)" cmake --install $(BUILD) --prefix "$(PREFIX)"

package: build
	@scripts/install-deps.sh --package
	rm -f $(BUILD)/korvan_*.deb
	cd $(BUILD) && cpack -G DEB
	lintian --fail-on error --display-info $(BUILD)/korvan_*.deb

# Proof that the README's commands are enough: `make check` (then the Debian package,
# installed with apt) in a fresh Debian 12 minbase tree made by debootstrap, cached in
# build-fresh/. See scripts/check-fresh.sh.
check-fresh:
	@scripts/check-fresh.sh
