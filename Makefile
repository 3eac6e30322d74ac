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

bench: build
	@scripts/run-benchmarks $(BUILD)

format:
	@scripts/format --fix

check-format:
	@scripts/format --check

clean:
	@rm -rf $(BUILD)
