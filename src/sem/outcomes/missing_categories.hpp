#pragma once

#include <armadillo>
#include <functional>
#include <memory>
#include <vector>

#include "random/random.hpp"
#include "sem/outcomes/outcome_scale.hpp"
#include "sem/scan/values/metropolis_values.hpp"
#include "sem/scan/values/value_groups.hpp"
#include "sem/scan/values/value_target.hpp"
#include "sem/wiring/likelihood.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem {

/// The missing values of an outcome that can be drawn from its own equation at once, as a category can. When
/// other equations read the outcome such a draw is the proposal of an independence Metropolis step (Tierney,
/// 1994, Annals of Statistics 22, 1701-1728): the density in the own equation stands in the target and in
/// the proposal, so that the ratio is what the other equations say.
class missing_categories final : public scan::value_target {
 public:
  /// `units`: those without an observed value, rising. `source`: what the outcome's own contribution to its
  /// likelihood list stands for.
  missing_categories(arma::Col<arma::uword> units, unsigned level, outcome_scale& scale, const void* source);

  /// The contributions of the outcome's own equation and of all that read it; null for none.
  void set_list(std::unique_ptr<estimator::likelihood> list);
  bool has_list() const { return list_ != nullptr; }
  /// Called with the data after values were written: refreshes what follows from the column.
  void set_refresh(std::function<void(arma::Mat<double>&)> refresh) { refresh_ = std::move(refresh); }

  const arma::Col<arma::uword>& units() const { return units_; }
  /// Room for one value per unit: draws from the outcome's own equation, for the step to take.
  std::vector<double>& candidates() { return candidates_; }
  /// Makes the candidates the values of the data or, with a list, accepts them by its ratio, group by group:
  /// a uniform for each, counted in `tune`.
  void draw(Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data);

  void write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
             unsigned char* usable) override;
  void log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups, double* out) override;
  void log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                      double* out) override;

 private:
  arma::Col<arma::uword> units_;
  unsigned level_;
  outcome_scale& scale_;
  const void* source_;
  std::unique_ptr<estimator::likelihood> list_;
  std::function<void(arma::Mat<double>&)> refresh_;
  scan::value_groups groups_;
  scan::metropolis_values metropolis_;
  std::vector<double> values_, candidates_;
};

}  // namespace tovik::sem
