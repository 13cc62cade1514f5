#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem::scan {

/// Element-wise Metropolis steps on a p x p covariance matrix Sigma of which some elements are known, given n
/// rows r_i ~ N(0, Sigma) through S = sum r_i r_i'. The target is
///
///   |Sigma|^(-n/2) exp(-tr(inv(Sigma) S) / 2) p(Sigma),
///
/// p the (improper) inverse Wishart density of prior code 1 (p + 1 degrees of freedom, scale D), 2 (-(p + 1),
/// 0) or 3 (0, 0): what a draw of the whole matrix by covariance_step has, restricted to the matrices that
/// have the known elements.
///
/// A candidate is drawn until it leaves Sigma positive definite, which makes the proposal a normal truncated
/// to an interval (l, h) that is the same from both ends; the ratio of its normalising constants enters the
/// acceptance. With Omega = inv(Sigma) a variance has l = Sigma_jj - 1 / Omega_jj, h infinite, and a
/// covariance the middle m = Sigma_ij - C_ij and half the width sqrt(C_ii C_jj), C the inverse of the 2 x 2
/// block of Omega: the conditional covariance matrix of i and j given the others. A proposal costs O(p^3),
/// whatever n.
class covariance_walk {
 public:
  /// Where the truncated normal proposals of an element live.
  struct interval {
    double lower = 0.0, upper = 0.0;
  };

  /// `S`: p x p. `scales`: the diagonal of D.
  void set_target(double n, const arma::Mat<double>& S, int prior, const arma::Col<double>& scales);
  /// Reads the current matrix. False when it is not positive definite.
  bool start(const arma::Mat<double>& Sigma);

  /// The variance of j alone. At most `most_draws` more candidates are drawn for one without a positive
  /// definite matrix; then the proposal counts as rejected.
  void draw_variance(arma::uword j, estimator::tune_obj& tune, Random& rng, unsigned most_draws);
  /// The same with all correlations of j as they are: its covariances go along. `n_free`: how many of these
  /// are elements of their own, whose volume the move changes.
  void draw_scale(arma::uword j, arma::uword n_free, estimator::tune_obj& tune, Random& rng,
                  unsigned most_draws);
  void draw_covariance(arma::uword i, arma::uword j, estimator::tune_obj& tune, Random& rng,
                       unsigned most_draws);

  /// The covariances of i and j that leave the matrix positive definite, all else as it is.
  interval admissible(arma::uword i, arma::uword j) const;
  /// log of the part of a normal around x that stands in the interval.
  static double log_mass(const interval& within, double x, double sd);
  /// Draws around x until a value is in the interval; false when `most_draws` more have not done.
  static bool propose(const interval& within, double x, double sd, Random& rng, unsigned most_draws,
                      double& candidate);

  /// Log target, up to a constant, and that of another matrix: minus infinity unless it is positive definite.
  double log_target() const { return current_; }
  double log_target(const arma::Mat<double>& Sigma);
  /// The part of the target that is the prior, at the current matrix.
  double log_prior() const;

  const arma::Mat<double>& Sigma() const { return Sigma_; }
  const arma::Mat<double>& precision() const { return Omega_; }

 private:
  bool factor(const arma::Mat<double>& Sigma);
  double prior_of(double log_det, const arma::Mat<double>& precision) const;
  void accept(double candidate_target);
  void decide(double log_ratio, double candidate_target, estimator::tune_obj& tune, Random& rng);

  double n_ = 0.0;
  int prior_ = 2;
  arma::Mat<double> S_;
  arma::Col<double> scales_;
  arma::Mat<double> Sigma_, Omega_;
  double log_det_ = 0.0, current_ = 0.0;
  arma::Mat<double> candidate_, factor_, candidate_inverse_;  ///< of the last evaluation
  double candidate_log_det_ = 0.0;
  arma::Col<double> column_;
};

}  // namespace tovik::sem::scan
