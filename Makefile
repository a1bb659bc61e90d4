# Entry points. Each target first installs what is missing (scripts/setup is quiet when
# nothing is), then builds with CMake and Ninja.
# The product builds in build/ without tests or fault points; the tests build in build-test/ with
# the fault points they drive. Both are Debug builds of the same objects, so ccache serves both.
BUILD ?= build
TEST_BUILD ?= build-test
JOBS ?= $(shell nproc)
PACKAGE_BUILD ?= build-package

.PHONY: all setup build build-tests run screenshots test soak test-asan bench fuzz deb package-test clean format

all: build

setup:
	@scripts/setup

# Configured again when this file changes, so a tree made by an older Makefile gets today's options.
$(BUILD)/build.ninja: Makefile | setup
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVANTOR_TESTS=OFF -DVANTOR_FAULT_POINTS=OFF >/dev/null
	@touch $@

$(TEST_BUILD)/build.ninja: Makefile | setup
	@cmake -S . -B $(TEST_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVANTOR_TESTS=ON -DVANTOR_FAULT_POINTS=ON >/dev/null
	@touch $@

# The product, with the proof that it carries no fault layer.
build: setup $(BUILD)/build.ninja
	@cmake --build $(BUILD) -j $(JOBS)
	@scripts/check-product $(BUILD)/cli/vantor >/dev/null

run: build
	@$(BUILD)/cli/vantor $(ARGS)

screenshots: build
	@scripts/screenshots $(BUILD)/cli/vantor docs/images

build-tests: setup $(TEST_BUILD)/build.ninja
	@cmake --build $(TEST_BUILD) -j $(JOBS)

# Every test, the self-test among them, once. Only the test build is made: the product build's
# own check runs with `make build` and `make package-test`.
test: build-tests
	@cd $(TEST_BUILD) && ctest --output-on-failure -j $(JOBS)

# The random-kill soaks, kept out of `make test` for their length; prints their figures.
soak: build-tests
	@scripts/soak $(TEST_BUILD)

test-asan: setup
	@cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVANTOR_SANITIZE=ON \
		-DVANTOR_TESTS=ON -DVANTOR_FAULT_POINTS=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j $(JOBS)

bench: setup
	@cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DVANTOR_BENCH=ON \
		-DVANTOR_TESTS=OFF -DVANTOR_FAULT_POINTS=OFF >/dev/null
	@cmake --build build-bench -j $(JOBS)
	@scripts/bench build-bench

fuzz: setup
	@CXX=clang++-14 cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVANTOR_FUZZ=ON \
		-DVANTOR_TESTS=OFF >/dev/null
	@cmake --build build-fuzz -j $(JOBS)
	@scripts/fuzz build-fuzz

# The Debian package: a Release build without tests or fault points, with Debian's hardening flags.
deb:
	@scripts/setup package
	@export DEB_BUILD_MAINT_OPTIONS=hardening=+all; \
	cmake -S . -B $(PACKAGE_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
		-DVANTOR_TESTS=OFF -DVANTOR_FAULT_POINTS=OFF -DVANTOR_PACKAGE=ON \
		-DCMAKE_CXX_FLAGS="$$(dpkg-buildflags --get CXXFLAGS) $$(dpkg-buildflags --get CPPFLAGS)" \
		-DCMAKE_EXE_LINKER_FLAGS="$$(dpkg-buildflags --get LDFLAGS)" >/dev/null
	@cmake --build $(PACKAGE_BUILD) -j $(JOBS)
	@rm -f $(PACKAGE_BUILD)/vantor_*.deb
	@cd $(PACKAGE_BUILD) && cpack >/dev/null
	@ls $(PACKAGE_BUILD)/vantor_*.deb

# Checks the package and installs, runs and purges it in a fresh Debian 12 root.
package-test: deb
	@scripts/package-test $(PACKAGE_BUILD)/vantor_*.deb

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	@rm -rf $(BUILD) $(TEST_BUILD) build-asan build-bench build-fuzz $(PACKAGE_BUILD)
