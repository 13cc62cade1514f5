// An outcome whose residual variance differs between clusters: rows, starts, densities, what is refused.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "hev_world.hpp"
#include "model/row_table.hpp"
#include "random/densities.hpp"
#include "sem/autosolver/solution.hpp"
#include "sem/outcomes/solved_units.hpp"
#include "sem/outcomes/variance_rows.hpp"
#include "sem/wiring/constraint.hpp"
#include "small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::normal_hev_test {
namespace {

using sem::equation_setup;
using sem::NormalHev;

const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};

equation_setup& random_slope(HevWorld& w) {
  equation_setup& setup = w.add(0, {0, 2, 6});
  setup.z[0] = {0, 2};
  setup.icept = {1};
  return setup;
}

TEST(NormalHev, ReportsTheSpreadOfItsVariancesBetweenCovariancesAndCoefficients) {
  HevWorld w(2, small, 1);
  random_slope(w);
  w.build();
  w.draw_joint();
  const NormalHev& model = *w.models[0];
  const arma::vec rows = model.params();
  ASSERT_EQ(rows.n_elem, 3U + 5U + 3U);
  EXPECT_EQ(model.n_params(), rows.n_elem);
  const arma::vec spread = sem::variance_rows(model.sigma2s, NormalHev::proportions);
  EXPECT_TRUE(arma::approx_equal(rows.subvec(3, 7), spread, "absdiff", 0.0));
  EXPECT_DOUBLE_EQ(rows(6), arma::mean(model.sigma2s));
  EXPECT_DOUBLE_EQ(rows(8), model.betas()(0));
}

TEST(NormalHev, StartsEveryClusterAtTheMean) {
  HevWorld w(2, small, 2);
  random_slope(w);
  w.build();
  NormalHev& model = *w.models[0];
  model.addStarts({1.0, 0.1, 2.0, 0.0, 7.0, 7.0, 4.0, 7.0, -0.5, 0.0, 0.5});
  EXPECT_EQ(model.sigma2s.n_elem, 9U);
  EXPECT_TRUE(arma::all(model.sigma2s == 4.0));
  EXPECT_EQ(model.shared.s0, 4.0);
  EXPECT_EQ(model.shared.t, 2.0);
  EXPECT_EQ(model.residVar(3), 4.0);
  const arma::vec rows = model.params();
  EXPECT_EQ(rows(3), 0.0);
  for (arma::uword j = 4; j < 8; ++j) EXPECT_DOUBLE_EQ(rows(j), 4.0);
}

TEST(NormalHev, SharesOfVarianceAndReadersTakeTheMean) {
  HevWorld w(2, small, 3);
  random_slope(w);
  w.build();
  w.draw_joint();
  NormalHev& model = *w.models[0];
  const auto read = model.constraint(sem::parameter_type::residual_variance_read, 0, 0);
  w.scan();
  const double mean = arma::mean(model.sigma2s);
  EXPECT_DOUBLE_EQ(*read->links.front(), mean);
  const arma::vec derived = model.postDraw(w.world.data);
  EXPECT_NEAR(derived.back(), mean / model.total_var, 1e-12);
  EXPECT_NEAR(model.total_var, model.coef_var + model.slope_total + model.icept_total + mean, 1e-12);
}

/// log density of every row, phantoms spelled out.
arma::vec densities(const HevWorld& w, std::size_t m) {
  const NormalHev& model = *w.models[m];
  const auto& setup = w.setups[m];
  const double rho = w.tied ? w.phantom->rho.value : 0.0;
  const double load = (m == 1 && rho < 0.0 ? -1.0 : 1.0) * std::sqrt(std::fabs(rho));
  arma::vec out(w.world.data.n_rows);
  for (arma::uword i = 0; i < out.n_elem; ++i) {
    const arma::uword c = w.world.units[1](i);
    double e = w.world.data(i, setup.y) - load * std::sqrt(model.sigma2s(c)) * w.world.data(i, 11);
    for (arma::uword j = 0; j < setup.x.n_elem; ++j) e -= w.world.data(i, setup.x(j)) * setup.fixed_values(j);
    for (arma::uword j = 0; j < setup.z[0].n_elem; ++j)
      e -= w.world.data(i, setup.z[0](j)) * model.u[0](c, j);
    const double v = (1.0 - std::fabs(rho)) * model.sigma2s(c);
    out(i) = -0.5 * (std::log(2.0 * arma::datum::pi * v) + e * e / v);
  }
  return out;
}

