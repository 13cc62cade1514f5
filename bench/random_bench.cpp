// Draws of the engine: outputs, uniforms, normals one at a time and in blocks, gammas, Wishart matrices.

#include <benchmark/benchmark.h>

#include <vector>

#include "random/random.hpp"

namespace {

using tovik::Random;

void engine_output(benchmark::State& state) {
  Random random(90291U, 1U);
  for (auto _ : state) benchmark::DoNotOptimize(random.output());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(engine_output);

void uniform(benchmark::State& state) {
  Random random(90291U, 1U);
  for (auto _ : state) benchmark::DoNotOptimize(random.runif());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(uniform);

void normal(benchmark::State& state) {
  Random random(90291U, 1U);
  for (auto _ : state) benchmark::DoNotOptimize(random.rnorm());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(normal);

void normal_block(benchmark::State& state) {
  Random random(90291U, 1U);
  std::vector<double> out(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    random.fill_randn(out.data(), out.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(normal_block)->Arg(11)->Arg(2000)->Arg(20000);

void gamma_draw(benchmark::State& state) {
  Random random(90291U, 1U);
  const double shape = static_cast<double>(state.range(0)) / 10;
  for (auto _ : state) benchmark::DoNotOptimize(random.rgamma(shape, 2.0));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(gamma_draw)->Arg(5)->Arg(25)->Arg(10000);

void truncated_normal(benchmark::State& state) {
  Random random(90291U, 1U);
  const double bound = static_cast<double>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(random.trNorm(0.0, bound, 1.0, false));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(truncated_normal)->Arg(-2)->Arg(0)->Arg(3);

void polya_gamma(benchmark::State& state) {
  Random random(90291U, 1U);
  const double z = static_cast<double>(state.range(0)) / 10;
  for (auto _ : state) benchmark::DoNotOptimize(random.rpg(z));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(polya_gamma)->Arg(0)->Arg(10)->Arg(30)->Arg(100)->Arg(600);

void wishart(benchmark::State& state) {
  Random random(90291U, 1U);
  const arma::Mat<double> S = {{1.0, 0.3}, {0.3, 0.5}};
  arma::Mat<double> W;
  tovik::WishartScratch scratch;
  for (auto _ : state) {
    random.rwish(static_cast<int>(state.range(0)), S, W, scratch);
    benchmark::DoNotOptimize(W.memptr());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(wishart)->Arg(1000);

}  // namespace

BENCHMARK_MAIN();
