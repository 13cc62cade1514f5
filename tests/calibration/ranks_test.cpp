// Simulation-based calibration of whole runs; see ranks.hpp.

#include <gtest/gtest.h>

#include "calibration/rank_models.hpp"

namespace tovik::tests::calibration::ranks_test {
namespace {

constexpr std::size_t replications = 200;
/// Of failing although the sampler is right, over all models and quantities together.
constexpr double family_wise = 1e-4;

std::size_t quantities_in_all() {
  std::size_t n = 0;
  for (const rank_study& model : rank_studies()) n += model.parameters.size() + 1;
  return n;
}

void expect_uniform(const rank_study& model) {
  const rank_table table = ranks(model, replications);
  const double level = family_wise / static_cast<double>(quantities_in_all());
  for (arma::uword j = 0; j < table.quantities.size(); ++j) {
    EXPECT_GT(table.p_value(j), level) << table.quantities[j] << "\n" << table.histogram(j).t();
  }
}

TEST(Ranks, Mediation) {
  expect_uniform(mediation_ranks());
}

TEST(Ranks, RandomSlope) {
  expect_uniform(random_slope_ranks());
}

TEST(Ranks, Phantom) {
  expect_uniform(phantom_ranks());
}

TEST(Ranks, BinaryOutcome) {
  expect_uniform(binary_ranks());
}

TEST(Ranks, Propensity) {
  expect_uniform(propensity_ranks());
}

TEST(Ranks, Selection) {
  expect_uniform(selection_ranks());
}

TEST(Ranks, Logistic) {
  expect_uniform(logistic_ranks());
}

TEST(Ranks, Count) {
  expect_uniform(count_ranks());
}

TEST(Ranks, Nominal) {
  expect_uniform(nominal_ranks());
}

TEST(Ranks, NominalWithinClusters) {
  expect_uniform(nominal_cluster_ranks());
}

TEST(Ranks, TwoFactors) {
  expect_uniform(two_factor_ranks());
}

TEST(Ranks, LatentInteraction) {
  expect_uniform(latent_interaction_ranks());
}

TEST(Ranks, CrossLevelFactor) {
  expect_uniform(cross_level_factor_ranks());
}

TEST(Ranks, Block) {
  expect_uniform(block_ranks());
}

TEST(Ranks, SharedLabels) {
  expect_uniform(shared_label_ranks());
}

TEST(Ranks, YeoJohnson) {
  expect_uniform(yeo_johnson_ranks());
}

TEST(Ranks, VarianceModel) {
  expect_uniform(variance_model_ranks());
}

TEST(Ranks, LabelOfCorrelatedOutcomes) {
  expect_uniform(member_label_ranks());
}

/// The test itself: ranks of a posterior that is too narrow by a third are found out.
TEST(Ranks, OfANarrowPosteriorAreNotUniform) {
  std::mt19937_64 engine(9);
  std::normal_distribution<double> normal;
  rank_table narrow{{"x"}, arma::Mat<arma::uword>(replications, 1, arma::fill::zeros)}, right = narrow;
  for (std::size_t i = 0; i < replications; ++i) {
    const double truth = normal(engine);
    for (std::uint32_t t = 0; t < ranked_draws; ++t) {
      const double draw = normal(engine);
      right.ranks(i, 0) += draw < truth;
      narrow.ranks(i, 0) += draw / 1.5 < truth;
    }
  }
  EXPECT_GT(right.p_value(0), family_wise / 100);
  EXPECT_LT(narrow.p_value(0), family_wise / 100);
}

TEST(Ranks, ClusterVariances) {
  expect_uniform(cluster_variance_ranks());
}

}  // namespace
}  // namespace tovik::tests::calibration::ranks_test