TEST(NormalHev, DensityHasTheVarianceOfTheCluster) {
  for (const bool tied : {false, true}) {
    HevWorld w(2, small, 4);
    w.tied = tied;
    random_slope(w);
    w.add(0, {0, 1});
    w.build();
    for (int scan = 0; scan < 3; ++scan) {
      w.draw_joint();
      if (scan > 0) w.scan();
      for (std::size_t m : {0, 1}) {
        const arma::vec expected = densities(w, m);
        const NormalHev& model = *w.models[m];
        EXPECT_LT(arma::abs(model.logLiklihood(w.world.data, 0) - expected).max(), 1e-10);
        EXPECT_NEAR(model.compute_LL_node(0.0, w.world.data), arma::accu(expected), 1e-9);
        const arma::uvec some = {0, 3, 4, 21};
        arma::vec each(4, arma::fill::zeros);
        model.addLogLiklihood(w.world.data, 0, some, each.memptr());
        EXPECT_LT(arma::abs(each - expected.elem(some)).max(), 1e-10);
        EXPECT_NEAR(model.logLiklihood(w.world.data, 1)(0), arma::accu(expected.head(5)), 1e-10);
      }
    }
  }
}

TEST(NormalHev, MarginalDensityIsThatOfTheDenseNormal) {
  HevWorld w(2, small, 5);
  equation_setup& setup = random_slope(w);
  setup.missing_units = {1, 6, 20};
  w.build();
  w.draw_joint();
  const NormalHev& model = *w.models[0];
  const arma::mat& data = w.world.data;
  const arma::vec all = model.marginal_logLiklihood(data), seen = model.observed_marginal_logLiklihood(data);
  for (arma::uword c = 0; c < model.sigma2s.n_elem; ++c) {
    const arma::uvec rows = arma::find(w.world.units[1] == c);
    arma::uvec kept = rows;
    for (arma::uword i : setup.missing_units) kept = kept.elem(arma::find(kept != i)).eval();
    for (const auto& [of, value] : {std::pair{rows, all(c)}, {kept, seen(c)}}) {
      if (of.is_empty()) continue;
      const arma::mat X = data.cols(setup.x), Z = data.cols(setup.z[0]);
      const arma::mat Zc = Z.rows(of), Xc = X.rows(of);
      const arma::vec y = data.col(1);
      const arma::vec e = y.elem(of) - Xc * setup.fixed_values;
      const arma::mat V = Zc * model.Sigma[0] * Zc.t() + model.sigma2s(c) * arma::eye(of.n_elem, of.n_elem);
      const double log_det = std::real(arma::log_det(V));
      EXPECT_NEAR(value,
                  -0.5 * (static_cast<double>(of.n_elem) * std::log(2.0 * arma::datum::pi) + log_det +
                          arma::dot(e, arma::solve(V, e))),
                  1e-9)
          << "cluster " << c;
    }
  }
}

/// A common shift or factor of a predictor: the log likelihood is a parabola in it, which two points tell.
TEST(NormalHev, TellsOfShiftsAndFactorsOfAPredictor) {
  for (const bool tied : {false, true}) {
    HevWorld w(2, small, 6);
    w.tied = tied;
    random_slope(w);
    w.add(0, {0, 1});
    w.build();
    w.draw_joint();
    const NormalHev& reader = *w.models[1];
    const auto how = sem::autosolver::solution::constant(1, 1);
    const auto units = reader.every_unit();
    const auto told = reader.told_of_shift(w.world.data, how, *units);
    const auto factor = reader.told_of_scale(w.world.data, how, *units);
    const double before = reader.logLiklihood(w.world.data);
    for (const double c : {-0.7, 1.3}) {
      arma::mat moved = w.world.data;
      moved.col(1) += c;
      EXPECT_NEAR(reader.logLiklihood(moved) - before, c * told.d - 0.5 * c * c * told.q, 1e-8);
      moved.col(1) = c * w.world.data.col(1);
      EXPECT_NEAR(reader.logLiklihood(moved) - before, (c - 1.0) * factor.d - 0.5 * (c * c - 1.0) * factor.q,
                  1e-8);
    }
  }
}

TEST(NormalHev, PhantomsLeavePartOfEveryVariance) {
  HevWorld w(2, small, 7);
  w.tied = true;
  random_slope(w);
  w.add(0, {0, 1});
  w.build();
  w.draw_joint();
  w.phantom->addStarts({-0.4});
  const NormalHev& model = *w.models[1];
  EXPECT_LT(arma::abs(model.residVar() - 0.6 * model.sigma2s).max(), 1e-12);
  EXPECT_NEAR(model.residVar(2), 0.6 * model.sigma2s(2), 1e-12);
  // What a reader of the output sees holds the phantoms' part.
  const arma::mat seen = model.residual(w.world.data);
  EXPECT_LT(arma::abs(seen - model.fixed_residual(w.world.data)).max(), 1e-10);
}

TEST(NormalHev, CountsTheParametersThatItsVariancesShare) {
  HevWorld w(2, small, 8);
  random_slope(w);
  w.build();
  EXPECT_EQ(w.models[0]->n_estimated(), 3U + 2U);
  HevWorld two(2, {{5}, {6}}, 8);
  two.add(0, {0, 2});
  two.build();
  EXPECT_EQ(two.models[0]->n_estimated(), 1U);
}

