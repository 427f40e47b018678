# The commands of the project. Each one first sees to it that what it needs is there.

JOBS ?= $(shell nproc)
SETUP ?= yes
RELEASE := build/release
GLINTRO := $(RELEASE)/bin/glintro

.DEFAULT_GOAL := help
.PHONY: help setup program build demo test bench lint lint-quick format asan tsan soak clean

help:
	@echo "make demo        install what is missing, build, make a sample reel and render it"
	@echo "make test        install what is missing, build, run every test"
	@echo "make bench       measure beside references, as a table (BENCH_QUICK=1: a short one)"
	@echo "make lint        formatting, layers, clang-tidy        make lint-quick: without clang-tidy"
	@echo "make asan        the tests under AddressSanitizer and UBSan"
	@echo "make tsan        the tests under ThreadSanitizer"
	@echo "make soak        what must run long, under AddressSanitizer and UBSan (SOAK_SECONDS=120 each)"
	@echo "make format      format the code"
	@echo "make clean       remove what was built and made"
	@echo
	@echo "JOBS=N sets how many things run at once (now $(JOBS)); SETUP=no installs nothing."

# The packages are looked at again when their list changes.
build/setup-%.done: scripts/setup.sh
ifeq ($(SETUP),yes)
	@scripts/setup.sh $*
endif
	@mkdir -p build && touch $@

setup: build/setup-build.done build/setup-test.done

# CMake runs once for each folder; afterwards ninja runs it again whenever its files change.
build/%/tests.configured: build/setup-build.done build/setup-test.done CMakePresets.json
	@cmake --preset $* --log-level=WARNING -DGLINTRO_TESTS=ON -DGLINTRO_BENCH=ON
	@touch $@

build: $(RELEASE)/tests.configured
	@cmake --build $(RELEASE) -j $(JOBS)

# The program alone: what only tests and benchmarks need is neither installed nor built for it.
program: build/setup-build.done
	@[ -e $(RELEASE)/build.ninja ] || \
	    cmake --preset release --log-level=WARNING -DGLINTRO_TESTS=OFF -DGLINTRO_BENCH=OFF
	@cmake --build $(RELEASE) -j $(JOBS) --target glintro

demo: program
	@scripts/demo.sh $(GLINTRO) demo

test: build
	@ctest --test-dir $(RELEASE) -LE soak -j $(JOBS) --output-on-failure --no-tests=error

bench: build
	@bench/run.sh $(RELEASE)

# clang-tidy reads each source by itself.
lint: lint-quick build/lint/tests.configured build/setup-lint.done
	@scripts/clang_tidy.sh build/lint $(JOBS)

lint-quick: build/setup-format.done
	@scripts/check_format.sh
	@scripts/check_layers.sh

format: build/setup-format.done
	@scripts/check_format.sh --fix

# halt_on_error: what a sanitizer finds fails the test it was found in.
asan: export ASAN_OPTIONS = strict_string_checks=1:detect_stack_use_after_return=1
asan: export LSAN_OPTIONS = suppressions=$(CURDIR)/tests/support/lsan.supp:print_suppressions=0
asan: export UBSAN_OPTIONS = print_stacktrace=1:halt_on_error=1
tsan: export TSAN_OPTIONS = suppressions=$(CURDIR)/tests/support/tsan.supp:halt_on_error=1:second_deadlock_stack=1
asan tsan: %: build/%/tests.configured
	@cmake --build build/$@ -j $(JOBS)
	@ctest --test-dir build/$@ -LE soak -j $(JOBS) --output-on-failure --no-tests=error

SOAK_SECONDS ?= 120
soak: export LSAN_OPTIONS = suppressions=$(CURDIR)/tests/support/lsan.supp:print_suppressions=0
soak: build/asan/tests.configured
	@cmake -S . -B build/asan -DGLINTRO_SOAK_SECONDS=$(SOAK_SECONDS) --log-level=WARNING
	@cmake --build build/asan --target soak -j $(JOBS)
	@ctest --test-dir build/asan -L soak -j $(JOBS) --output-on-failure --no-tests=error

clean:
	@rm -rf build out demo
