#pragma once

#include "sem/predictors/component.hpp"
#include "sem/scan/covariance.hpp"

namespace tovik::sem {

/// The regression of several score columns with one residual covariance matrix: a level above a nominal
/// variable's own. Sigma is inverse Wishart given the residuals R, with scale R'R + I and df n + q + 1, R'R
/// and n - q - 1, R'R and n for prior 1, 2, 3 and q columns.
class MultivarComponent : public Component {
 public:
  /// Throws std::runtime_error when there are fewer than 2 dim + n_predictors + 1 or n_predictors + 3 units.
  explicit MultivarComponent(component_setup const& setup);

  void startVariance(arma::Mat<double> const& deviations, double least) override;
  arma::Mat<double> const& SigmaE() const override { return Sigma_; }
  arma::Mat<double> covariance() const override { return Sigma_; }
  void draw(level_scores& level, arma::Col<arma::uword> const& x, arma::Col<arma::uword> const& own) override;
  arma::uword n_estimated() const override;
  arma::Col<double> variances() const override;

 private:
  arma::Mat<double> Sigma_, precision_;
  scan::covariance_step step_;
};

/// The elements of a symmetric matrix with row >= column, column by column.
arma::Col<double> lower_triangle(arma::Mat<double> const& S);

}  // namespace tovik::sem
