// The level regressions of continuous scores: every draw against its closed form.

#include "sem/predictors/component.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "component_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::component_test {
namespace {

using sem::Component;
using sem::component_setup;
using sem::MultivarComponent;

constexpr int draws = 20000;
const double pseudo_df[] = {2.0, -2.0, 0.0}, pseudo_ss[] = {1.0, 0.0, 0.0};

/// The text of the error that `build` ends in; empty if there is none.
template <class Build>
std::string refusal(Build build) {
  try {
    build();
  } catch (const error& e) {
    return e.what();
  }
  return "";
}

double uniform(double u) {
  return u;
}

/// The coefficients given the variance before them and the variance given the coefficients.
void expect_closed_form(arma::uword p, int prior, double gamma_prior) {
  ComponentWorld w(18, p, 1, 10U + static_cast<std::uint32_t>(prior));
  Component c(w.setup(prior, gamma_prior));
  c.startVariance(w.Y(), 1e-6);
  WhitenedDraws coefficients;
  std::vector<double> variances;
  for (int i = 0; i < draws; ++i) {
    arma::mat const before(1, 1, arma::fill::value(c.sigma2));
    c.draw(w.level, w.x, w.own);
    if (p > 0) coefficients.add(whiten_coefficients(c.gamma, w.W(), w.Y(), before, gamma_prior));
    double ss = arma::accu(arma::square(w.Y()));
    if (p > 0) ss = arma::accu(arma::square(w.Y() - w.W() * c.gamma));
    variances.push_back(
        inverse_gamma_cdf(c.sigma2, (18.0 + pseudo_df[prior - 1]) / 2.0, (ss + pseudo_ss[prior - 1]) / 2.0));
  }
  coefficients.expect_standard_normal();
  EXPECT_LT(kolmogorov(variances, uniform), 2.5);
}

TEST(Component, DrawsFromTheFullConditionalsUnderEachPrior) {
  for (int prior : {1, 2, 3}) {
    SCOPED_TRACE(prior);
    expect_closed_form(3, prior, component_setup::flat);
  }
}

TEST(Component, CoefficientsHeedANormalPrior) {
  expect_closed_form(3, 1, 0.02);
  expect_closed_form(1, 2, 0.5);
}

TEST(Component, WithoutPredictorsOnlyTheVarianceIsDrawn) {
  expect_closed_form(0, 1, component_setup::flat);
  expect_closed_form(0, 2, 0.5);
}

TEST(Component, TheChainHasTheMarginalPosteriorOfTheVariance) {
  // Flat coefficients and prior 2: inverse gamma with n - 2 - p degrees of freedom and the least squares
  // residuals. Successive draws are nearly independent: the variance depends on the last one through p of n
  // degrees of freedom.
  ComponentWorld w(18, 3, 1, 21);
  Component c(w.setup(2));
  c.startVariance(w.Y(), 1e-6);
  arma::mat const fit = arma::solve(w.W(), w.Y());
  const double ss = arma::accu(arma::square(w.Y() - w.W() * fit));
  std::vector<double> u;
  for (int i = 0; i < draws; ++i) {
    for (int thin = 0; thin < 4; ++thin) c.draw(w.level, w.x, w.own);
    u.push_back(inverse_gamma_cdf(c.sigma2, (18.0 - 2.0 - 3.0) / 2.0, ss / 2.0));
  }
  EXPECT_LT(kolmogorov(u, uniform), 2.5);
}

TEST(Component, NewDeviationsEnterTheNextDraw) {
  ComponentWorld w(40, 2, 1, 22);
  Component c(w.setup(1));
  c.draw(w.level, w.x, w.own);
  w.level.write(w.own, 100.0 * w.W().col(0));
  for (int i = 0; i < 50; ++i) c.draw(w.level, w.x, w.own);
  EXPECT_NEAR(c.gamma(0, 0), 100.0, 2.0);
  EXPECT_NEAR(c.gamma(1, 0), 0.0, 2.0);
}

TEST(Component, TheVarianceOfNextToNothingKeepsItsDigits) {
  // Products leave no digit of residuals that are 1e-8 of what they are the residuals of.
  ComponentWorld w(18, 3, 1, 32);
  arma::mat const nothing = 1e-8 * Random(33, 1U).randn(18, 1);
  w.level.write(w.own, w.W() * arma::vec{1.0, -0.5, 0.7} + nothing);
  Component c(w.setup(2));
  c.startVariance(nothing, 0.0);
  std::vector<double> u;
  for (int i = 0; i < draws; ++i) {
    c.draw(w.level, w.x, w.own);
    const double ss = arma::accu(arma::square(w.Y() - w.W() * c.gamma));
    u.push_back(inverse_gamma_cdf(c.sigma2, (18.0 + pseudo_df[1]) / 2.0, ss / 2.0));
  }
  EXPECT_LT(kolmogorov(u, uniform), 2.5);
}

TEST(Component, RegressionIsThatOfTheCoefficients) {
  ComponentWorld w(9, 3, 2, 23);
  MultivarComponent c(w.setup(1));
  c.gamma = {{1.0, -2.0}, {0.5, 0.0}, {3.0, 1.0}};
  arma::mat const expected = w.W() * c.gamma;
  EXPECT_LT(arma::abs(c.regression(w.level, w.x) - expected).max(), 1e-12);
  const arma::Col<arma::uword> some = {0, 4, 8};
  EXPECT_LT(arma::abs(c.regression(w.level, w.x, some) - expected.rows(some)).max(), 1e-12);
  arma::mat out(9, 2, arma::fill::ones);
  c.addRegression(w.level, w.x, out);
  EXPECT_LT(arma::abs(out - expected - 1.0).max(), 1e-12);
}

TEST(Component, ScoresAreReplacedAsAWholeOrByUnits) {
  ComponentWorld w(6, 0, 1, 24);
  Component c(w.setup(1));
  arma::mat const all = w.rng->randn(6, 1);
  c.setScore(all);
  c.setScore(arma::mat{7.0, 8.0}.t(), {1, 4});
  EXPECT_EQ(c.data()(1, 0), 7.0);
  EXPECT_EQ(c.data()(4, 0), 8.0);
  EXPECT_EQ(c.data()(0, 0), all(0, 0));
  EXPECT_THROW(c.setScore(arma::mat(5, 1)), error_debug);
  EXPECT_THROW(c.setScore(arma::mat(2, 1), {1}), error_debug);
}

TEST(Component, VariancesStartAtThoseOfTheDeviations) {
  ComponentWorld w(12, 0, 1, 25);
  Component c(w.setup(1));
  c.startVariance(w.Y(), 1e-6);
  EXPECT_NEAR(c.sigma2, arma::var(arma::vec(w.Y())), 1e-12);
  EXPECT_EQ(c.covariance()(0, 0), c.sigma2);
  c.startVariance(arma::mat(12, 1, arma::fill::zeros), 1e-6);
  EXPECT_EQ(c.sigma2, 1e-6);
}

TEST(Component, VariancesDoNotFallBelowTheFloor) {
  ComponentWorld w(12, 0, 1, 26);
  Component c(w.setup(3));
  c.floor = 1e-3;
  w.level.write(w.own, 1e-9 * w.Y());
  c.draw(w.level, w.x, w.own);
  EXPECT_EQ(c.sigma2, 1e-3);
  w.level.write(w.own, arma::mat(12, 1, arma::fill::zeros));
  c.draw(w.level, w.x, w.own);
  EXPECT_EQ(c.sigma2, 1e-3);
}

TEST(Component, NeedsThreeUnitsMoreThanPredictors) {
  component_setup setup = ComponentWorld(8, 5, 1, 27).setup(1);
  EXPECT_NO_THROW(Component{setup});
  setup.n_units = 7;
  setup.name = "ses";
  EXPECT_EQ(refusal([&] { Component{setup}; }),
            "ERROR: There are too few units for the predictor model of variable 'ses'.\n"
            "       It has 7 units and needs 8. Specify fewer variables in model.");
  setup.level = 2;
  EXPECT_NE(refusal([&] { Component{setup}; }).find("variable 'ses' at level 2."), std::string::npos);
}

TEST(Component, CollinearPredictorsAreSingularUnderAFlatPriorOnly) {
  ComponentWorld w(15, 3, 1, 28);
  w.level.write({2}, w.W().col(0) - 2.0 * w.W().col(1));
  Component flat(w.setup(1)), ridge(w.setup(1, 1.0));
  EXPECT_THROW(flat.draw(w.level, w.x, w.own), numeric_error);
  EXPECT_NO_THROW(ridge.draw(w.level, w.x, w.own));
  EXPECT_THROW(ridge.draw(w.level, {0}, w.own), error_debug);
}

TEST(Component, RefusesWhatOnlyCategoricalScoresHave) {
  Component c(ComponentWorld(8, 0, 1, 29).setup(1));
  arma::mat const scores(8, 1, arma::fill::zeros);
  EXPECT_THROW(c.SigmaE(), error_debug);
  EXPECT_THROW(c.categorize(scores), error_debug);
  EXPECT_THROW(c.thresholds(), error_debug);
  EXPECT_THROW(c.tuneResults(), error_debug);
  EXPECT_THROW(c.tune(), error_debug);
  EXPECT_NO_THROW(c.drawLatent(scores));
}

TEST(Component, CountsItsParameters) {
  EXPECT_EQ(Component(ComponentWorld(9, 3, 1, 30).setup(1)).n_estimated(), 4u);
  EXPECT_EQ(MultivarComponent(ComponentWorld(9, 2, 3, 30).setup(1)).n_estimated(), 12u);
}

// --- several columns ---------------------------------------------------------------------------------------

/// The quadratic form a'Sigma a of an inverse Wishart matrix with df and scale S is inverse gamma with shape
/// (df - q + 1) / 2 and scale a'S a / 2.
void expect_closed_form_of_several(arma::uword p, int prior, double gamma_prior) {
  ComponentWorld w(22, p, 3, 40U + static_cast<std::uint32_t>(prior));
  MultivarComponent c(w.setup(prior, gamma_prior));
  c.startVariance(w.Y(), 1e-6);
  WhitenedDraws coefficients;
  std::vector<std::vector<double>> forms(3);
  const std::vector<arma::vec> directions = {{1, 0, 0}, {1, -2, 0.5}, {0.3, 1, 1}};
  const double df = prior == 1 ? 22 + 4 : prior == 2 ? 22 - 4 : 22;
  for (int i = 0; i < draws; ++i) {
    arma::mat const before = c.SigmaE();
    c.draw(w.level, w.x, w.own);
    arma::mat R = w.Y();
    if (p > 0) {
      coefficients.add(whiten_coefficients(c.gamma, w.W(), w.Y(), before, gamma_prior));
      R -= w.W() * c.gamma;
    }
    arma::mat S = R.t() * R;
    if (prior == 1) S.diag() += 1.0;
    for (std::size_t k = 0; k < 3; ++k) {
      const arma::vec& a = directions[k];
      forms[k].push_back(inverse_gamma_cdf(arma::as_scalar(a.t() * c.SigmaE() * a), (df - 2.0) / 2.0,
                                           arma::as_scalar(a.t() * S * a) / 2.0));
    }
  }
  coefficients.expect_standard_normal();
  for (const auto& u : forms) EXPECT_LT(kolmogorov(u, uniform), 2.5);
}

TEST(MultivarComponent, DrawsFromTheFullConditionalsUnderEachPrior) {
  for (int prior : {1, 2, 3}) {
    SCOPED_TRACE(prior);
    expect_closed_form_of_several(2, prior, component_setup::flat);
  }
}

TEST(MultivarComponent, CoefficientsHeedANormalPrior) {
  expect_closed_form_of_several(2, 1, 0.05);
}

TEST(MultivarComponent, WithoutPredictorsOnlyTheCovarianceIsDrawn) {
  expect_closed_form_of_several(0, 1, component_setup::flat);
}

TEST(MultivarComponent, OneColumnIsTheUnivariateCase) {
  ComponentWorld w(18, 2, 1, 50);
  MultivarComponent c(w.setup(1, 0.3));
  WhitenedDraws coefficients;
  std::vector<double> u;
  for (int i = 0; i < draws; ++i) {
    arma::mat const before = c.SigmaE();
    c.draw(w.level, w.x, w.own);
    coefficients.add(whiten_coefficients(c.gamma, w.W(), w.Y(), before, 0.3));
    const double ss = arma::accu(arma::square(w.Y() - w.W() * c.gamma));
    u.push_back(inverse_gamma_cdf(c.SigmaE()(0, 0), 10.0, (ss + 1.0) / 2.0));
  }
  coefficients.expect_standard_normal();
  EXPECT_LT(kolmogorov(u, uniform), 2.5);
}

TEST(MultivarComponent, StartsAtAPositiveDefiniteCovariance) {
  ComponentWorld w(12, 0, 3, 51);
  MultivarComponent c(w.setup(1));
  c.startVariance(arma::mat(12, 3, arma::fill::ones), 1e-6);
  arma::mat R;
  EXPECT_TRUE(arma::chol(R, c.SigmaE()));
  arma::mat const proportional = w.Y().col(0) * arma::rowvec{1.0, 2.0, -1.0};
  c.startVariance(proportional, 1e-6);
  EXPECT_TRUE(arma::chol(R, c.SigmaE()));
}

TEST(MultivarComponent, ListsTheLowerTriangleColumnByColumn) {
  arma::mat const S = {{1, 2, 3}, {2, 4, 5}, {3, 5, 6}};
  EXPECT_EQ(arma::abs(sem::lower_triangle(S) - arma::vec{1, 2, 3, 4, 5, 6}).max(), 0.0);
  MultivarComponent c(ComponentWorld(9, 0, 2, 52).setup(1));
  EXPECT_EQ(c.variances().n_elem, 3u);
}

TEST(MultivarComponent, NeedsUnitsForItsDegreesOfFreedom) {
  component_setup setup = ComponentWorld(9, 2, 3, 53).setup(2);
  EXPECT_NO_THROW(MultivarComponent{setup});
  setup.n_units = 8;
  setup.name = "track";
  EXPECT_EQ(refusal([&] { MultivarComponent{setup}; }),
            "ERROR: There are too few units for the predictor model of variable 'track'.\n"
            "       It has 8 units and needs 9. Specify fewer variables in model.");
}

}  // namespace
}  // namespace tovik::tests::component_test
