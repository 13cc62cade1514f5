// The draw of a shared parameter leaves the joint distribution of parameters and data unchanged, wherever the
// parameter stands and whatever its prior is.

#include <gtest/gtest.h>

#include <boost/math/distributions/beta.hpp>
#include <cmath>

#include "label_experiment.hpp"
#include "sample_tests.hpp"

namespace tovik::tests::label_invariance_test {
namespace {

const std::vector<std::string> names = {"m", "x", "y", "z"};

arma::mat columns(arma::uword n = 12) {
  Random rng(7, 1);
  arma::mat out = rng.randn(static_cast<int>(n), 4);
  out.col(1) += 0.3;
  out.col(3) -= 0.2;
  return out;
}

/// Each label by itself: blocks off.
class LabelInvariance : public testing::Test {
  Setting<bool> walks_{sem::sampler_settings::draw_label_blocks, false};
};

LabelExperiment make(const std::vector<std::string>& statements, const std::vector<std::string>& parameters,
                     std::vector<std::pair<std::string, prior_draw>> priors,
                     std::vector<std::string> outcomes, std::uint32_t seed, bool rebuild = false) {
  return {label_bench(names, columns(), {}, statements, parameters, {1, 1}, seed, !rebuild),
          std::move(priors), std::move(outcomes), rebuild};
}

prior_draw default_variance() {
  return [](Random& rng) { return 1.0 / rng.rgamma(1.0, 2.0); };
}

TEST_F(LabelInvariance, TwoPlacesOfOneModelWithEachPrior) {
  const std::vector<std::pair<std::string, prior_draw>> families = {
      {"normal(0.3, 0.5)", normal_prior(0.3, 0.5)},
      {"gamma(2, 0.4)", [](Random& rng) { return rng.rgamma(2.0, 0.4); }},
      {"invgamma(3, 1)", [](Random& rng) { return 1.0 / rng.rgamma(3.0, 1.0); }},
      {"beta(2, 3)",
       [](Random& rng) {
         return boost::math::quantile(boost::math::beta_distribution<>(2, 3), rng.runif());
       }},
      {"laplace(0.2, 0.4)",
       [](Random& rng) {
         const double e = -std::log(1.0 - rng.runif());
         return 0.2 + (rng.runif() < 0.5 ? -0.4 : 0.4) * e;
       }},
      {"cauchy(0.1, 0.3)",
       [](Random& rng) { return 0.1 + 0.3 * std::tan(arma::datum::pi * (rng.runif() - 0.5)); }},
      {"uniform(-1, 2)", [](Random& rng) { return -1.0 + 3.0 * rng.runif(); }},
      {"truncate(-1, 1)", [](Random& rng) { return -1.0 + 2.0 * rng.runif(); }},
  };
  std::uint32_t seed = 300;
  for (const auto& [text, draw] : families) {
    SCOPED_TRACE(text);
    LabelExperiment e = make({"y ~ 1@0.5 x@a z@a"}, {"a ~ " + text}, {{"a", draw}}, {"y"}, ++seed);
    e.expect_invariant(0.5);
  }
}

TEST_F(LabelInvariance, TwoModels) {
  LabelExperiment e = make({"m ~ 1@0 x@a", "y ~ 1@0.2 z@a m@a"}, {"a ~ normal(0.3, 0.3)"},
                           {{"a", normal_prior(0.3, 0.3)}}, {"m", "y"}, 320);
  e.expect_invariant(0.4);
}

TEST_F(LabelInvariance, FromCrossProducts) {
  LabelExperiment e = make({"y ~ 1@0.5 x@a z@a"}, {"a ~ normal(0.3, 0.5)"}, {{"a", normal_prior(0.3, 0.5)}},
                           {"y"}, 321, true);
  e.expect_invariant(0.4);
}

TEST_F(LabelInvariance, ResidualVarianceOfTwoModels) {
  LabelExperiment e = make({"m ~ 1@0 x@0.4", "y ~ 1@0.2 z@0.3 m@0.5", "m ~~ m@v", "y ~~ y@v"}, {},
                           {{"v", default_variance()}}, {"m", "y"}, 330);
  e.expect_invariant(0.5);
}

TEST_F(LabelInvariance, ResidualVarianceWithItsOwnPrior) {
  LabelExperiment e = make({"y ~ 1@0.2 z@0.3", "y ~~ y@v"}, {"v ~ gamma(2, 0.7)"},
                           {{"v", [](Random& rng) { return rng.rgamma(2.0, 0.7); }}}, {"y"}, 331);
  e.expect_invariant(0.5);
}

TEST_F(LabelInvariance, InsideAComputedTerm) {
  LabelExperiment e =
      make({"y ~ 1@0 x@k (x*exp(k*z))@1"}, {"k ~ normal(0, 0.2)"}, {{"k", normal_prior(0, 0.2)}}, {"y"}, 340);
  e.expect_invariant(0.3);
}

TEST_F(LabelInvariance, ComputedParametersThatFeedModels) {
  LabelExperiment e = make({"m ~ 1@0 x@a", "y ~ 1@0 m@b x@c (z*d)@1"},
                           {"a ~ normal(0.2, 0.3)", "b ~ normal(0, 0.3)", "c = a * b", "d = c + a"},
                           {{"a", normal_prior(0.2, 0.3)}, {"b", normal_prior(0, 0.3)}}, {"m", "y"}, 350);
  e.expect_invariant(0.4);
}

TEST_F(LabelInvariance, ComputedResidualVariance) {
  LabelExperiment e =
      make({"m ~ 1@0 x@a", "y ~ 1@0 m@0.5", "y ~~ y@v"}, {"a ~ normal(0.2, 0.3)", "v = exp(a)"},
           {{"a", normal_prior(0.2, 0.3)}}, {"m", "y"}, 351);
  e.expect_invariant(0.4);
}

TEST_F(LabelInvariance, BesideRandomEffectsAndAHandleOnTheirVariance) {
  arma::mat data = columns(14);
  data.insert_cols(0, 1);
  const std::vector<double> schools = {1, 1, 1, 2, 3, 3, 3, 3, 4, 4, 5, 5, 5, 5};
  data.col(0) = arma::vec(schools);
  LabelExperiment e = {
      label_bench({"school", "m", "x", "y", "z"}, data, {"school"}, {"y ~ 1@0.1 x@a z@a | 1@v"},
                  {"a ~ normal(0.3, 0.5)", "s = sqrt(v)"}, {1, 1}, 360, true),
      {{"a", normal_prior(0.3, 0.5)}},
      {"y"},
      false};
  e.expect_invariant(0.4);
  EXPECT_EQ(e.bench.cell("v"), e.bench.equation("y").Sigma[0](0, 0));
}

}  // namespace
}  // namespace tovik::tests::label_invariance_test
