#pragma once

#include <armadillo>
#include <vector>

#include "sem/scan/coefficients.hpp"
#include "sem/scan/cross_products.hpp"
#include "sem/scan/integrated_effects.hpp"

namespace tovik::sem::scan {

/// The sufficient statistics of an equation whose design and outcome never change, with random effects at one
/// level at most: a scan then costs as much as there are clusters, whatever the number of units.
///
/// Everything is held relative to a base b0, the least squares fit or one that a prior draws to itself: with
/// e = y - X b0 and d = b - b0,
///   X'(y - Xb0 - Zu) = X'e - sum_c X_c'Z_c u_c,
///   Z_c'(y - Xb)     = Z_c'e - Z_c'X_c d =: t_c,
///   |y - Xb - Zu|^2  = e'e - 2 d'X'e + d'X'X d - 2 sum_c u_c't_c + sum_c u_c'Z_c'Z_c u_c.
/// The base keeps the terms of the last sum at the size of residuals, so that the differences lose no digits
/// to the mean of the outcome.
class static_products {
 public:
  /// `clusters`: those of the effects, or null; `z` (units x q) and `A` may be null together. `b`:
  /// coefficients, of which the fixed ones are part of the base. `step` has its factor; `v`: a residual
  /// variance, by which a prior weighs in the base.
  void build(const arma::Mat<double>& X, const gram& G, coefficient_step& step, const arma::Col<double>& y,
             double v, const double* b, const arma::Mat<double>* z, const estimator::selector* clusters,
             const cluster_products* A);

  bool built() const { return built_; }

  /// Draws the coefficients given the effects (null without) and the residual variance v.
  void draw_coefficients(coefficient_step& step, double v, const arma::Mat<double>* u, Random& rng,
                         double* b);
  /// The same with the effects integrated out; `w`: the residual precision, `K`: that of the effects. False
  /// where integrated_step cannot.
  bool draw_integrated(integrated_step& step, double w, const arma::Mat<double>& K, arma::uword n_units,
                       Random& rng, double* b);
  /// Takes b as given.
  void condition_on(const double* b);
  /// t: clusters x q, at the coefficients last drawn or conditioned on.
  const arma::Mat<double>& effect_sums();
  /// |y - Xb - Zu|^2. NaN when more than nine digits cancelled: the caller then passes over the units.
  double sum_of_squares(const arma::Mat<double>* u) const;

 private:
  const gram* G_ = nullptr;
  const cluster_products* A_ = nullptr;
  arma::Col<double> base_, shift_;    ///< b0; d
  arma::Col<double> xe_, h_;          ///< X'e; X'(e - Zu)
  double ee_ = 0.0;                   ///< e'e
  std::vector<arma::Mat<double>> P_;  ///< per effect j, clusters x coefficients: sums of z_j x_l
  arma::Mat<double> ze_, t_;          ///< clusters x q: Z'e; t
  bool built_ = false;
};

}  // namespace tovik::sem::scan
