# Wraps CMake. `make demo` and `make test` install what is missing, configure, build and run.
JOBS ?= 2
BUILD ?= build
CMAKE_FLAGS ?=
DEPS = scripts/install-deps.sh

.PHONY: all deps build test demo bench test-sanitize test-tsan fuzz fuzz-smoke valgrind-corpus install-test format clean

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

# AddressSanitizer and UBSan over the unit tests and the tool's ctest cases (the consumer builds
# are not defined in a sanitizer build: they would rebuild the library without sanitizers).
test-sanitize: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DQLM_SANITIZE=address,undefined -DQLM_BUILD_TOOLS=ON
	cmake --build build-asan -j $(JOBS)
	cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest --output-on-failure -j $(JOBS) -E 'InstallTree'

bench: deps
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DQLM_BUILD_BENCH=ON -DQLM_BUILD_TESTS=OFF
	cmake --build build-bench -j $(JOBS) --target qlm_bench
	build-bench/bench/qlm_bench $(BENCH_ARGS)

# ThreadSanitizer build of the suites that run parallel loops. A suite that exercises parallel
# code joins by matching one of these patterns.
TSAN_FILTER ?= MeshCounts*:OwnMesh*:ColorPixels*:BoundingBox*:SurfaceArea*:FlipUVs*:ToModel*:*Quadric*:Partition*:*Parallel*:CellDecimation*:SeamPass*:FlagFaces*:TrisBoundaryEdges*:MeshRegion*:*Concurrency*
test-tsan: deps
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQLM_SANITIZE=thread -DQLM_BUILD_TOOLS=OFF -DQLM_INSTALL=OFF
	cmake --build build-tsan -j $(JOBS) --target qlm_tests
	TSAN_OPTIONS="suppressions=$(CURDIR)/tests/tsan.supp halt_on_error=1 second_deadlock_stack=1" \
		build-tsan/tests/qlm_tests --gtest_filter='$(TSAN_FILTER)'

# libFuzzer targets (clang): ReadMesh on each format, under AddressSanitizer and UBSan, with
# assertions on. `make fuzz-smoke FUZZ_SECONDS=600` fuzzes longer.
FUZZ_SECONDS ?= 60
# A fixed seed makes every smoke run start from the same mutations (coverage feedback from the
# reader's threads still varies); `make fuzz-smoke FUZZ_SEED=random` picks one and prints it, so
# that a finding can be repeated with FUZZ_SEED=<that number>.
FUZZ_SEED ?= 1
FUZZ_FORMATS = obj off ply stl om
FUZZ_BUILD = build-fuzz
fuzz: deps
	@bash $(DEPS) clang libclang-rt-14-dev
	CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" \
		-DQLM_BUILD_FUZZ=ON -DQLM_BUILD_TESTS=OFF -DQLM_BUILD_TOOLS=OFF -DQLM_INSTALL=OFF \
		-DQLM_SANITIZE=address,undefined
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target qlm_fuzz_seeds $(addprefix qlm_fuzz_,$(FUZZ_FORMATS))

# Each target starts from the seeds the generator writes and the regression inputs of
# tests/fuzz/regressions (every crash, hang or uninitialised read found so far), and runs
# FUZZ_SECONDS; any crash, hang (10 s), leak or allocation past 2 GB fails the run and leaves the
# input in $(FUZZ_BUILD)/findings.
fuzz-smoke: fuzz
	rm -rf $(FUZZ_BUILD)/corpus
	$(FUZZ_BUILD)/tests/fuzz/qlm_fuzz_seeds $(FUZZ_BUILD)/corpus > /dev/null
	@seed=$(FUZZ_SEED); \
	if [ "$$seed" = random ]; then seed=$$(od -An -N4 -tu4 /dev/urandom | tr -d ' '); fi; \
	echo "fuzz-smoke: seed $$seed"; \
	for f in $(FUZZ_FORMATS); do \
		echo "fuzz-smoke: $$f, $(FUZZ_SECONDS) s, seed $$seed"; \
		mkdir -p $(FUZZ_BUILD)/findings/$$f; \
		regressions=; [ -d tests/fuzz/regressions/$$f ] && regressions=tests/fuzz/regressions/$$f; \
		$(FUZZ_BUILD)/tests/fuzz/qlm_fuzz_$$f $(FUZZ_BUILD)/corpus/$$f $$regressions -max_total_time=$(FUZZ_SECONDS) -seed=$$seed \
			-timeout=10 -rss_limit_mb=2048 -max_len=16384 -print_final_stats=1 \
			-artifact_prefix=$(FUZZ_BUILD)/findings/$$f/ 2> $(FUZZ_BUILD)/findings/$$f.log \
			|| { tail -n 60 $(FUZZ_BUILD)/findings/$$f.log; echo "fuzz-smoke: failed with seed $$seed"; exit 1; }; \
		grep -E '^stat::number_of_executed_units|^Done' $(FUZZ_BUILD)/findings/$$f.log || true; \
	done

# ReadMesh over the fuzz seeds and the regression inputs under valgrind's memcheck (a plain
# Release build: no sanitizer runtime in the way). Any error fails the run: an uninitialised
# value used inside a reader, an invalid read or write, a definite leak.
valgrind-corpus: build
	@bash $(DEPS) valgrind
	cmake --build $(BUILD) -j $(JOBS) --target qlm_corpus_seeds qlm_read_corpus
	rm -rf $(BUILD)/valgrind-corpus
	$(BUILD)/tests/qlm_corpus_seeds $(BUILD)/valgrind-corpus > /dev/null
	valgrind --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite --track-origins=yes \
		$(BUILD)/tests/qlm_read_corpus $(BUILD)/valgrind-corpus tests/fuzz/regressions

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build build-asan build-tsan build-fuzz build-bench
