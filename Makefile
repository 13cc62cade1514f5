# The front door: make demo, make test, make bench, make format, make check-layers.
.PHONY: demo test bench format check-layers deps release

FUZZ_SECONDS ?= 10

deps:
	@scripts/install-deps

release: deps
	cmake --preset release
	cmake --build build/release

demo: deps
	cmake --preset release
	cmake --build build/release --target tovik
	build/release/bin/tovik examples/attitude/attitude.tovik

test: release check-layers
	scripts/run-sanitizers
	scripts/run-fuzzers $(FUZZ_SECONDS)
	ctest --test-dir build/release --output-on-failure -j 2

bench: release
	scripts/run-bench

format:
	find src tests bench fuzz -name '*.hpp' -o -name '*.cpp' | xargs clang-format -i

check-layers:
	@scripts/check-layers
