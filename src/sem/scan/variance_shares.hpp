#pragma once

#include <armadillo>
#include <vector>

#include "sem/scan/design.hpp"

namespace tovik::sem::scan {

/// Column means and the covariance matrix (divisor n - 1) of a design. Computed once; with mutable columns
/// only what belongs to them is computed again.
class column_moments {
 public:
  /// `products`: X'X of the same design, or null. Elements are taken from it where the means are not so large
  /// that digits would cancel, and computed about the means elsewhere.
  void refresh(const columns& x, const arma::Mat<double>* products = nullptr);

  arma::Col<double> mean;
  arma::Mat<double> covariance;

 private:
  void update(const arma::Mat<double>& X, arma::uword j, const arma::Mat<double>* products);
  double about_means(const arma::Mat<double>& X, arma::uword j, arma::uword l);
  bool filled_ = false;
  arma::Col<double> spread_;  ///< root of each sum of squares about the mean, from the products
  arma::Col<double> centred_;
  arma::uword centred_column_ = 0;  ///< the column in centred_, plus 1
};

/// Variance of the fixed part: b'Cb over the coefficients from `first` on (1 skips an intercept).
double fixed_variance(const column_moments& x, const double* b, arma::uword first);

/// The variance that the random effects of one level add to an outcome, Var(z'u) = tr(Sigma E[zz']), in two
/// parts (Rights & Sterba, 2019, Psychological Methods 24, 309-338).
struct level_variance {
  /// With a random intercept: the variance of the cluster means at the average covariates,
  /// Sigma_00 + 2 m'Sigma_s0 + m'Sigma_ss m. Otherwise 0.
  double intercept = 0.0;
  /// With a random intercept tr(Sigma_ss C_ss); otherwise tr(Sigma C) + m'Sigma m, the whole variance.
  double slope = 0.0;
};

/// `z`: moments of the covariates, of which the first is the intercept's if `has_intercept`.
level_variance random_variance(const column_moments& z, const arma::Mat<double>& Sigma, bool has_intercept);

}  // namespace tovik::sem::scan
