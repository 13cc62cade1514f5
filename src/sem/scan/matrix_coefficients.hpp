#pragma once

#include <armadillo>

#include "random/random.hpp"
#include "sem/scan/coefficients.hpp"
#include "sem/scan/symmetric_eigen.hpp"

namespace tovik::sem::scan {

/// The coefficients of the regression of several columns Y on the same predictors X, Y = X B + E, where the
/// rows of E are N(0, Sigma), given Sigma and one prior for every element of B.
///
/// With U the eigenvectors of Sigma and s its eigenvalues, the columns of Y U are independent given X, with
/// variances s, and those of B U have the prior of B. So column k of B U is drawn as the coefficients of an
/// equation of its own with residual variance s_k. That takes a prior that is the same for all elements and
/// centred at 0.
class matrix_coefficient_step {
 public:
  matrix_coefficient_step() = default;
  matrix_coefficient_step(arma::uword n_predictors, const coefficient_prior& prior);

  /// `G`: X'X, `H`: X'Y, `n`: the rows behind them. `H` is work space. Overwrites B (predictors x columns).
  /// Throws as coefficient_step does.
  void draw(const arma::Mat<double>& G, arma::Mat<double>& H, arma::uword n, const arma::Mat<double>& Sigma,
            Random& rng, arma::Mat<double>& B);

 private:
  coefficient_step step_;
  symmetric_eigen eigen_;
  arma::Mat<double> rotated_;
};

}  // namespace tovik::sem::scan
