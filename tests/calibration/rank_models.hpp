#pragma once

#include <vector>

#include "calibration/ranks.hpp"

namespace tovik::tests::calibration {

/// y on m and x, m on x; m is missing at random, by x, and y by design.
rank_study mediation_ranks();

/// Random intercepts and slopes of eight clusters; y is missing by design.
rank_study random_slope_ranks();

/// Two outcomes with random intercepts at two levels, whose residuals are correlated through a phantom.
rank_study phantom_ranks();

/// A binary outcome with random intercepts.
rank_study binary_ranks();

/// y on the propensity of a binary m, which is missing at random, by x.
rank_study propensity_ranks();

/// Values of y that make themselves missing.
rank_study selection_ranks();

/// A binary outcome under the logit link with random intercepts and slopes.
rank_study logistic_ranks();

/// An incomplete count as outcome and as predictor.
rank_study count_ranks();
/// An incomplete outcome of three unordered categories, which predicts another outcome.
rank_study nominal_ranks();

/// An outcome of three unordered categories with random intercepts.
rank_study nominal_cluster_ranks();

/// Two factors of three incomplete indicators each, one factor on the other.
rank_study two_factor_ranks();

/// y on two factors and their product.
rank_study latent_interaction_ranks();

/// A factor of clusters, measured by a variable of the clusters and two of the rows.
rank_study cross_level_factor_ranks();

/// Three outcomes with correlated residuals and missing values; one correlation is held.
rank_study block_ranks();

/// Three outcomes with labels in common: coefficients with normal, uniform and truncated priors, a residual
/// variance.
rank_study shared_label_ranks();
/// Two outcomes of a block with a label in common.
rank_study member_label_ranks();

/// A residual variance for each of eight clusters, random intercepts, missing values.
rank_study cluster_variance_ranks();
/// An outcome under a Yeo-Johnson transformation, incomplete, and a predictor of another.
rank_study yeo_johnson_ranks();
/// y with a variance model, incomplete, and an incomplete predictor of the variance.
rank_study variance_model_ranks();

inline std::vector<rank_study> rank_studies() {
  return {shared_label_ranks(),
          member_label_ranks(),
          mediation_ranks(),
          random_slope_ranks(),
          phantom_ranks(),
          binary_ranks(),
          propensity_ranks(),
          selection_ranks(),
          logistic_ranks(),
          two_factor_ranks(),
          block_ranks(),
          latent_interaction_ranks(),
          cross_level_factor_ranks(),
          count_ranks(),
          nominal_ranks(),
          nominal_cluster_ranks(),
          cluster_variance_ranks(),
          yeo_johnson_ranks(),
          variance_model_ranks()};
}

}  // namespace tovik::tests::calibration