/// With two clusters, or with values in no more than two, the data do not bound t.
TEST(NormalHev, TheSpreadStaysWithFewerThanThreeClustersThatTellOfIt) {
  HevWorld w(2, {{5}, {6}, {3, 4}}, 9);
  equation_setup& setup = w.add(0, {0, 2});
  setup.missing_units = {5, 6, 7, 8, 9, 10, 11, 12, 13};
  for (const bool telling : {false, true}) {
    if (telling) setup.missing_units = {5, 6, 11, 12, 13};
    w.build();
    w.draw_joint();
    for (int scan = 0; scan < 20; ++scan) w.models[0]->draw(w.world.data);
    EXPECT_EQ(w.models[0]->shared.t != HevWorld::t, telling);
    EXPECT_NE(w.models[0]->shared.s0, HevWorld::s0);
  }
}

TEST(NormalHev, RefusesWhatItCannotBe) {
  HevWorld w(2, small, 10);
  equation_setup setup = random_slope(w);
  NormalHev model(&w.estimator, setup);
  EXPECT_THROW(model.constraint(sem::parameter_type::residual_variance, 0, 0), error_debug);
  EXPECT_THROW(model.varianceFunc()(w.world.data, {}), error_debug);
  setup.estimate_resid = false;
  setup.resid_value = 2.0;
  EXPECT_THROW(NormalHev(&w.estimator, setup), error_debug);
  const World single(1, {{5}}, 1);
  EXPECT_THROW(NormalHev(&w.estimator, single.setup(0, {0})), error_debug);
}

/// Five schools of eight pupils whose scores vary the more the higher the number of the school.
small_run schools(arma::uword each, const std::vector<std::string>& statements, double unit = 1.0) {
  Random rng(4, 1);
  arma::mat data(5 * each, 4);
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double school = static_cast<double>(i / each + 1), x = 10.0 + rng.rnorm();
    data.row(i) = arma::rowvec{school, unit * (x + school * rng.rnorm()), x, rng.rnorm()};
  }
  data(1, 1) = data(data.n_rows - 1, 1) = arma::datum::nan;
  small_run run({"school", "y", "x", "w"}, data, {"school"}, statements);
  run.models.set_heterogeneous();
  return run;
}

TEST(NormalHev, ARunHasAValueForEveryName) {
  const small_run run = schools(8, {"y ~ x | 1", "w ~ y x | 1"});
  const auto chain = run.chain(Random(3, 1));
  const arma::mat all = draws(*chain, 20, 50);
  EXPECT_TRUE(all.is_finite());
  arma::uword rows = 0;
  for (const Model& model : run.models) {
    EXPECT_EQ(model.link, model::link::hev);
    rows += model.rows().size();
  }
  EXPECT_EQ(rows, all.n_rows);
  const arma::mat likelihoods = chain->outcomes()->likelihood(chain->working().data).slice(0);
  EXPECT_TRUE(likelihoods.is_finite());
}

TEST(NormalHev, ChainsDoNotDependOnTheUnitsOfTheOutcome) {
  const auto one = schools(8, {"y ~ x | x"}).chain(Random(3, 1), {3, 3});
  const auto thousand = schools(8, {"y ~ x | x"}, 1000.0).chain(Random(3, 1), {3, 3});
  const arma::mat a = draws(*one, 0, 30), b = draws(*thousand, 0, 30);
  for (arma::uword t = 0; t < a.n_cols; ++t) {
    EXPECT_NEAR(b(3, t), a(3, t), 1e-6 * std::fabs(a(3, t)));                    // heterogeneity
    EXPECT_NEAR(b(6, t), 1e6 * a(6, t), 1e-6 * std::fabs(1e6 * a(6, t)));        // mean variance
    EXPECT_NEAR(b(9, t), 1000.0 * a(9, t), 1e-6 * std::fabs(1000.0 * a(9, t)));  // coefficient
  }
}

/// With `n` observed values of y.
std::string failure(arma::uword n) {
  small_run run = schools(2, {"y ~ x | 0"});
  for (arma::uword i = 0; i < run.data.n_rows; ++i) {
    if (std::isnan(run.data(i, 1))) continue;
    if (n == 0)
      run.data(i, 1) = arma::datum::nan;
    else
      --n;
  }
  return run.failure({1, 1});
}

// The common scale has a flat prior, whatever that of other variances.
TEST(NormalHev, NeedsThreeValuesMoreThanCoefficients) {
  EXPECT_EQ(failure(5), "");
  EXPECT_EQ(failure(4),
            "ERROR: There are too few observed values of 'y'.\n"
            "       4 values for 2 coefficients: the prior of the residual variance needs 5.\n"
            "       Use 'OPTIONS: hov;' or fewer predictors.");
}

}  // namespace
}  // namespace tovik::tests::normal_hev_test
