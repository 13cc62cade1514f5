#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "random/random.hpp"
#include "sem/autosolver/solution.hpp"
#include "sem/ensemble/factor_moves.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/solved_units.hpp"
#include "sem/scan/factor_density.hpp"

namespace tovik::sem {

/// Loadings and residual variances of the indicators of a factor, and its own variance, drawn with the scores
/// integrated out; the scores follow from their full conditional distribution, so that both together are one
/// step of a Gibbs sampler (Liu, 1994, JASA 89, 958-966). Given the scores, parameters move little where
/// these are known but vaguely: each score is drawn by the loadings, and each loading by the scores.
///
/// All else in the equations is held: with z_k the outcomes less that, and eta the factor's prediction, the
/// density is factor_density's. Loadings, logarithms of variances, and the common scale of the factor and its
/// loadings move one by one by slice sampling, whose cost does not depend on the number of units.
class collapsed_factor {
 public:
  using reader = factor_moves::reader;

  /// True for a factor with a solved distribution whose readers all are normal regressions of its own level
  /// with one residual variance. Not under the third prior of a variance, whose pole at 0 the density does
  /// not vanish at.
  static bool suits(const Normal& factor, const std::vector<reader>& readers);
  collapsed_factor(Normal& factor, const std::vector<reader>& readers);

  void draw(arma::Mat<double>& data, Random& rng);

 private:
  struct indicator {
    Normal* equation;
    arma::uword position;
    autosolver::solution how;
    bool loading_moves;
    double& loading() const { return equation->betas_(position); }
  };
  void read(const arma::Mat<double>& data);
  void write();
  double log_prior() const;
  double log_density() const { return density_.log_density() + log_prior(); }
  void move_loading(arma::uword k, Random& rng);
  void move_variance(double& variance, Random& rng);
  void move_scale(Random& rng);

  Normal* factor_;
  std::vector<indicator> indicators_;
  std::shared_ptr<solved_units> units_;
  scan::factor_density density_;
  arma::Mat<double> Z_, T_;
  arma::Col<double> scale_start_;
};

/// Of those of the factors that suit.
std::vector<collapsed_factor> collapsed_factors(const std::vector<plain_factor>& factors);

}  // namespace tovik::sem
