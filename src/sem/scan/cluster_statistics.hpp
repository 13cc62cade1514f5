#pragma once

#include <armadillo>
#include <vector>

#include "sem/wiring/cluster.hpp"

namespace tovik::sem::scan {

/// Log likelihoods of an equation whose design and outcome never change, from sums within the clusters of the
/// lowest level: without a pass over the units.
///
/// As in static_products everything is held relative to a base b0: with e = y - X b0, d = b - b0 and, for a
/// lowest cluster c, w_c the effects of all levels side by side,
///   s_c = |y - Xb|^2      = e'e - 2 d'X'e + d'X'X d,
///   t_c = Z'(y - Xb)      = Z'e - Z'X d,
///   |y - Xb - Z w_c|^2    = s_c - 2 w_c't_c + w_c'Z'Z w_c.
class cluster_statistics {
 public:
  /// `y`: units x 1; `X`: units x k; `z`: per level units x q (q may be 0), one or two levels. `structure`
  /// must outlive the object. Keeps nothing (see built()) when the sums would take more room than the design.
  void build(const arma::Mat<double>& X, const arma::Col<double>& y, const arma::Col<double>& base,
             const std::vector<const arma::Mat<double>*>& z, const estimator::cluster& structure);
  bool built() const { return built_; }

  /// Per cluster of the `above`-th level (1 or 2), the sum over its units of log N(y; Xb + Zu, v). False,
  /// with `out` undefined, when rounding could show in it.
  bool conditional(const double* b, const std::vector<arma::Mat<double>>& u, double v, unsigned above,
                   arma::Col<double>& out);
  /// Per cluster of the highest level with effects, the log density with all effects integrated out (see
  /// marginal_log_likelihood). False as above. Throws numeric_error "chol(): decomposition failed" when
  /// a Sigma is not positive definite.
  bool marginal(const double* b, const std::vector<arma::Mat<double>>& Sigma, double v,
                arma::Col<double>& out);

 private:
  bool update(const double* b, double v);
  double subtract_effects(const std::vector<arma::Mat<double>>& u, arma::Col<double>& squares);
  void sum_to_top(const arma::Col<double>& lower, arma::Col<double>& out) const;
  void marginal_of_one(const arma::Mat<double>& Sigma, double v, arma::Col<double>& out) const;
  void marginal_of_two(const std::vector<arma::Mat<double>>& Sigma, double v, arma::Col<double>& out) const;

  bool built_ = false;
  bool current_ = false;          ///< squares_, t_ belong to shift_
  double size_ = 0.0;             ///< the largest number of which squares_ is a difference
  std::vector<arma::uword> q_;    ///< effects per level
  std::vector<unsigned> counts_;  ///< units of each lowest cluster
  std::vector<arma::uword> top_;  ///< with two levels, the higher cluster of each lowest one
  arma::uword n_top_ = 0;
  arma::Col<double> base_, shift_, pairs_;
  arma::Mat<double> XX_, Xe_;  ///< X'X (packed, off-diagonal elements doubled), X'e: a row per cluster
  arma::Col<double> ee_, squares_;
  std::vector<arma::Mat<double>> ZX_;  ///< per effect, clusters x k
  arma::Mat<double> Ze_, t_, A_;       ///< A: Z'Z, packed
  arma::Mat<double> effects_;          ///< work: clusters x all effects
  arma::Col<double> lower_;
};

}  // namespace tovik::sem::scan
