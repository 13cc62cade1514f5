// Labelled parameters drawn from their conditional distribution, with the other coefficients of their
// equations and with random effects integrated out, leave the joint distribution of parameters and data
// unchanged.

#include <gtest/gtest.h>

#include <cmath>

#include "label_experiment.hpp"

namespace tovik::tests::label_block_invariance_test {
namespace {

const std::vector<std::string> names = {"m", "x", "y", "z"};
const std::vector<std::string> clustered = {"school", "m", "x", "y", "z"};

arma::mat columns(arma::uword n = 12) {
  Random rng(7, 1);
  arma::mat out = rng.randn(static_cast<int>(n), 4);
  out.col(1) += 0.3;
  out.col(3) = 0.7 * out.col(1) + 0.5 * out.col(3) - 0.2;
  return out;
}

/// With the number of a school in front.
arma::mat in_schools() {
  arma::mat data = columns(14);
  data.insert_cols(0, arma::vec({1, 1, 1, 2, 3, 3, 3, 3, 4, 4, 5, 5, 5, 5}));
  return data;
}

using named_priors = std::vector<std::pair<std::string, prior_draw>>;

LabelExperiment make(const std::vector<std::string>& statements, const std::vector<std::string>& parameters,
                     named_priors priors, std::vector<std::string> outcomes, std::uint32_t seed,
                     bool rebuild = false) {
  return {label_bench(names, columns(), {}, statements, parameters, {1, 1}, seed, !rebuild),
          std::move(priors), std::move(outcomes), rebuild};
}

LabelExperiment make_clustered(const std::vector<std::string>& statements,
                               const std::vector<std::string>& parameters, named_priors priors,
                               std::vector<std::string> outcomes, std::uint32_t seed, bool rebuild = false) {
  return {label_bench(clustered, in_schools(), {"school"}, statements, parameters, {1, 1}, seed, !rebuild),
          std::move(priors), std::move(outcomes), rebuild};
}

/// The outcome m has the categories 0 and 1.
LabelExperiment make_binary(const std::vector<std::string>& statements,
                            const std::vector<std::string>& parameters, named_priors priors,
                            std::uint32_t seed) {
  arma::mat data = columns(10);
  for (double& m : data.col(0)) m = m > 0.0 ? 1.0 : 0.0;
  constexpr int replications = 6000;
  return {label_bench(names, data, {}, statements, parameters, {1, 1}, seed, true, {"m"}),
          std::move(priors),
          {"m", "y"},
          true,
          replications};
}

TEST(LabelBlockInvariance, SeveralLabelsOfOneEquation) {
  for (bool rebuild : {false, true}) {
    LabelExperiment e =
        make({"y ~ 1@c x@a z@b"}, {"a ~ normal(0.3, 0.5)", "b ~ normal(-0.2, 2)", "c ~ normal(1, 1)"},
             {{"a", normal_prior(0.3, 0.5)}, {"b", normal_prior(-0.2, 2)}, {"c", normal_prior(1, 1)}}, {"y"},
             400, rebuild);
    e.expect_invariant();
  }
}

TEST(LabelBlockInvariance, OneLabelTwiceInAnEquation) {
  LabelExperiment e = make({"y ~ 1@c x@a z@a"}, {"a ~ normal(0.3, 0.5)", "c ~ normal(1, 1)"},
                           {{"a", normal_prior(0.3, 0.5)}, {"c", normal_prior(1, 1)}}, {"y"}, 402);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, EquationsOfDifferentResidualVariance) {
  LabelExperiment e =
      make({"m ~ 1@0 x@a", "y ~ 1@0.2 z@a m@b"}, {"a ~ normal(0.3, 0.3)", "b ~ normal(0, 0.5)"},
           {{"a", normal_prior(0.3, 0.3)}, {"b", normal_prior(0, 0.5)}}, {"m", "y"}, 403);
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, EquationsThatLabelsTieInAChain) {
  LabelExperiment e =
      make({"m ~ 1@0 x@a", "y ~ 1@0.2 z@a m@b", "x ~ 1@b"}, {"a ~ normal(0.3, 0.3)", "b ~ normal(0, 0.5)"},
           {{"a", normal_prior(0.3, 0.3)}, {"b", normal_prior(0, 0.5)}}, {"x", "m", "y"}, 404);
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, RandomEffectsAreIntegratedOut) {
  for (bool rebuild : {false, true}) {
    LabelExperiment e =
        make_clustered({"y ~ 1@a x@b | 1"}, {"a ~ normal(0.3, 2)", "b ~ normal(0, 1)"},
                       {{"a", normal_prior(0.3, 2)}, {"b", normal_prior(0, 1)}}, {"y"}, 405, rebuild);
    e.expect_invariant();
  }
}

TEST(LabelBlockInvariance, OneOfTheEquationsHasRandomEffects) {
  LabelExperiment e =
      make_clustered({"m ~ 1@a x@b", "y ~ 1@a m@b | 1"}, {"a ~ normal(0.3, 2)", "b ~ normal(0, 1)"},
                     {{"a", normal_prior(0.3, 2)}, {"b", normal_prior(0, 1)}}, {"m", "y"}, 407);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, RandomEffectsOfTwoLevelsAndASecondEquation) {
  arma::mat data = in_schools();
  data.insert_cols(0, arma::vec({1, 1, 2, 3, 4, 4, 5, 5, 6, 7, 8, 9, 9, 9}));
  LabelExperiment e = {label_bench({"room", "school", "m", "x", "y", "z"}, data, {"room", "school"},
                                   {"m ~ 1@a x@b", "y ~ 1@a m@b | 1"},
                                   {"a ~ normal(0.3, 2)", "b ~ normal(0, 1)"}, {1, 1}, 413, true),
                       {{"a", normal_prior(0.3, 2)}, {"b", normal_prior(0, 1)}},
                       {"m", "y"},
                       false};
  ASSERT_EQ(e.bench.equation("y").n_levels, 2u);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, TruncatedAndUniformPriors) {
  LabelExperiment e = make(
      {"y ~ 1@c x@a z@b"}, {"a ~ uniform(-0.5, 0.7)", "b ~ truncate(0, 2)", "c ~ normal(1, 1)"},
      {{"a", uniform_prior(-0.5, 0.7)}, {"b", uniform_prior(0, 2)}, {"c", normal_prior(1, 1)}}, {"y"}, 408);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, ABoundedLabelOfTwoEquations) {
  LabelExperiment e = make({"m ~ 1@c x@a", "y ~ 1@c z@a m@0.5"}, {"a ~ uniform(-1, 1)", "c ~ normal(0, 1)"},
                           {{"a", uniform_prior(-1, 1)}, {"c", normal_prior(0, 1)}}, {"m", "y"}, 409);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, ANormalAndAProbitEquation) {
  LabelExperiment e =
      make_binary({"m ~ x@a z", "y ~ 1@0.2 x@a z@b"}, {"a ~ normal(0.3, 0.5)", "b ~ normal(0, 0.5)"},
                  {{"a", normal_prior(0.3, 0.5)}, {"b", normal_prior(0, 0.5)}}, 410);
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, ANormalAndALogisticEquation) {
  LabelExperiment e =
      make_binary({"logit(m) ~ x@a z", "y ~ 1@0.2 x@a z@b"}, {"a ~ normal(0.3, 0.5)", "b ~ normal(0, 0.5)"},
                  {{"a", normal_prior(0.3, 0.5)}, {"b", normal_prior(0, 0.5)}}, 411);
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, ALabelThatWalksTakesTheOthersAlong) {
  LabelExperiment e = make({"m ~ 1@0 x@a", "y ~ 1@c x@a z@b"},
                           {"a ~ normal(0.3, 0.5)", "b ~ gamma(2, 0.4)", "c ~ laplace(0.2, 0.4)"},
                           {{"a", normal_prior(0.3, 0.5)},
                            {"b", [](Random& rng) { return rng.rgamma(2.0, 0.4); }},
                            {"c",
                             [](Random& rng) {
                               const double size = -std::log(1.0 - rng.runif());
                               return 0.2 + (rng.runif() < 0.5 ? -0.4 : 0.4) * size;
                             }}},
                           {"m", "y"}, 414);
  e.expect_invariant();
}

TEST(LabelBlockInvariance, ResidualVarianceOfTwoModels) {
  for (const bool own_prior : {false, true}) {
    const std::vector<std::string> prior =
        own_prior ? std::vector<std::string>{"v ~ invgamma(3, 2)"} : std::vector<std::string>{};
    LabelExperiment e = make(
        {"m ~ 1@0 x@0.4", "y ~ 1@0.2 z@0.3 m@0.5", "m ~~ m@v", "y ~~ y@v"}, prior,
        {{"v",
          [=](Random& rng) { return own_prior ? 1.0 / rng.rgamma(3.0, 0.5) : 1.0 / rng.rgamma(1.0, 2.0); }}},
        {"m", "y"}, 412);
    e.expect_invariant();
  }
}

}  // namespace
}  // namespace tovik::tests::label_block_invariance_test
