#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/outcomes/missing_values.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem {

/// The missing values of an outcome that can be drawn from its own equation at once, as a category can. When
/// other equations read the outcome such a draw is the proposal of an independence Metropolis step (Tierney,
/// 1994, Annals of Statistics 22, 1701-1728): the density in the own equation stands in the target and in
/// the proposal, so that the ratio is what the other equations say.
class missing_categories final : public missing_values {
 public:
  missing_categories(arma::Col<arma::uword> units, unsigned level, outcome_scale& scale, const void* source);

  const arma::Col<arma::uword>& units() const { return units_; }
  /// Room for one value per unit: draws from the outcome's own equation, for the step to take.
  std::vector<double>& candidates() { return candidates_; }
  /// Makes the candidates the values of the data or, with a list, accepts them by its ratio, group by group:
  /// a uniform for each, counted in `tune`.
  void draw(Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data);

  void log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups, double* out) override;

 private:
  std::vector<double> values_, candidates_;
};

}  // namespace tovik::sem
