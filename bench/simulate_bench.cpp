#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "input/simulate.hpp"
#include "random/random.hpp"

namespace {

/// A two-level study: n observations in n / 100 clusters, a random intercept and slope, an incomplete
/// predictor with a cluster mean, and an outcome.
std::vector<tovik::block::one_model> study(std::int64_t n) {
  return {{"n(1) = " + std::to_string(n), ""},
          {"id(2) = " + std::to_string(n / 100), ""},
          {"gamma = 0.5", "define"},
          {"w = normal(0, 1)", "id"},
          {"u0 u1 = normal(0, 0.25)", "id"},
          {"x = normal(w, 1)", "n"},
          {"xm = clmn(x, id)", "n"},
          {"y = normal(1 + gamma * xm + (gamma + u1) * (x - xm) + u0, 0.64)", "n"},
          {"z = missing(uniform(0, 1) < 0.2, x)", "n"}};
}

void Simulate(benchmark::State& state) {
  const std::vector<tovik::block::one_model> statements = study(state.range(0));
  for (auto _ : state) {
    std::vector<std::string> names;
    benchmark::DoNotOptimize(
        tovik::simulate::generate(statements, std::make_shared<tovik::Random>(1u, 0u)).data_set(names));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(Simulate)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

/// Many statements, each over the one before it.
void SimulateStatements(benchmark::State& state) {
  std::vector<tovik::block::one_model> statements = {{"n = 10", ""}, {"x0 = normal(0, 1)", "n"}};
  for (std::int64_t k = 1; k < state.range(0); ++k) {
    statements.push_back(
        {"x" + std::to_string(k) + " = 0.5 * x" + std::to_string(k - 1) + " + normal(0, 1)", "n"});
  }
  for (auto _ : state) {
    std::vector<std::string> names;
    benchmark::DoNotOptimize(
        tovik::simulate::generate(statements, std::make_shared<tovik::Random>(1u, 0u)).data_set(names));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(SimulateStatements)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

}  // namespace

BENCHMARK_MAIN();
