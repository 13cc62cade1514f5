#pragma once

#include <armadillo>
#include <functional>
#include <memory>

#include "sem/outcomes/outcome_scale.hpp"
#include "sem/scan/values/metropolis_values.hpp"
#include "sem/scan/values/value_groups.hpp"
#include "sem/scan/values/value_target.hpp"
#include "sem/wiring/likelihood.hpp"

namespace tovik::sem {

/// The missing values of an outcome, on its scale, and what other equations say of them. How they are drawn
/// is said by missing_outcomes and missing_categories.
class missing_values : public scan::value_target {
 public:
  /// `units`: those without an observed value, rising. `source`: what the outcome's own contribution to its
  /// likelihood list stands for.
  missing_values(arma::Col<arma::uword> units, unsigned level, outcome_scale& scale, const void* source);

  /// The contributions of the outcome's own equation and of all that read it; null for none.
  void set_list(std::unique_ptr<estimator::likelihood> list);
  bool has_list() const { return list_ != nullptr; }
  /// Called with the data after values were written: refreshes what follows from the column.
  void set_refresh(std::function<void(arma::Mat<double>&)> refresh) { refresh_ = std::move(refresh); }

  void write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
             unsigned char* usable) override;
  void log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                      double* out) override;

 protected:
  void refresh(arma::Mat<double>& data) const {
    if (refresh_) refresh_(data);
  }
  /// The list's contributions but for that of `without`; null for all.
  void density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups, const void* without,
               double* out) const {
    groups_.density(*list_, without, data, groups, out);
  }

  arma::Col<arma::uword> units_;
  outcome_scale& scale_;
  scan::value_groups groups_;
  scan::metropolis_values metropolis_;

 private:
  unsigned level_;
  const void* source_;
  std::unique_ptr<estimator::likelihood> list_;
  std::function<void(arma::Mat<double>&)> refresh_;
};

}  // namespace tovik::sem
