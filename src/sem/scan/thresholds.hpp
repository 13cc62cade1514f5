#pragma once

#include <armadillo>
#include <limits>
#include <vector>

#include "random/random.hpp"
#include "sem/scan/threshold_newton.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem::scan {

/// The thresholds 0 = tau_0 < ... < tau_{K-1} that cut a latent normal score into K + 1 ordered categories:
/// category 0 up to tau_0, k in (tau_{k-1}, tau_k], K above tau_{K-1}. Scores have a mean and a standard
/// deviation each, which is 1 unless it is given.
class thresholds {
 public:
  arma::Col<double> tau;
  estimator::tune_obj tuning;  ///< squared proposal scale times the number of units
  /// How often each unit's log mass counts in the densities of the thresholds; null for once.
  const double* weights = nullptr;

  thresholds() = default;
  /// Starts at the normal quantiles of the cumulative shares less the first; `counts`: units per category, at
  /// least two categories, else error_debug.
  explicit thresholds(const arma::Col<arma::uword>& counts);

  arma::uword n_categories() const { return tau.n_elem + 1; }
  /// Throws error_debug for NaN.
  arma::uword categorize(double score) const;

  /// One Metropolis step given the categories, the scores integrated out (Cowles, 1996, Statistics and
  /// Computing 6, 101-111). `members`: per category, its units; `mean` and `sd`: of each unit's score, the
  /// latter null for 1; `n`: units that scale the proposal. True if the thresholds moved; nothing happens,
  /// and it is false, for K = 1. `here`: the log likelihood at tau if it is known (see log_likelihood).
  /// Beside leaps, which move further for the same work, it rests at every other call.
  bool move(const std::vector<arma::Col<arma::uword>>& members, const double* mean, arma::uword n,
            Random& rng, const double* sd = nullptr, double here = std::numeric_limits<double>::quiet_NaN());
  /// The same step for any density of the thresholds: gain(t) is the log of its ratio at t to where they are.
  template <class Gain>
  bool move(arma::uword n, Random& rng, const Gain& gain) {
    if (tau.n_elem < 2) return false;
    const double s = proposal_scale(n);
    const arma::Col<double> t = propose(s, rng);
    double ratio = log_proposal_ratio(t, s);
    if (ratio > -std::numeric_limits<double>::infinity()) ratio += gain(t);
    return decide(t, ratio, rng);
  }
  /// The same distribution by proposals from a normal approximation (see threshold_newton), whose state is
  /// `newton`; nothing for K = 1, unless a location moves, and where the sampler's settings turn it off.
  bool leap(const std::vector<arma::Col<arma::uword>>& members, const double* mean, Random& rng,
            const double* sd = nullptr, free_location* location = nullptr);
  threshold_newton newton;

  /// Draws the members' scores around `mean` within their categories: the first category, the last, then
  /// those between.
  void draw(const std::vector<arma::Col<arma::uword>>& members, const double* mean, double* scores,
            Random& rng, const double* sd = nullptr) const;
  /// One score of category k.
  double draw(arma::uword k, double mean, Random& rng, double sd = 1.0) const;

  /// Adapts the proposals of `move`; nothing for K = 1.
  void adapt();

 private:
  bool rests_ = false;

  double proposal_scale(arma::uword n) const;
  bool decide(const arma::Col<double>& t, double log_ratio, Random& rng);
  arma::Col<double> propose(double s, Random& rng) const;
  double log_proposal_ratio(const arma::Col<double>& t, double s) const;
  /// Of the units above the first category, whose bound does not move.
  double log_likelihood(const arma::Col<double>& t, const std::vector<arma::Col<arma::uword>>& members,
                        const double* mean, const double* sd) const;
  double log_likelihood_ratio(const arma::Col<double>& t, const std::vector<arma::Col<arma::uword>>& members,
                              const double* mean, const double* sd) const;
};

/// Phi(b) - Phi(a) for a <= b, from the tails that keep their digits.
double interval_mass(double a, double b);
/// log(Phi(b) - Phi(a)) for a <= b, accurate in both tails; minus infinity when it is 0.
double log_interval(double a, double b);

/// Each element of z is the mean on entry and a draw of N(mean, 1) on return: below `bound` if `upper`, else
/// above it.
void drawTail(arma::Col<double>& z, double bound, bool upper, Random& rng);
/// The same between two bounds.
void drawMid(arma::Col<double>& z, double lower, double upper, Random& rng);

}  // namespace tovik::sem::scan
