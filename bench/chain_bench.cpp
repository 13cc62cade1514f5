// Whole chains: the time of a scan with the report column, as a multiple of its floor (its random numbers and
// one pass over its data); what the fit statistics add; effective draws of the slowest parameter per second.
//
// Scans, floors and fit statistics are timed by turns, in processor time, and the fastest turn of each
// counts, so that the ratios hold on a machine that does other work as well.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <functional>
#include <limits>

#include "chain_workloads.hpp"
#include "model/model.hpp"
#include "results/dic.hpp"
#include "results/summary_ess.hpp"
#include "support/blas_threads.hpp"

namespace {

using tovik::EffectiveSize;
using tovik::Random;
using tovik::bench::chain_workload;
using tovik::sem::Mcmc;

double seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// The shortest time of one call among `turns` turns that take about a fifth of a second each.
class fastest {
 public:
  explicit fastest(std::function<void()> step) : step_(std::move(step)) {
    const double begin = seconds();
    step_();
    calls_ = 1 + static_cast<int>(0.05 / std::max(1e-7, seconds() - begin));
  }
  void turn() {
    const double begin = seconds();
    for (int i = 0; i < calls_; ++i) step_();
    best_ = std::min(best_, (seconds() - begin) / calls_);
  }
  double per_call() const { return best_; }

 private:
  std::function<void()> step_;
  int calls_ = 1;
  double best_ = std::numeric_limits<double>::infinity();
};

/// The random numbers of a scan, and a sum over every cell of the working matrix.
std::function<void()> floor_of(chain_workload const& work, Mcmc const& chain) {
  auto rng = std::make_shared<Random>(3, 1);
  auto out = std::make_shared<std::vector<double>>(work.normals);
  return [&work, &chain, rng, out] {
    rng->fill_randn(out->data(), work.normals);
    double sum = 0.0;
    for (std::size_t k = 0; k < work.uniforms; ++k) sum += rng->runif();
    for (int g = 0; g < work.gammas; ++g) sum += rng->rgamma(1000.0, 0.001);
    benchmark::DoNotOptimize(out->data());
    sum += arma::accu(chain.working().data);
    benchmark::DoNotOptimize(sum);
  };
}

std::vector<std::string> row_names(tovik::ModelList const& models) {
  std::vector<std::string> out;
  for (tovik::Model const& model : models) {
    for (auto const& names : {model.parameters(), model.standardized(), model.rsquare()})
      for (std::string const& name : names)
        out.push_back(model.name() + ": " + name.substr(name.find(':') + 1));
  }
  return out;
}

/// Effective draws per scan of the slowest parameter, and its position.
std::pair<double, arma::uword> slowest(Mcmc& chain, arma::uword n) {
  const arma::mat rows = arma::mat(tovik::tests::draws(chain, 0, n)).t();
  EffectiveSize size(1, n);
  std::pair<double, arma::uword> out{std::numeric_limits<double>::infinity(), 0};
  for (arma::uword j = 0; j < rows.n_cols; ++j) {
    const double ess = size({rows.colptr(j)});
    if (ess < out.first) out = {ess, j};
  }
  out.first /= static_cast<double>(n);
  return out;
}

void run(benchmark::State& state, chain_workload const& work) {
  tovik::use_one_blas_thread();
  const std::shared_ptr<Mcmc> chain = work.run.chain(Random(11, 1));
  for (int t = 1; t <= 400; ++t) {
    chain->oneRep();
    if (t % 100 == 0) chain->tune();
  }
  tovik::sem::DIC fit = tovik::sem::DIC::of_totals();
  fastest scan([&] {
    chain->oneRep();
    benchmark::DoNotOptimize(chain->getParams().memptr());
  });
  fastest likelihoods([&] { benchmark::DoNotOptimize(chain->getLikelihoods().memptr()); });
  fastest scan_with_fit([&] {
    chain->oneRep();
    benchmark::DoNotOptimize(chain->getParams().memptr());
    fit += chain->getLikelihoods();
  });
  fastest floor(floor_of(work, *chain));
  constexpr int turns = 12;
  for (int t = 0; t < turns; ++t)
    for (fastest* timed : {&floor, &scan, &likelihoods, &scan_with_fit}) timed->turn();
  const auto [ess, parameter] = slowest(*chain, 4000);
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
void Mediation(benchmark::State& state) {
  run(state, tovik::bench::mediation(false));
}
void Mediation_with_product(benchmark::State& state) {
  run(state, tovik::bench::mediation(true));
}
void Three_levels(benchmark::State& state) {
  run(state, tovik::bench::three_levels());
}

BENCHMARK(Random_slope)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Mediation)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Mediation_with_product)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Three_levels)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
