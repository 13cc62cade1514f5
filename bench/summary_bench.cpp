#include <benchmark/benchmark.h>

#include <armadillo>
#include <cstdio>
#include <random>
#include <string>

#include "results/summary.hpp"
#include "results/wald_test.hpp"

namespace {

using tovik::Summary;

/// Two chains of 500 parameters, 20,000 draws each: autoregressive series from fast to slow mixing.
const std::vector<arma::Mat<double>>& chains() {
  static const std::vector<arma::Mat<double>> out = [] {
    std::vector<arma::Mat<double>> chains(2, arma::Mat<double>(500, 20000));
    std::mt19937_64 engine(20240);
    std::normal_distribution<double> normal;
    for (arma::Mat<double>& chain : chains) {
      arma::Col<double> state(500, arma::fill::zeros);
      for (arma::uword t = 0; t < chain.n_cols; ++t) {
        for (arma::uword i = 0; i < 500; ++i) {
          const double memory = 0.98 * static_cast<double>(i) / 499.0;
          chain(i, t) = state(i) = memory * state(i) + normal(engine);
        }
      }
    }
    return chains;
  }();
  return out;
}

Summary borrowed() {
  std::vector<tovik::chain_draws> windows;
  for (const arma::Mat<double>& chain : chains()) {
    windows.push_back(tovik::chain_draws::borrow(chain, chain.n_cols));
  }
  return Summary(std::move(windows), chains()[0].n_cols);
}

void use_default_columns() {
  Summary::cols.clear();
  Summary::add_column("default");
}

void BM_DefaultTable(benchmark::State& state) {
  use_default_columns();
  const Summary summary = borrowed();
  for (auto _ : state) benchmark::DoNotOptimize(summary.summary());
}
BENCHMARK(BM_DefaultTable)->Unit(benchmark::kMillisecond);

void BM_EffectiveSizes(benchmark::State& state) {
  const Summary summary = borrowed();
  for (auto _ : state) benchmark::DoNotOptimize(summary.ess());
}
BENCHMARK(BM_EffectiveSizes)->Unit(benchmark::kMillisecond);

void BM_PsrTable(benchmark::State& state) {
  Summary::interval = 1000;
  const Summary summary = borrowed();
  for (auto _ : state) benchmark::DoNotOptimize(summary.psrMatrix());
}
BENCHMARK(BM_PsrTable)->Unit(benchmark::kMillisecond);

/// What a report asks for: the table of the default columns, PSR beside it, and the table of the check
/// points.
void BM_Report(benchmark::State& state) {
  use_default_columns();
  Summary::add_column("psr");
  Summary::interval = 1000;
  std::FILE* sink = std::fopen("/dev/null", "w");
  const Summary summary = borrowed();
  for (auto _ : state) {
    summary.printPSR(sink);
    benchmark::DoNotOptimize(summary.summary());
  }
  std::fclose(sink);
}
BENCHMARK(BM_Report)->Unit(benchmark::kMillisecond);

/// Ten hypotheses about the draws of 500 parameters.
void BM_WaldTest(benchmark::State& state) {
  tovik::model::waldtest test;
  for (int row = 0; row < 10; ++row)
    test.constraints.push_back({tovik::model::parameter::labelled("p" + std::to_string(row)),
                                tovik::model::parameter::fixed_at(0.0), 50 * row, -1, ""});
  const Summary summary = borrowed();
  for (auto _ : state) benchmark::DoNotOptimize(tovik::sem::WaldTest(test, summary).statistic);
}
BENCHMARK(BM_WaldTest)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
