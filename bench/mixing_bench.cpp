// Effective draws per scan of the slowest parameter where random effects make it hard: much or no variance
// between clusters, few clusters, slopes far from their centre, slopes at two levels. In one program with the
// draws of coefficients and covariance matrices given the effects (0), with the effects integrated out of the
// coefficients' (1), and with the second draw of covariance matrices too (2).

#include <benchmark/benchmark.h>

#include "chain_timing.hpp"
#include "chain_workloads.hpp"
#include "mixing_workloads.hpp"
#include "model/model.hpp"
#include "sem/wiring/settings.hpp"
#include "support/blas_threads.hpp"

namespace {

using tovik::Random;

void run(benchmark::State& state, const tovik::tests::small_run& work, arma::uword draws = 20000) {
  tovik::use_one_blas_thread();
  using settings = tovik::sem::sampler_settings;
  settings::integrate_effects = state.range(0) > 0;
  settings::redraw_factors = state.range(0) > 1;
  const auto chain = work.chain(Random(11, 1));
  for (int t = 1; t <= 2000; ++t) {
    chain->oneRep();
    if (t % 100 == 0) chain->tune();
  }
  tovik::bench::fastest scan([&] { chain->oneRep(); });
  for (int t = 0; t < 8; ++t) scan.turn();
  std::vector<std::string> names;
  for (const tovik::Model& model : work.models)
    for (const auto& rows : {model.parameters(), model.standardized(), model.rsquare()})
      for (const std::string& name : rows) names.push_back(name);
  const auto sizes = tovik::bench::effective_sizes(*chain, draws);
  double slowest = 1e9, of_coefficients = 1e9;
  std::string label;
  for (std::size_t j = 0; j < sizes.size(); ++j) {
    if (std::isnan(sizes[j])) continue;
    if (names.at(j).find("Var(") == std::string::npos && names.at(j).find("Cov(") == std::string::npos &&
        j < work.models.begin()->parameters().size())
      of_coefficients = std::min(of_coefficients, sizes[j]);
    if (sizes[j] >= slowest) continue;
    slowest = sizes[j];
    label = names.at(j);
  }
  for (auto _ : state) state.SetIterationTime(scan.per_call());
  settings::integrate_effects = settings::redraw_factors = true;
  state.counters["slowest_ess/scan"] = slowest;
  state.counters["coefficients_ess/scan"] = of_coefficients;
  state.counters["slowest_ess/s"] = slowest / scan.per_call();
  state.SetLabel(label);
}

void Strong_intercept(benchmark::State& state) {
  run(state, tovik::bench::random_intercept(100, 100, 0.8));
}
void Moderate_intercept(benchmark::State& state) {
  run(state, tovik::bench::random_intercept(100, 20, 0.3));
}
void Slope_far_from_zero(benchmark::State& state) {
  run(state, tovik::bench::distant_slope());
}
void Slopes_at_two_levels(benchmark::State& state) {
  run(state, tovik::bench::slopes_at_two_levels());
}
void No_variance_between(benchmark::State& state) {
  run(state, tovik::bench::random_intercept(40, 10, 0.0));
}
void Six_clusters(benchmark::State& state) {
  run(state, tovik::bench::random_intercept(6, 20, 0.3));
}

void Random_slope(benchmark::State& state) {
  run(state, tovik::bench::random_slope().run, 5000);
}
void Three_levels(benchmark::State& state) {
  run(state, tovik::bench::three_levels().run, 3000);
}
void Logistic_clusters(benchmark::State& state) {
  run(state, tovik::bench::logistic_clusters().run, 5000);
}

#define WITHOUT_AND_WITH(f) \
  BENCHMARK(f)->Arg(0)->Arg(1)->Arg(2)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond)

WITHOUT_AND_WITH(Strong_intercept);
WITHOUT_AND_WITH(Moderate_intercept);
WITHOUT_AND_WITH(Slope_far_from_zero);
WITHOUT_AND_WITH(Slopes_at_two_levels);
WITHOUT_AND_WITH(No_variance_between);
WITHOUT_AND_WITH(Six_clusters);
WITHOUT_AND_WITH(Random_slope);
WITHOUT_AND_WITH(Three_levels);
WITHOUT_AND_WITH(Logistic_clusters);

}  // namespace

BENCHMARK_MAIN();
