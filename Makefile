# Entry points for people and CI. Each target installs what is missing,
# configures and builds before doing its work.
BUILD ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

SAN_BUILD ?= build-san
# Seconds each fuzz program runs for in `make fuzz`.
FUZZ_SECONDS ?= 60

.PHONY: all deps configure build run test bench format check-format clean \
	san-deps san-configure test-asan fuzz install-gimp

all: build

deps:
	@scripts/install-deps

configure: deps
	@if [ ! -f $(BUILD)/build.ninja ]; then \
	  cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE); \
	fi

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# Opens cifx-host on the sample picture when there is a display; otherwise
# renders the gallery of built-in filters and says how to see the editor.
run: build
	@if [ -n "$$DISPLAY$$WAYLAND_DISPLAY" ]; then \
	  $(BUILD)/hosts/app/cifx-host; \
	else \
	  $(BUILD)/hosts/cli/cifx gallery $(BUILD)/gallery; \
	  echo "No display: to try the editor, run  xvfb-run -a $(BUILD)/hosts/app/cifx-host  (or open it on a desktop)."; \
	fi

test: build check-format
	@cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

# The sanitizer build: Clang with AddressSanitizer, UndefinedBehaviorSanitizer
# and libFuzzer's coverage, in its own folder. test-asan runs the whole test
# suite there; fuzz builds the fuzz programs and runs each for FUZZ_SECONDS.
san-deps:
	@scripts/install-deps --sanitizers

san-configure: san-deps
	@if [ ! -f $(SAN_BUILD)/build.ninja ]; then \
	  CC=clang-14 CXX=clang++-14 cmake -S . -B $(SAN_BUILD) -G Ninja \
	    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCIF_FUZZ=ON; \
	fi

test-asan: san-configure
	@cmake --build $(SAN_BUILD) -j $(JOBS)
	@cd $(SAN_BUILD) && QT_QPA_PLATFORM=offscreen \
	  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/fuzz/lsan.supp:print_suppressions=0 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --output-on-failure -j $(JOBS)

fuzz: san-configure
	@cmake --build $(SAN_BUILD) --target fuzz_targets -j $(JOBS)
	@scripts/run-fuzzers $(SAN_BUILD) $(FUZZ_SECONDS)

# Installs the GIMP 2.10 plug-in for this user, pointing at this build's bundle.
install-gimp: configure
	@cmake --build $(BUILD) -j $(JOBS) --target install-gimp

bench: build
	@scripts/run-benchmarks $(BUILD)

format:
	@scripts/format --fix

check-format:
	@scripts/format --check

clean:
	@rm -rf $(BUILD)
