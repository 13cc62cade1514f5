#include "sem/outcomes/nbinomial.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "sem/count_world.hpp"
#include "sem/scan/dispersion_step.hpp"
#include "support/error.hpp"

namespace tovik::sem::nbinomial_test {
namespace {

using tests::counted;
using tests::LoneEstimator;
using tests::ShortSeries;
using tests::World;

const std::string failure =
    "ERROR: The negative binomial outcome model ran into a computational error.\n"
    "       This often happens due to small sample sizes or the dispersion\n"
    "       parameter is empirically underidentified.";

template <class Action>
std::string error_of(Action action) {
  try {
    action();
  } catch (const error& e) {
    return e.what();
  }
  return "";
}

/// Six clusters of rows with counts of mean 3.
struct CountModel {
  World world{2, {{5, 1, 4}, {3, 6}, {1, 2}}, 201};
  LoneEstimator estimator{201};
  Random rng{201, 3U};
  equation_setup setup = counted(world.setup(0, {0, 2}));
  const ShortSeries series{20};

  CountModel() {
    setup.z[0] = {0, 3};
    setup.icept = {1};
    setup.prior = {1, 1};
    world.data.col(1) =
        tests::simulate_counts(arma::Col<double>(world.data.n_rows, arma::fill::value(1.1)), 2.0, rng);
  }
};

TEST(NegativeBinomial, LogProbabilitiesAreThoseOfTheSumOfItsTerms) {
  for (const double r : {0.3, 2.0, 40.0})
    for (const double eta : {-3.0, 0.0, 2.5}) {
      const scan::negative_binomial law(r);
      const double p = r / (r + std::exp(eta));
      double term = r * std::log(p), total = 0.0, mean = 0.0;
      for (int y = 0; y < 4000; ++y) {
        if (y > 0) term += std::log((y - 1 + r) / y * (1.0 - p));
        if (y < 30) {
          EXPECT_NEAR(law.log_probability(y, eta), term, 1e-10 * (1.0 + std::fabs(term))) << y;
        }
        total += std::exp(law.log_probability(y, eta));
        mean += y * std::exp(law.log_probability(y, eta));
      }
      EXPECT_NEAR(total, 1.0, 1e-8);
      EXPECT_NEAR(mean, std::exp(eta), 1e-6 * std::exp(eta));
    }
}

TEST(NegativeBinomial, SlopesAreThoseOfDifferences) {
  const scan::negative_binomial law(1.7);
  constexpr double h = 1e-4;
  for (const double y : {0.0, 1.0, 25.0})
    for (const double eta : {-4.0, 0.3, 5.0}) {
      const double up = law.kernel(y, eta + h), down = law.kernel(y, eta - h), here = law.kernel(y, eta);
      EXPECT_NEAR(law.at(y, eta).score, (up - down) / (2.0 * h), 1e-5);
      EXPECT_NEAR(law.at(y, eta).curvature, (2.0 * here - up - down) / (h * h), 1e-4);
    }
}

TEST(NegativeBinomial, IsFiniteWhereMeansAreNot) {
  const scan::negative_binomial law(50.0);
  for (const double eta : {-800.0, 800.0})
    for (const double y : {0.0, 7.0, 1e9}) {
      EXPECT_TRUE(std::isfinite(law.log_probability(y, eta))) << eta << " " << y;
      EXPECT_TRUE(std::isfinite(law.at(y, eta).score));
      EXPECT_GE(law.at(y, eta).curvature, 0.0);
    }
}

// Log probabilities of large counts and near the Poisson distribution keep their digits.
TEST(NegativeBinomial, TendsToThePoissonDistribution) {
  const scan::negative_binomial law(1e9);
  for (const double y : {0.0, 3.0, 12.0}) {
    const double eta = 1.2, poisson = y * eta - std::exp(eta) - std::lgamma(y + 1.0);
    EXPECT_NEAR(law.log_probability(y, eta), poisson, 1e-5);
  }
}

TEST(NBinomial, ScanKeepsItsResidual) {
  CountModel m;
  m.setup.missing_units = {1, 7, 13};
  NBinomial model(&m.estimator, m.setup);
  model.addStarts({0.5, 0.0, 0.5, 1.0, 1.0, 0.0});
  for (int t = 0; t < 30; ++t) {
    model.draw(m.world.data);
    ASSERT_LT(model.residual_error(m.world.data), 1e-9);
  }
  for (const arma::uword i : m.setup.missing_units) {
    const double y = m.world.data(i, 1);
    EXPECT_TRUE(y >= 0.0 && y == std::floor(y));
    EXPECT_EQ(model.unit_values(i), y);
  }
}

TEST(NBinomial, RowsAreCovariancesDispersionAndCoefficients) {
  CountModel m;
  NBinomial model(&m.estimator, m.setup);
  const arma::Col<double> starts = {0.5, 0.1, 0.6, 3.5, 0.7, -0.2};
  model.addStarts(starts);
  EXPECT_TRUE(arma::approx_equal(model.params(), starts, "absdiff", 0.0));
  EXPECT_EQ(model.dispersion(), 3.5);
  const arma::Col<double> after = model.postDraw(m.world.data);
  ASSERT_EQ(after.n_elem, 2U);
  EXPECT_DOUBLE_EQ(after(0), std::exp(0.7));
  EXPECT_DOUBLE_EQ(after(1), std::exp(-0.2));
  EXPECT_EQ(model.n_estimated(), 6U);
}

TEST(NBinomial, PredictsMeansAndProbabilities) {
  CountModel m;
  NBinomial model(&m.estimator, m.setup);
  model.addStarts({0.5, 0.1, 0.6, 3.5, 0.7, -0.2});
  const arma::Mat<double> mean = model.compute_predicted(m.world.data);
  const arma::Mat<double> p = model.compute_predicted_prob(m.world.data);
  for (arma::uword i = 0; i < mean.n_elem; ++i) {
    const arma::uword c = m.world.units[1](i);
    const double eta =
        0.7 - 0.2 * m.world.data(i, 2) + model.u[0](c, 0) + model.u[0](c, 1) * m.world.data(i, 3);
    EXPECT_NEAR(mean(i), std::exp(eta), 1e-10 * mean(i));
    EXPECT_NEAR(3.5 * (1.0 - p(i)) / p(i), mean(i), 1e-10 * mean(i));
  }
}

TEST(NBinomial, TunesItsDispersionAndItsEffects) {
  CountModel m;
  NBinomial model(&m.estimator, m.setup);
  EXPECT_NEAR(model.dispersion_tune.value, 3.0 / std::sqrt(22.0), 1e-12);
  model.dispersion_tune.accepted = model.dispersion_tune.total = 10;
  const double before = model.dispersion_tune.value;
  model.tune();
  EXPECT_NEAR(model.dispersion_tune.value, 2.0 * before, 1e-12);
  std::vector<estimator::tune_obj*> proposals;
  model.addProposals(proposals);
  EXPECT_NE(std::find(proposals.begin(), proposals.end(), &model.dispersion_tune), proposals.end());
  const estimator::tune_results results = model.tuneResults();
  EXPECT_STREQ(results.at(1).label(), "parameter");
  EXPECT_EQ(results.at(1).what, "Dispersion Parameter");
}

TEST(NBinomial, NeedsAnIntercept) {
  CountModel m;
  m.setup.x = {2};
  m.setup.has_intercept = false;
  EXPECT_EQ(error_of([&] { NBinomial(&m.estimator, m.setup); }), "Count Data requires having an interecpt.");
}

TEST(NBinomial, PublishesNoEffects) {
  CountModel m;
  NBinomial model(&m.estimator, m.setup);
  EXPECT_EQ(error_of([&] {
              model.addIndicator({11, 12}, indicator_type::random_effect);
            }),
            "ERROR: Labeled random effects not allowed in count models.\n       Use LATENT command instead.");
}

TEST(NBinomial, HasNoSolvedDistributionAndNoBlock) {
  CountModel m;
  NBinomial model(&m.estimator, m.setup);
  EXPECT_EQ(error_of([&] { model.addDist(nullptr, distribution_type::fixed); }),
            "ERROR: Cannot add distribution for NBinomial variables.");
  EXPECT_EQ(error_of([&] { model.addMulti(nullptr); }),
            "ERROR: Cannot Set multivariate link in NBinomial variables.");
}

TEST(NBinomial, EndsWithWordsWhereItCannotGoOn) {
  CountModel m;
  NBinomial model(&m.estimator, m.setup);
  model.addStarts({0.5, 0.1, 0.6, 3.5, arma::datum::nan, -0.2});
  EXPECT_EQ(error_of([&] { model.draw(m.world.data); }), failure);
  scan::dispersion_step step;
  scan::negative_binomial law(1.0);
  estimator::tune_obj tune;
  EXPECT_EQ(error_of([&] { step.move({1.0, 2.0}, {0.0, arma::datum::inf}, m.rng, tune, law); }), failure);
  m.setup.missing_units = {2};
  m.setup.z[0].reset();
  m.setup.icept = {0};
  m.setup.fixed = {0};
  m.setup.fixed_values = {60.0};
  NBinomial large(&m.estimator, m.setup);
  EXPECT_EQ(error_of([&] { large.draw(m.world.data); }), failure);
}

TEST(DispersionStep, StaysWithinItsBounds) {
  Random rng(202, 1U);
  scan::dispersion_step step;
  estimator::tune_obj tune(50.0, estimator::tune_obj::kind_type::parameter);
  scan::negative_binomial law(1.0);
  const arma::Col<double> y = {0.0}, eta = {-9.0};  // they tell nothing
  for (int t = 0; t < 20000; ++t) {
    step.move(y, eta, rng, tune, law);
    ASSERT_TRUE(law.size() >= 1e-4 && law.size() <= 1e4);
  }
  EXPECT_GT(tune.accepted, 100U);
}

// A cluster of zeros bounds the variance of intercepts from below only.
TEST(NBinomial, ClustersOfZerosTellNothingOfLargeVariances) {
  CountModel m;
  m.setup.prior = {2, 2};
  m.setup.z[0] = {0};
  m.world.data.col(1).zeros();
  m.world.data(0, 1) = m.world.data(6, 1) = 2.0;
  NBinomial model(&m.estimator, m.setup);
  const std::string message = error_of([&] {
    model.check_propriety(m.world.data, {"y", {"id"}, {"a", "b"}});
  });
  EXPECT_NE(message.find("2 clusters with different values"), std::string::npos) << message;
}

}  // namespace
}  // namespace tovik::sem::nbinomial_test
