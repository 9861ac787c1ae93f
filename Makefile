# Thin wrapper over CMake. `make test SANITIZE=1` builds with ASan and UBSan; `TSAN=1` with ThreadSanitizer.
BUILD_DIR ?= build
SANITIZE ?= 0
TSAN ?= 0
WERROR ?= 0
JOBS ?= $(shell nproc)

ifeq ($(SANITIZE),1)
BUILD_DIR := $(BUILD_DIR)-sanitize
CMAKE_FLAGS += -DOMBREL_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug
endif
ifeq ($(TSAN),1)
BUILD_DIR := $(BUILD_DIR)-tsan
CMAKE_FLAGS += -DOMBREL_TSAN=ON -DCMAKE_BUILD_TYPE=Debug
endif
ifeq ($(WERROR),1)
CMAKE_FLAGS += -DOMBREL_WERROR=ON
endif

.PHONY: deps configure build test demo bench clean

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	@cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS) -LE slow

demo: build
	@$(BUILD_DIR)/app/ombrel demo

bench: build
	@for b in $(BUILD_DIR)/bench/bench_*; do [ -x "$$b" ] && "$$b"; done; true

clean:
	@rm -rf $(BUILD_DIR) $(BUILD_DIR)-sanitize $(BUILD_DIR)-tsan
