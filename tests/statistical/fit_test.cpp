// Information criteria of whole runs against their definitions, with the likelihood of every draw from the
// full covariance matrix of each unit of the highest level.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"
#include "calibration/replicate.hpp"
#include "golden/sampled_run.hpp"
#include "input/chain_info.hpp"
#include "results/summary.hpp"
#include "sample_tests.hpp"
#include "sem/ensemble/outcomes.hpp"

using namespace tovik;
using namespace tovik::tests;

namespace {

/// DIC2 and WAIC of log likelihoods, one row per draw and one column per unit.
sem::DIC::criteria criteria(const arma::Mat<double>& ll) {
  double lppd = 0, mean = 0, variance = 0;
  for (arma::uword i = 0; i < ll.n_cols; ++i) {
    lppd += std::log(arma::mean(arma::exp(ll.col(i))));
    mean += arma::mean(ll.col(i));
    variance += arma::var(ll.col(i));
  }
  return {2 * lppd - 4 * mean, -2 * lppd + 2 * variance};
}

void expect_criteria(const sem::DIC::criteria& found, const arma::Mat<double>& ll) {
  const sem::DIC::criteria expected = criteria(ll);
  EXPECT_NEAR(found.dic2, expected.dic2, 1e-7 * std::abs(expected.dic2));
  EXPECT_NEAR(found.waic, expected.waic, 1e-7 * std::abs(expected.waic));
}

/// Rows of nested data: unit of level 3, of level 2, x, and two correlated outcomes.
arma::Mat<double> nested_data() {
  std::mt19937_64 engine(31);
  arma::Mat<double> data(4 * 3 * 3, 5);
  arma::uword row = 0;
  for (int t = 0; t < 4; ++t) {
    const double top = calibration::normal(engine, 0.5);
    for (int m = 0; m < 3; ++m) {
      const double middle = calibration::normal(engine, 0.5), slope = calibration::normal(engine, 0.3);
      for (int i = 0; i < 3; ++i, ++row) {
        const double x = calibration::normal(engine), e = calibration::normal(engine);
        data.row(row) =
            arma::Row<double>{t + 1.0, 3 * t + m + 1.0, x, 0.5 + (0.4 + slope) * x + top + middle + e,
                              0.2 - 0.3 * x + middle - 0.6 * e + calibration::normal(engine, 0.5)};
      }
    }
  }
  return data;
}

class Fit : public testing::Test {
 protected:
  Fit() : data_(nested_data()) { write(data_); }

  void write(const arma::Mat<double>& data) const {
    calibration::write_data(scratch_.path() / "data.csv", {"top", "mid", "x", "y", "z"}, data);
  }

  std::filesystem::path command_file(const std::string& commands) const {
    std::ofstream(scratch_.path() / "run.tovik")
        << "DATA: data.csv; SEED: 8; BURN: 300; ITERATIONS: 600; " << commands;
    return scratch_.path() / "run.tovik";
  }

  /// The draws of all chains, one column each.
  static arma::Mat<double> all_draws(const sampled_run& run) {
    arma::Mat<double> all;
    const Summary draws = run.group->iterations();
    for (const chain_draws& one : draws.chains()) all = arma::join_rows(all, one.matrix());
    return all;
  }

  /// Log likelihood of each unit of `id`, of rows with these means and this covariance matrix.
  static arma::Row<double> by_unit(const arma::Col<double>& id, const arma::Col<double>& y,
                                   const arma::Col<double>& mean, const arma::Mat<double>& V) {
    const arma::Col<double> units = arma::unique(id);
    arma::Row<double> out(units.n_elem);
    for (arma::uword c = 0; c < units.n_elem; ++c) {
      const arma::Col<arma::uword> in = arma::find(id == units(c));
      out(c) = dense_log_normal(y(in), mean(in), V(in, in));
    }
    return out;
  }

  arma::Mat<double> data_;

