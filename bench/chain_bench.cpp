// Whole chains: the time of a scan with the report column, as a multiple of its floor (its random numbers and
// one pass over its data); what the fit statistics add; effective draws of the slowest parameter per second.
//
// Scans, floors and fit statistics are timed by turns, in processor time, and the fastest turn of each
// counts, so that the ratios hold on a machine that does other work as well.

#include <benchmark/benchmark.h>

#include "chain_timing.hpp"
#include "chain_workloads.hpp"
#include "model/model.hpp"
#include "results/dic.hpp"
#include "sem/ensemble/likelihood_totals.hpp"
#include "sem/wiring/settings.hpp"
#include "support/blas_threads.hpp"

namespace {

using tovik::Random;
using tovik::bench::chain_workload;
using tovik::bench::fastest;
using tovik::sem::Mcmc;

std::vector<std::string> row_names(const tovik::ModelList& models) {
  std::vector<std::string> out;
  for (const tovik::Model& model : models) {
    for (unsigned code = 0; code < model.n_codes(); ++code)
      for (const auto& names : {model.parameters(), model.standardized(), model.rsquare()})
        for (const std::string& name : names)
          out.push_back(model.name() + ": " + name.substr(name.find(':') + 1));
  }
  return out;
}

void run(benchmark::State& state, const chain_workload& work) {
  tovik::use_one_blas_thread();
  const std::shared_ptr<Mcmc> chain = work.run.chain(Random(11, 1));
  for (int t = 1; t <= 400; ++t) {
    chain->oneRep();
    if (t % 100 == 0) chain->tune();
  }
  tovik::sem::DIC fit = tovik::sem::DIC::of_totals();
  const auto totals = chain->getLikelihoodTotals();
  fastest scan([&] {
    chain->oneRep();
    benchmark::DoNotOptimize(chain->getParams().memptr());
  });
  fastest likelihoods([&] { benchmark::DoNotOptimize(chain->getLikelihoods().memptr()); });
  fastest scan_with_fit([&] {
    chain->oneRep();
    benchmark::DoNotOptimize(chain->getParams().memptr());
    totals->keep();
    if (!totals->full()) return;
    fit += *totals;
    totals->clear();
  });
  fastest floor(tovik::bench::floor_of({work.normals, work.uniforms, work.gammas}, *chain));
  constexpr int turns = 12;
  for (int t = 0; t < turns; ++t)
    for (fastest* timed : {&floor, &scan, &likelihoods, &scan_with_fit}) timed->turn();
  const auto [ess, parameter] = tovik::bench::slowest(*chain, 4000);
  for (auto _ : state) state.SetIterationTime(scan.per_call());
  state.counters["scans/s"] = 1.0 / scan.per_call();
  state.counters["x_floor"] = scan.per_call() / floor.per_call();
  state.counters["likelihood/scan"] = likelihoods.per_call() / scan.per_call();
  state.counters["with_fit/without"] = scan_with_fit.per_call() / scan.per_call();
  state.counters["slowest_ess/s"] = ess / scan.per_call();
  state.counters["slowest_ess/scan"] = ess;
  state.SetLabel(row_names(work.run.models).at(parameter));
}

void Random_slope(benchmark::State& state) {
  run(state, tovik::bench::random_slope());
}
void Regression(benchmark::State& state) {
  run(state, tovik::bench::plain_regression());
}
void Mediation(benchmark::State& state) {
  run(state, tovik::bench::mediation(false));
}
void Mediation_with_product(benchmark::State& state) {
  run(state, tovik::bench::mediation(true));
}
void Three_levels(benchmark::State& state) {
  run(state, tovik::bench::three_levels());
}
void Ordinal_item(benchmark::State& state) {
  run(state, tovik::bench::ordinal_item());
}
void Logistic_clusters(benchmark::State& state) {
  run(state, tovik::bench::logistic_clusters());
}
void Counts(benchmark::State& state) {
  run(state, tovik::bench::counts(false));
}
void Counts_in_clusters(benchmark::State& state) {
  run(state, tovik::bench::counts(true));
}
void Normal_beside_counts(benchmark::State& state) {
  run(state, tovik::bench::normal_beside_counts());
}
void Score_of_choice(benchmark::State& state) {
  run(state, tovik::bench::choices(tovik::bench::choice_outcome::score));
}
void Yes_or_no(benchmark::State& state) {
  run(state, tovik::bench::choices(tovik::bench::choice_outcome::yes_or_no));
}
void Nominal_choice(benchmark::State& state) {
  run(state, tovik::bench::choices(tovik::bench::choice_outcome::three_categories));
}
void One_factor(benchmark::State& state) {
  run(state, tovik::bench::factors(1));
}
void Two_factors(benchmark::State& state) {
  run(state, tovik::bench::factors(2));
}

/// A random walk of each score in place of its solved distribution.
void with_walks(benchmark::State& state, int n_factors) {
  bool& solves = tovik::sem::sampler_settings::use_autosolver;
  solves = false;
  run(state, tovik::bench::factors(n_factors));
  solves = true;
}
void One_factor_with_walks(benchmark::State& state) {
  with_walks(state, 1);
}
void Two_factors_with_walks(benchmark::State& state) {
  with_walks(state, 2);
}

void Block_of_six(benchmark::State& state) {
  run(state, tovik::bench::correlated_outcomes(false));
}
void Block_of_six_with_a_zero(benchmark::State& state) {
  run(state, tovik::bench::correlated_outcomes(true));
}

BENCHMARK(Random_slope)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Regression)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Mediation)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Mediation_with_product)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Three_levels)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Ordinal_item)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Logistic_clusters)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Counts)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Counts_in_clusters)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Normal_beside_counts)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Score_of_choice)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Yes_or_no)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Nominal_choice)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(One_factor)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Two_factors)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(One_factor_with_walks)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Two_factors_with_walks)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
BENCHMARK(Block_of_six)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Block_of_six_with_a_zero)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
