// Scans per second of the normal outcome, with one residual variance and with one for each cluster, of the
// logistic and of the transformed outcome, and beside each its floor: the random numbers that the scan
// consumes, and one pass over the data that it describes.

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "../tests/sem/logistic_world.hpp"
#include "../tests/sem/scan_world.hpp"
#include "../tests/sem/yjt_world.hpp"
#include "sem/outcomes/normal_hev.hpp"
#include "sem/outcomes/scaled.hpp"
#include "sem/outcomes/weighted.hpp"
#include "support/blas_threads.hpp"

namespace {

using tovik::Random;
using tovik::sem::equation_setup;
using tovik::sem::Logistic;
using tovik::sem::Normal;
using tovik::sem::NormalHev;
using tovik::tests::LoneEstimator;

/// Rows in equal clusters (one row each: no clusters), an intercept, k predictors, and an outcome.
struct Workload {
  arma::Mat<double> data;
  std::vector<arma::Col<arma::uword>> units, first_rows;
  equation_setup setup;

  Workload(arma::uword rows, arma::uword clusters, arma::uword k) {
    Random random(7U, 0U);
    data.set_size(rows, k + 2);
    random.fill_randn(data.memptr(), data.n_elem);
    data.col(0).ones();
    units.push_back(arma::regspace<arma::Col<arma::uword>>(0, rows - 1));
    first_rows.push_back(units[0]);
    setup.x = arma::regspace<arma::Col<arma::uword>>(1, k + 1);
    setup.x(0) = 0;
    setup.y = 1;
    for (arma::uword j = 2; j < k + 2; ++j) data.col(1) += 0.2 * data.col(j);
    if (clusters > 0) add_clusters(rows, clusters, random);
    std::vector<const arma::Col<arma::uword>*> u, f;
    for (std::size_t l = 0; l < units.size(); ++l) {
      u.push_back(&units[l]);
      f.push_back(&first_rows[l]);
    }
    setup.cluster = tovik::sem::estimator::cluster(0, u, f);
  }

