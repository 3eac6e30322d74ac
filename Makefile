# Entry points for people and CI. Each target installs what is missing,
# configures and builds before doing its work.
BUILD ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

.PHONY: all deps configure build run test bench format check-format clean

all: build

deps:
	@scripts/install-deps

configure: deps
	@if [ ! -f $(BUILD)/build.ninja ]; then \
	  cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE); \
	fi

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# Renders the gallery of built-in filters and prints where it is.
run: build
	@$(BUILD)/hosts/cli/cifx gallery $(BUILD)/gallery

test: build check-format
	@cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

bench: build
	@scripts/run-benchmarks $(BUILD)

format:
	@scripts/format --fix

check-format:
	@scripts/format --check

clean:
	@rm -rf $(BUILD)
