// Chains with models of incomplete predictors: the time of a scan with the report column, as a multiple of
// its floor (its random numbers and one pass over its data) and of that floor with the cross-products of the
// predictors, which the regressions among them cannot do without; effective draws of the slowest parameter.
//
// Where no equation reads the latent means of a predictor, with one draw of their covariance matrix and two.
//
// Scans and floors are timed by turns, in processor time, and the fastest turn of each counts.

#include <benchmark/benchmark.h>

#include <cmath>
#include <limits>

#include "chain_timing.hpp"
#include "manifest/mi.hpp"
#include "model/model.hpp"
#include "predictor_workloads.hpp"
#include "sem/chain/saved_columns.hpp"
#include "sem/wiring/settings.hpp"
#include "support/blas_threads.hpp"

namespace {

using tovik::Random;
using tovik::bench::fastest;
using tovik::bench::predictor_workload;
using tovik::sem::Mcmc;

/// The products of the columns that predict, one for each score, at every level of the data.
std::function<void()> products_of(const Mcmc& chain) {
  arma::uword columns = 0;
  for (const auto& v : chain.predictors()) columns += v->columns().n_elem;
  auto scores = std::make_shared<std::vector<arma::mat>>();
  for (unsigned level = 0; level < chain.working().n_levels(); ++level) {
    const arma::uword n = chain.working().n_units(level);
    if (n > 1) scores->push_back(arma::mat(n, columns, arma::fill::value(0.5)));
  }
  auto out = std::make_shared<arma::mat>(columns, columns);
  return [scores, out] {
    for (arma::mat const& Z : *scores) *out = Z.t() * Z;
    benchmark::DoNotOptimize(out->memptr());
  };
}

std::string name_of(const tovik::sem::predictor_row& row) {
  const std::string level = row.level > 0 ? " at level " + std::to_string(row.level) : "";
  if (row.number > 0) return row.name + ": threshold " + std::to_string(row.number);
  if (row.what == tovik::sem::predictor_row::kind::grand_mean) return row.name + ": mean";
  return row.name + (row.other.empty() ? ": variance" : " with " + row.other) + level;
}

std::vector<std::string> row_names(const predictor_workload& work, const Mcmc& chain) {
  std::vector<std::string> out;
  for (const tovik::Model& model : work.run.models) {
    for (const auto& names : {model.parameters(), model.standardized(), model.rsquare()})
      for (const std::string& name : names)
        out.push_back(model.name() + ": " + name.substr(name.find(':') + 1));
  }
  for (const auto& v : chain.predictors())
    for (const auto& row : v->layout(chain.predictor_column_names())) out.push_back(name_of(row));
  return out;
}

void run(benchmark::State& state, const predictor_workload& work, arma::uword draws = 2000) {
  tovik::use_one_blas_thread();
  const std::shared_ptr<Mcmc> chain = work.run.chain(Random(11, 1));
  for (int t = 1; t <= 400; ++t) {
    chain->oneRep();
    if (t % 100 == 0) chain->tune();
  }
  fastest scan([&] {
    chain->oneRep();
    benchmark::DoNotOptimize(chain->getParams().memptr());
  });
  fastest floor(tovik::bench::floor_of(work.numbers, *chain));
  fastest products(products_of(*chain));
  constexpr int turns = 12;
  for (int t = 0; t < turns; ++t)
    for (fastest* timed : {&floor, &scan, &products}) timed->turn();
  const std::vector<std::string> names = row_names(work, *chain);
  const std::vector<double> sizes = tovik::bench::effective_sizes(*chain, draws);
  double ess = std::numeric_limits<double>::infinity(), of_means = ess;
  std::string slowest;
  for (std::size_t j = 0; j < sizes.size(); ++j) {
    if (names.at(j).find("variance at level 2") != std::string::npos) of_means = std::min(of_means, sizes[j]);
    if (!(sizes[j] < ess)) continue;
    ess = sizes[j];
    slowest = names[j];
  }
  for (auto _ : state) state.SetIterationTime(scan.per_call());
  state.counters["scans/s"] = 1.0 / scan.per_call();
  state.counters["x_floor"] = scan.per_call() / floor.per_call();
  state.counters["x_floor_products"] = scan.per_call() / (floor.per_call() + products.per_call());
  state.counters["slowest_ess/s"] = ess / scan.per_call();
  state.counters["slowest_ess/scan"] = ess;
  if (std::isfinite(of_means)) state.counters["means_variance_ess/scan"] = of_means;
  state.SetLabel(slowest);
}

void Incomplete_random_slope(benchmark::State& state) {
  run(state, tovik::bench::incomplete_random_slope(false));
}
void Incomplete_random_slope_with_latent_means(benchmark::State& state) {
  run(state, tovik::bench::incomplete_random_slope(true));
}
void Continuous_fcs(benchmark::State& state) {
  run(state, tovik::bench::continuous_fcs());
}
void Mixed_fcs(benchmark::State& state) {
  run(state, tovik::bench::mixed_fcs());
}

/// The same data with observed cluster means. `x_latent`: the time of a scan as a multiple of that with
/// latent means.
void run_observed(benchmark::State& state, const predictor_workload& work, bool mice) {
  tovik::use_one_blas_thread();
  tovik::manifest::options how;
  how.mice = mice;
  how.burn = 1000;
  tovik::manifest::MI observed(work.run.vars, work.run.models, work.run.data, Random(11, 1), how,
                               tovik::sem::keep_saved_columns(work.run.vars, work.run.data));
  const std::shared_ptr<Mcmc> latent = work.run.chain(Random(11, 1));
  for (int t = 0; t < 400; ++t) {
    observed.impute();
    latent->oneRep();
  }
  fastest scan([&] {
    observed.impute();
    benchmark::DoNotOptimize(observed.getParams().memptr());
  });
  fastest other([&] {
    latent->oneRep();
    benchmark::DoNotOptimize(latent->getParams().memptr());
  });
  constexpr int turns = 12;
  for (int t = 0; t < turns; ++t)
    for (fastest* timed : {&scan, &other}) timed->turn();
  arma::mat draws(2000, observed.n_params());
  for (arma::uword t = 0; t < draws.n_rows; ++t) {
    observed.impute();
    draws.row(t) = observed.getParams().t();
  }
  const double ess = tovik::bench::slowest(draws).first;
  for (auto _ : state) state.SetIterationTime(scan.per_call());
  state.counters["scans/s"] = 1.0 / scan.per_call();
  state.counters["x_latent"] = scan.per_call() / other.per_call();
  state.counters["slowest_ess/scan"] = ess;
}

void Continuous_observed_means(benchmark::State& state) {
  run_observed(state, tovik::bench::continuous_fcs(), false);
}
void Mixed_observed_means(benchmark::State& state) {
  run_observed(state, tovik::bench::mixed_fcs(), false);
}
void Mixed_observed_means_mice(benchmark::State& state) {
  run_observed(state, tovik::bench::mixed_fcs(), true);
}

BENCHMARK(Continuous_observed_means)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Mixed_observed_means)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Mixed_observed_means_mice)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
/// Their covariance matrix drawn given the means (0), and a second time given these standardised (1).
void run_with_unread_means(benchmark::State& state, const predictor_workload& work) {
  tovik::sem::sampler_settings::redraw_factors = state.range(0) > 0;
  run(state, work, 20000);
  tovik::sem::sampler_settings::redraw_factors = true;
}
void Means_that_nearly_agree(benchmark::State& state) {
  run_with_unread_means(state, tovik::bench::unread_means(10, 0.05));
}
void Means_that_differ(benchmark::State& state) {
  run_with_unread_means(state, tovik::bench::unread_means(10, 0.3));
}
void Means_in_large_clusters(benchmark::State& state) {
  run_with_unread_means(state, tovik::bench::unread_means(50, 0.05));
}
void Means_of_unordered_categories(benchmark::State& state) {
  run_with_unread_means(state, tovik::bench::unread_means(10, 0.3, true));
}

BENCHMARK(Incomplete_random_slope)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Incomplete_random_slope_with_latent_means)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(Continuous_fcs)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Mixed_fcs)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);

#define ONCE_AND_TWICE(f) \
  BENCHMARK(f)->Arg(0)->Arg(1)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond)

ONCE_AND_TWICE(Means_that_nearly_agree);
ONCE_AND_TWICE(Means_that_differ);
ONCE_AND_TWICE(Means_in_large_clusters);
ONCE_AND_TWICE(Means_of_unordered_categories);

}  // namespace

BENCHMARK_MAIN();
