#pragma once

#include <armadillo>

#include "random/random.hpp"

namespace tovik::sem::scan {

/// A residual variance for each cluster c, and the distribution that they share:
///
///   1 / v_c ~ Gamma(shape nu, rate nu s0),   nu = 1 / t,   flat on s0 and on t.
///
/// So s0 is the reciprocal of the mean precision, and t the squared coefficient of variation of precisions.
/// Conditionals, with w_c = 1 / v_c, W = sum w, L = sum log w over the J clusters:
///
///   v_c | ... ~ InverseGamma(n_c / 2 + nu, SS_c / 2 + nu s0),
///   s0  | ... ~ Gamma(shape J nu + 1, rate nu W),
///   log p(nu | ...) = J (nu log(nu s0) - lgamma(nu)) + nu (L - s0 W) - 2 log nu + const,
///
/// the last by an independence Metropolis step from a gamma that has its mode and curvature there (Miller,
/// 2019, Journal of Computational and Graphical Statistics 28, 476-480). The posterior of t has a tail of
/// t^-(J - 1), so that with fewer than three clusters that tell of it t stays where it starts.
class cluster_variances {
 public:
  arma::Col<double> v;  ///< by cluster
  double s0 = 1.0;
  double t = 2.0;

  cluster_variances() = default;
  cluster_variances(arma::uword n_clusters, double start);
  /// `n_telling`: how many of the clusters have values that are observed.
  cluster_variances(arma::uword n_clusters, double start, arma::uword n_telling);

  /// One update of all v in cluster order, then s0, then t. `n` and `ss`: residuals of each cluster, and the
  /// sum of their squares; both may be 0. Variances do not fall below `floor`.
  void draw(const arma::Col<double>& n, const arma::Col<double>& ss, Random& rng, double floor = 0.0);

  /// A draw of v_c from its conditional.
  double propose(double n, double ss, Random& rng) const;
  /// s0, then t, at the current v.
  void draw_common(Random& rng);

  /// What the values of the clusters say of their variances: the sum over c of
  ///
  ///   -n_c / 2 log v_c - square_c / (2 v_c) + product_c / sqrt(v_c),
  ///
  /// the last for values with means in units of their standard deviations.
  struct sums {
    arma::Col<double> n, square, product;
  };
  /// All v and s0 times a common factor, from the density of this factor: where clusters are alike, so that
  /// all v_c stand next to s0, the draws of one given the other hardly move (Liu & Sabatti, 2000, Biometrika
  /// 87, 353-369).
  void rescale(const sums& of, Random& rng);
  /// All log(v_c / s0) times a common factor g, and t times g^2, from the density of g: the same for t. Not
  /// where t stays.
  void respread(const sums& of, Random& rng);

  /// t is drawn.
  bool spread_moves() const { return n_telling_ >= 3; }
  double mean() const { return arma::mean(v); }

 private:
  void draw_shape(double W, double L, Random& rng);

  arma::uword n_telling_ = 0;
};

}  // namespace tovik::sem::scan
