#pragma once

#include <string>
#include <vector>

#include "calibration/coverage.hpp"

namespace tovik::tests::calibration {

/// Two predictors, one of them incomplete, and their product.
coverage_study interaction_coverage();
/// An incomplete binary predictor and an incomplete ordinal one.
coverage_study categorical_coverage();
/// An incomplete ordinal outcome of five categories, which another equation reads.
coverage_study ordinal_outcome_coverage();
/// An incomplete predictor of level 2.
coverage_study level_two_coverage();
/// An incomplete predictor, centred at its latent cluster means, which are predictors themselves.
coverage_study contextual_coverage();
/// Incomplete predictors of levels 1 and 2 in three-level data.
coverage_study three_level_coverage();
/// Fully conditional specification of continuous, binary, ordinal and nominal variables; analyses of the
/// imputed data are pooled.
coverage_study fcs_coverage();

/// The same with categories as predictors in place of latent scores; `algorithm`: gibbs or mice.
coverage_study observed_fcs_coverage(const std::string& algorithm);
/// Fully conditional specification with observed cluster means, of variables of levels 1 and 2.
coverage_study observed_means_coverage(const std::string& algorithm);
coverage_study observed_means_three_levels_coverage();
/// Sampling weights where the chance of a row depends on its outcomes.
coverage_study weighted_coverage();

inline std::vector<coverage_study> coverage_studies() {
  return {interaction_coverage(),
          categorical_coverage(),
          ordinal_outcome_coverage(),
          level_two_coverage(),
          contextual_coverage(),
          three_level_coverage(),
          fcs_coverage(),
          observed_fcs_coverage("gibbs"),
          observed_fcs_coverage("mice"),
          observed_means_coverage("gibbs"),
          observed_means_coverage("mice"),
          observed_means_three_levels_coverage(),
          weighted_coverage()};
}

}  // namespace tovik::tests::calibration