 private:
  void add_clusters(arma::uword rows, arma::uword clusters, Random& random) {
    arma::uword const size = rows / clusters;
    units.emplace_back(rows);
    for (arma::uword i = 0; i < rows; ++i) units[1](i) = i / size;
    first_rows.push_back(arma::regspace<arma::Col<arma::uword>>(0, size, rows - 1));
    for (arma::uword c = 0; c < clusters; ++c) {
      const double a = random.rnorm(), b = 0.3 * random.rnorm();
      for (arma::uword i = c * size; i < (c + 1) * size; ++i) data(i, 1) += a + b * data(i, 2);
    }
    setup.n_levels = 1;
    setup.z = {arma::Col<arma::uword>{0, 2}};
    setup.z_compute.resize(1);
    setup.icept = {1};
  }
};

template <class Model = Normal>
void run_scans(benchmark::State& state, Workload& work, bool keep_rows) {
  tovik::use_one_blas_thread();
  LoneEstimator estimator(11);
  Model model(&estimator, work.setup);
  if (keep_rows) model.keep_rows();
  for (auto _ : state) {
    model.draw(work.data);
    benchmark::ClobberMemory();
  }
  state.counters["scans"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

/// The normals and gammas of one scan, and a sum over every cell that the model reads.
void run_floor(benchmark::State& state, const Workload& work, std::size_t normals, int gammas, bool pass) {
  Random random(3U, 1U);
  std::vector<double> out(normals);
  for (auto _ : state) {
    random.fill_randn(out.data(), normals);
    for (int g = 0; g < gammas; ++g) benchmark::DoNotOptimize(random.rgamma(1000.0, 0.001));
    benchmark::DoNotOptimize(out.data());
    if (pass) benchmark::DoNotOptimize(arma::accu(work.data));
  }
  state.counters["scans"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

Workload& w1() {
  static Workload work(2000, 0, 10);
  return work;
}

Workload& five_thousand() {
  static Workload work(5000, 0, 4);
  return work;
}

Workload& w2() {
  static Workload work(20000, 1000, 4);
  return work;
}

/// The second with an outcome of 0 and 1.
Workload& w2_binary() {
  static Workload work = [] {
    Workload out(20000, 1000, 4);
    for (double& y : out.data.col(1)) y = y > 0.0 ? 1.0 : 0.0;
    out.setup = tovik::tests::logistic(out.setup);
    return out;
  }();
  return work;
}

void W1_scan(benchmark::State& state) {
  run_scans(state, w1(), false);
}
void W1_scan_rows_kept(benchmark::State& state) {
  run_scans(state, w1(), true);
}
void W1_random_numbers(benchmark::State& state) {
  run_floor(state, w1(), 11, 1, false);
}
void W1_floor(benchmark::State& state) {
  run_floor(state, w1(), 11, 1, true);
}
void W2_scan(benchmark::State& state) {
  run_scans(state, w2(), false);
}
void W2_scan_rows_kept(benchmark::State& state) {
  run_scans(state, w2(), true);
}
void N5000_scan(benchmark::State& state) {
  run_scans(state, five_thousand(), false);
}
void N5000_scan_rows_kept(benchmark::State& state) {
  run_scans(state, five_thousand(), true);
}
// The variance depends on two of the predictors.
void N5000_variance_model_scan(benchmark::State& state) {
  tovik::use_one_blas_thread();
  Workload& work = five_thousand();
  LoneEstimator estimator(11);
  equation_setup of_scale = work.setup;
  of_scale.x = {0, 2, 3};
  tovik::sem::LogScale scale(&estimator, of_scale);
  tovik::sem::NormalScale model(&estimator, tovik::data::type::continuous, work.setup);
  model.addLogScale(&scale);
  for (auto _ : state) {
    model.draw(work.data);
    benchmark::ClobberMemory();
  }
  state.counters["scans"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
// Five coefficients, two effects in each cluster, 997 x 2 normals of the Wishart draw.
void W2_random_numbers(benchmark::State& state) {
  run_floor(state, w2(), 5 + 2000 + 1994, 1, false);
}
void W2_floor(benchmark::State& state) {
  run_floor(state, w2(), 5 + 2000 + 1994, 1, true);
}

void W2_logistic_scan(benchmark::State& state) {
  run_scans<Logistic>(state, w2_binary(), false);
}
// Beside those of the normal outcome.
void W2_logistic_weights(benchmark::State& state) {
  Random random(7U, 1U);
  const arma::Col<double> psi = w2().data.col(1);
  for (auto _ : state)
    for (double value : psi) benchmark::DoNotOptimize(random.rpg(value));
}

// The second with weights of rows and of clusters.
void W2_weighted_scan(benchmark::State& state) {
  using tovik::sem::estimator::weights;
  tovik::use_one_blas_thread();
  LoneEstimator lone(11);
  const tovik::sem::Estimator* estimator = &lone;
  arma::Mat<double> data = w2().data;
  const arma::uword first = data.n_cols;
  data.insert_cols(first, 2);
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    data(i, first) = 1.0 + static_cast<double>(i % 7);
    data(i, first + 1) = 1.0 + static_cast<double>((*w2().setup.cluster.row_cluster[0])(i) % 5);
  }
  const auto& setup = w2().setup;
  const auto w =
      std::make_shared<const weights>(setup.cluster, data, std::vector<arma::uword>{first, first + 1});
  tovik::sem::NormalWeighted model(w, Normal::parts_of(estimator, tovik::data::type::continuous, setup),
                                   estimator, setup);
  for (auto _ : state) {
    model.draw(data);
    benchmark::ClobberMemory();
  }
  state.counters["scans"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// A variance for each cluster: no cross-products stay from scan to scan, and 1,000 more gammas.
void W2_cluster_variances_scan(benchmark::State& state) {
  run_scans<NormalHev>(state, w2(), false);
}

/// The normal outcome of the workload under a transformation whose parameter is drawn.
void run_transformed(benchmark::State& state, Workload& work) {
  tovik::use_one_blas_thread();
  LoneEstimator estimator(11);
  const auto model = tovik::tests::transformed_normal(estimator, work.setup, 0.0, 3.0);
  std::vector<tovik::sem::estimator::tune_obj*> proposals;
  model->addProposals(proposals);
  for (int t = 0; t < 200; ++t) {
    model->draw(work.data);
    proposals.front()->adapt();
  }
  for (auto _ : state) {
    model->draw(work.data);
    benchmark::ClobberMemory();
  }
  state.counters["scans"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
void W1_yeo_johnson_scan(benchmark::State& state) {
  run_transformed(state, w1());
}
void W2_yeo_johnson_scan(benchmark::State& state) {
  run_transformed(state, w2());
}
void N5000_yeo_johnson_scan(benchmark::State& state) {
  run_transformed(state, five_thousand());
}

void W2_likelihoods(benchmark::State& state) {
  LoneEstimator estimator(11);
  Normal model(&estimator, w2().setup);
  model.draw(w2().data);
  for (auto _ : state) {
    benchmark::DoNotOptimize(model.logLiklihood(w2().data, 1));
    benchmark::DoNotOptimize(model.marginal_logLiklihood(w2().data));
  }
}

BENCHMARK(W1_scan);
BENCHMARK(W1_scan_rows_kept);
BENCHMARK(W1_random_numbers);
BENCHMARK(W1_floor);
BENCHMARK(N5000_scan);
BENCHMARK(N5000_scan_rows_kept);
BENCHMARK(N5000_variance_model_scan);
BENCHMARK(W2_scan);
BENCHMARK(W2_scan_rows_kept);
BENCHMARK(W2_random_numbers);
BENCHMARK(W2_floor);
BENCHMARK(W2_logistic_scan);
BENCHMARK(W2_logistic_weights);
BENCHMARK(W2_weighted_scan);
BENCHMARK(W2_cluster_variances_scan);
BENCHMARK(W2_likelihoods);
BENCHMARK(W1_yeo_johnson_scan);
BENCHMARK(W2_yeo_johnson_scan);
BENCHMARK(N5000_yeo_johnson_scan);

}  // namespace

BENCHMARK_MAIN();
