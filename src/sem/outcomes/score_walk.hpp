#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/outcomes/ordered_scores.hpp"
#include "sem/scan/row_scale.hpp"
#include "sem/scan/values/metropolis_values.hpp"
#include "sem/scan/values/value_groups.hpp"
#include "sem/scan/values/value_target.hpp"
#include "sem/wiring/likelihood.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem {

/// Metropolis steps on the latent scores of some units of an ordered outcome, for the product of all
/// equations that hold the scores or the categories.
class score_walk final : public scan::value_target {
 public:
  /// How a step treats the category of a unit.
  enum class category {
    kept,  ///< proposals stay within it
    free,  ///< it follows the score
  };

  score_walk(ordered_scores& scores, category how) : scores_(scores), how_(how) {}

  /// `list` outlives the object.
  void set_list(const estimator::likelihood& list, const arma::Col<arma::uword>& units, unsigned level);

  /// Sampling weights: the densities of units that move together then count by their mean weight in
  /// log_density(data). After set_list, for all units.
  void weigh(const arma::Col<double>& w);
  /// The weight by which each unit counts there; null without.
  const double* weights() const { return unit_weights_.empty() ? nullptr : unit_weights_.data(); }

  /// With c the value of `tune`: from y to y + c sd z, or to a draw of N(y, (c sd)^2) within the category.
  void draw(double sd, Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data);
  /// The sum of the list's densities over all that depends on the scores.
  double log_density(const arma::Mat<double>& data);

  void write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
             unsigned char* usable) override;
  void log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups, double* out) override;
  void log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                      double* out) override;

 private:
  double log_mass(arma::uword unit) const;

  ordered_scores& scores_;
  category how_;
  const estimator::likelihood* list_ = nullptr;
  scan::value_groups groups_;
  scan::metropolis_values metropolis_;
  double width_ = 1.0;  ///< standard deviation of the proposals of the step
  std::vector<double> current_, candidates_, densities_;
  std::vector<double> unit_weights_, group_weights_;
};

}  // namespace tovik::sem
