#pragma once

#include <armadillo>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "sem/predictors/variable.hpp"

namespace tovik {

class Summary;

using predictor_models = std::vector<std::unique_ptr<sem::Variable>>;

/// A row of a predictor model in the order of reports.
struct reported_row {
  sem::predictor_row row;
  arma::uword place;  ///< among the model's params()

  /// "Grand Mean", "Grand Mean: g.2", "x ~ z", "Residual Var.", "Var(g.2)", "Cov(g.2, g.3)", "Tau 1".
  std::string label() const;
  /// What stands above the row: nothing for a grand mean, "Level 1:", "Thresholds:".
  std::string section() const;
};

/// Grand means; level by level from the lowest coefficients and variances; thresholds. Throws error_debug if
/// the model names another number of rows than it has.
std::vector<reported_row> reported_rows(const sem::Variable& model, const std::vector<std::string>& names);

/// "Missing predictor:  x", "Complete predictor: x", "Means Model:        y"; of an imputation without
/// outcome models "Missing variable:   x", "Complete variable:  x".
std::string predictor_title(const sem::Variable& model, bool has_outcomes);

/// The estimates of the predictor models, a table for each. `estimates` has their rows and no others; an
/// empty one prints frames without rows.
void print_predictors(std::FILE* stream, const predictor_models& models,
                      const std::vector<std::string>& names, bool has_outcomes, const Summary& estimates);

}  // namespace tovik
