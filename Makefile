# The front door: make demo, make test, make calibrate, make bench, make format, make check-layers.
.PHONY: demo test calibrate bench format check-layers deps release

FUZZ_SECONDS ?= 10
# Replications of make calibrate.
RANKS ?= 1000
COVERAGE ?= 200

deps:
	@scripts/install-deps

release: deps
	cmake --preset release
	cmake --build build/release

demo: deps
	cmake --preset release
	cmake --build build/release --target tovik
	build/release/bin/tovik examples/schools/schools.tovik
	@echo "Twenty imputed data sets stand in examples/schools/imputed1.csv to imputed20.csv,"
	@echo "and once more in imputed.csv, all under each other behind the incomplete data."

test: release check-layers
	scripts/run-sanitizers
	scripts/run-fuzzers $(FUZZ_SECONDS)
	ctest --test-dir build/release --output-on-failure -j 2

# Rank histograms and coverage tables from many simulated data sets.
calibrate: deps
	cmake --preset release
	cmake --build build/release --target calibrate
	build/release/bin/calibrate $(RANKS) $(COVERAGE) docs/validation.md

bench: release
	scripts/run-bench

format:
	find src tests bench fuzz -name '*.hpp' -o -name '*.cpp' | xargs clang-format -i

check-layers:
	@scripts/check-layers
