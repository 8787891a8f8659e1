# Wraps CMake. `make demo` and `make test` install what is missing, configure, build and run.
JOBS ?= 2
BUILD ?= build
CMAKE_FLAGS ?=
DEPS = scripts/install-deps.sh

.PHONY: all deps build test demo bench test-sanitize test-tsan fuzz fuzz-smoke install-test format clean

all: build

deps:
	@bash $(DEPS)

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The demo needs only the tool, not the tests.
demo: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS) --target qlm-mesh
	bash scripts/demo.sh $(BUILD)

# A client project against the install tree (find_package) and the source tree (add_subdirectory).
install-test: build
	cd $(BUILD) && ctest --output-on-failure -R '^consumer\.'

test-sanitize: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DQLM_SANITIZE=address,undefined -DQLM_BUILD_TOOLS=OFF
	cmake --build build-asan -j $(JOBS)
	cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest --output-on-failure -j $(JOBS) -E 'InstallTree'

bench: deps
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DQLM_BUILD_BENCH=ON -DQLM_BUILD_TESTS=OFF
	cmake --build build-bench -j $(JOBS) --target qlm_bench
	build-bench/bench/qlm_bench $(BENCH_ARGS)

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build build-asan build-tsan build-fuzz build-bench
