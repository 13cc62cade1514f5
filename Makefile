# The front door. The inner loop of a developer is make check; a newcomer and CI run make test.
.PHONY: demo check test sanitize calibrate desk bench tidy format check-layers deps release

JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 10
# Replications of make calibrate.
RANKS ?= 1000
COVERAGE ?= 200

deps:
	@scripts/install-deps

# Sources in batches: the whole program in the shortest time.
release: deps
	cmake --preset release
	cmake --build build/release

demo: deps
	cmake --preset release
	cmake --build build/release --target tovik
	build/release/bin/tovik examples/schools/schools.tovik
	@echo "Twenty imputed data sets stand in examples/schools/imputed1.csv to imputed20.csv,"
	@echo "and once more in imputed.csv, all under each other behind the incomplete data."

# Sources one by one: after a change only what it touches is compiled. Unit, language and golden tests.
check:
	cmake --preset check
	cmake --build build/check --target check_programs
	ctest --test-dir build/check --output-on-failure -j $(JOBS) -L '^(unit|language|golden)$$'

# Everything in the release build, statistical tests included.
test: check-layers release
	ctest --test-dir build/release --output-on-failure -j $(JOBS)

# The fuzz drivers, the thread sanitizer, and the address and undefined-behaviour sanitizers.
sanitize: deps
	scripts/run-fuzzers $(FUZZ_SECONDS) $(JOBS)
	scripts/run-sanitizers $(JOBS)

# Rank histograms and coverage tables from many simulated data sets.
calibrate: deps
	cmake --preset release
	cmake --build build/release --target calibrate
	build/release/bin/calibrate $(RANKS) $(COVERAGE) docs/validation.md

# Grammars, completions and the manual page in share/, after a word of the language or an option is new.
desk: deps
	cmake --preset release
	cmake --build build/release --target desk_files
	build/release/bin/desk_files share

bench: deps
	cmake --preset release
	cmake --build build/release --target benchmarks
	scripts/run-bench

# The program as whole processes: make bench-runs OTHER=path compares with another program by turns; RUNS=--slow takes
# the designs that mix slowly.
.PHONY: bench-runs
RUNS ?=
OTHER ?=
bench-runs: deps
	cmake --preset release
	cmake --build build/release --target whole_runs
	build/release/bin/whole_runs $(RUNS) build/release/bin/tovik $(OTHER)

# clang-tidy over what differs from BASE, committed or not: make tidy BASE=origin/main.
BASE ?= HEAD
tidy:
	@scripts/run-tidy $(BASE)

format:
	find src tests bench fuzz tools -name '*.hpp' -o -name '*.cpp' | xargs clang-format -i

check-layers:
	@scripts/check-layers