 private:
  // Options are those of the process: a test before this one may have switched the criteria off.
  Setting<bool> criteria_{chain_info::compute_DIC, true};
  scratch_folder scratch_;
};

TEST_F(Fit, SingleLevel) {
  const sampled_run run = sample(command_file("MODEL: y ~ x;"));
  const arma::Mat<double> draws = all_draws(run);
  arma::Mat<double> ll(draws.n_cols, data_.n_rows);
  for (arma::uword t = 0; t < draws.n_cols; ++t) {
    const arma::Col<double> e = data_.col(3) - draws(1, t) - draws(2, t) * data_.col(2);
    ll.row(t) =
        (-0.5 * std::log(2 * arma::datum::pi * draws(0, t)) - arma::square(e) / (2 * draws(0, t))).t();
  }
  expect_criteria(run.group->dic().conditional(), ll);
}

TEST_F(Fit, TwoLevelsWithARandomSlope) {
  const sampled_run run = sample(command_file("CLUSTERID: mid; MODEL: y ~ x | x;"));
  const arma::Mat<double> draws = all_draws(run);
  const arma::Mat<double> Z =
      arma::join_rows(arma::Col<double>(data_.n_rows, arma::fill::ones), data_.col(2));
  arma::Mat<double> ll(draws.n_cols, 12);
  for (arma::uword t = 0; t < draws.n_cols; ++t) {
    const arma::Col<double> p = draws.col(t);
    const arma::Mat<double> Sigma = {{p(0), p(1)}, {p(1), p(2)}};
    const arma::Mat<double> V = Z * Sigma * Z.t() + p(3) * arma::eye(data_.n_rows, data_.n_rows);
    ll.row(t) = by_unit(data_.col(1), data_.col(3), Z * p.subvec(4, 5), V);
  }
  expect_criteria(run.group->dic().marginal(), ll);
}

TEST_F(Fit, ThreeLevels) {
  const sampled_run run = sample(command_file("CLUSTERID: mid top; MODEL: y ~ x | x[mid];"));
  const arma::Mat<double> draws = all_draws(run);
  const arma::Mat<double> Z =
      arma::join_rows(arma::Col<double>(data_.n_rows, arma::fill::ones), data_.col(2));
  const arma::Mat<double> middle = same_cluster(data_.col(1)), top = same_cluster(data_.col(0));
  arma::Mat<double> ll(draws.n_cols, 4);
  for (arma::uword t = 0; t < draws.n_cols; ++t) {
    const arma::Col<double> p = draws.col(t);
    const arma::Mat<double> Sigma = {{p(1), p(2)}, {p(2), p(3)}};
    arma::Mat<double> V = p(0) * top + (Z * Sigma * Z.t()) % middle;
    V.diag() += p(4);
    ll.row(t) = by_unit(data_.col(0), data_.col(3), Z * p.subvec(5, 6), V);
  }
  expect_criteria(run.group->dic().marginal(), ll);
}

/// The likelihood of outcomes that a phantom ties is their joint density, without the scores.
TEST_F(Fit, ThreeLevelsWithAPhantom) {
  const sampled_run run =
      build_run(command_file("CLUSTERID: mid top; MODEL: y ~ x; z ~ x; y <-> z; OPTIONS: use_phantom;"));
  const analysis& prepared = *run.prepared;
  sem::Mcmc chain(prepared.vars, prepared.data, Random(8, 1), run.input->xprior, run.input->ICCcutoff);
  chain.addOutcomes(prepared.vars, prepared.models,
                    sem::priors{run.input->prior_resvar, run.input->prior_raneff});
  const arma::uword rows = data_.n_rows;
  const arma::Mat<double> middle = same_cluster(data_.col(1)), top = same_cluster(data_.col(0));
  const arma::Mat<double> I = arma::eye(rows, rows);
  const arma::Col<double> id = arma::join_cols(data_.col(0), data_.col(0));
  const arma::Col<double> both = arma::join_cols(data_.col(3), data_.col(4));
  sem::DIC found;
  constexpr arma::uword n = 200;
  arma::Mat<double> marginal(n, 4), conditional(n, 4);
  for (arma::uword t = 0; t < n; ++t) {
    chain.oneRep();
    const arma::Cube<double> cube = chain.getLikelihoods();
    found += cube;
    ASSERT_EQ(cube.n_slices, 4u);  // the two outcomes, the phantom, their sum
    EXPECT_TRUE(cube.slice(1).is_zero());
    EXPECT_TRUE(cube.slice(2).is_zero());
    const arma::Col<double> p = chain.getParams();
    const arma::Mat<double> residuals = chain.outcomes()->residual(chain.working().data);
    arma::Mat<double> V(2 * rows, 2 * rows, arma::fill::zeros), left = V;
    arma::Col<double> mean(2 * rows);
    for (arma::uword k = 0; k < 2; ++k) {
      const arma::uword first = 10 * k;  // of the rows of the outcome
      const arma::span own(k * rows, (k + 1) * rows - 1);
      mean(own) = p(first + 3) + p(first + 4) * data_.col(2);
      left(own, own) = p(first + 2) * I;
      V(own, own) = p(first) * top + p(first + 1) * middle + left(own, own);
    }
    const arma::span y(0, rows - 1), z(rows, 2 * rows - 1);
    const arma::Mat<double> shared = p(20) * std::sqrt(p(2) * p(12)) * I;
    for (arma::Mat<double>* matrix : {&V, &left}) {
      (*matrix)(y, z) = shared;
      (*matrix)(z, y) = shared;
    }
    marginal.row(t) = by_unit(id, both, mean, V);
    conditional.row(t) = by_unit(id, arma::vectorise(residuals), 0 * both, left);
    EXPECT_LT(arma::abs(cube.slice(3).col(0).t() - marginal.row(t)).max(), 1e-8);
    EXPECT_LT(arma::abs(cube.slice(3).col(1).t() - conditional.row(t)).max(), 1e-8);
  }
  expect_criteria(found.marginal(), marginal);
  expect_criteria(found.conditional(), conditional);
}

/// An imputed cell of an outcome is no data.
TEST_F(Fit, MissingCellsCountForNothing) {
  arma::Mat<double> holes = data_;
  for (arma::uword i = 0; i < holes.n_rows; i += 4) holes(i, 3) = arma::datum::nan;
  write(holes);
  const sampled_run run = sample(command_file("CLUSTERID: mid; MISSING: NA; MODEL: y ~ x;"));
  const arma::Mat<double> draws = all_draws(run);
  arma::Mat<double> ll(draws.n_cols, 12);
  const arma::Mat<double> same = same_cluster(data_.col(1));
  for (arma::uword t = 0; t < draws.n_cols; ++t) {
    const arma::Col<double> p = draws.col(t);
    const arma::Mat<double> V = p(0) * same + p(1) * arma::eye(holes.n_rows, holes.n_rows);
    ll.row(t) = by_unit(holes.col(1), holes.col(3), p(2) + p(3) * holes.col(2), V);
  }
  expect_criteria(run.group->dic().marginal(), ll);
}

}  // namespace
