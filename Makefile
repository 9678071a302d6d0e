# Entry points. Each one installs what is missing first, so a fresh Debian 12 machine needs nothing else.
BUILD_DIR ?= build
DEV_BUILD_DIR ?= build-dev
JOBS ?= $(shell nproc)
CMAKE_LAUNCHER := $(shell command -v ccache >/dev/null 2>&1 && echo -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

.PHONY: deps build dev-build run dev test bench package clean

deps:
	@bash scripts/install-deps.sh

$(BUILD_DIR)/build.ninja:
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_LAUNCHER)

$(DEV_BUILD_DIR)/build.ninja:
	cmake -S . -B $(DEV_BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DONDEL_DEV_BUILD=ON $(CMAKE_LAUNCHER)

build: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS)

dev-build: deps $(DEV_BUILD_DIR)/build.ninja
	cmake --build $(DEV_BUILD_DIR) -j $(JOBS)

# The release app, with the user's own data, made known to the desktop first (launcher entry,
# icon, and the handler of ondel:// links).
run: build
	@bash scripts/install-desktop-entry.sh $(BUILD_DIR)/src/app/ondel || true
	$(BUILD_DIR)/src/app/ondel

# A developer build: its own store and settings ("Ondel-Dev"), logs on standard error too.
dev: dev-build
	$(DEV_BUILD_DIR)/src/app/ondel

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

bench: build
	cmake --build $(BUILD_DIR) --target ondel-bench -j $(JOBS)
	$(BUILD_DIR)/bench/ondel-bench

# The Debian package of the release build: $(BUILD_DIR)/ondel_<version>_<arch>.deb.
package: build
	cd $(BUILD_DIR) && cpack -G DEB

clean:
	rm -rf $(BUILD_DIR) $(DEV_BUILD_DIR)
