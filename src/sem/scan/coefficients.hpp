#pragma once

#include <armadillo>

#include "random/random.hpp"

namespace tovik::sem::scan {

/// The coefficients of an equation under a flat prior, given everything else:
///
///   b_F | ... ~ N(m, v inv(G_FF)),   m = inv(G_FF) h,
///
/// with F the coefficients that are drawn, G = X'X, h = F'(y - fixed part - random effects) and v the
/// residual variance (G and h weighted by precisions and v = 1 when units differ in variance).
class coefficient_step {
 public:
  coefficient_step() = default;
  /// `free`: positions of the coefficients that are drawn; `fixed`: all others.
  coefficient_step(arma::Col<arma::uword> free, arma::Col<arma::uword> fixed);

  /// Factors G_FF for the draws to come. `n`: units behind G. Throws std::runtime_error "inv(): matrix is
  /// singular" when a column is a linear combination of the others to working precision.
  void factor(arma::Mat<double> const& G, arma::uword n);

  /// `h`: one entry per coefficient of the equation, of which those of F are read; the part of the fixed
  /// coefficients, G_F,fixed b_fixed, is taken off here. Draws randn(1, k) for the k coefficients of F and
  /// writes them into `b`, whose other entries are read only. Does nothing for k = 0.
  void draw(arma::Mat<double> const& G, double const* h, double v, Random& rng, double* b);

  /// Writes the mean m instead of a draw.
  void mean(arma::Mat<double> const& G, double const* h, double* b);

  arma::uword n_free() const { return free_.n_elem; }
  arma::Col<arma::uword> const& free() const { return free_; }

 private:
  void load(arma::Mat<double> const& G, double const* h, double const* b);
  void store(double* b);

  arma::Col<arma::uword> free_, fixed_;
  arma::Mat<double> T_;  ///< G_FF = T T', T upper triangular
  arma::Col<double> work_, z_;
};

}  // namespace tovik::sem::scan
