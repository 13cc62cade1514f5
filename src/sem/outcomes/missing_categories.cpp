#include "sem/outcomes/missing_categories.hpp"

#include <utility>

namespace tovik::sem {

missing_categories::missing_categories(arma::Col<arma::uword> units, unsigned level, outcome_scale& scale,
                                       const void* source)
    : missing_values(std::move(units), level, scale, source),
      values_(units_.n_elem),
      candidates_(units_.n_elem) {}

void missing_categories::draw(Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data) {
  if (!has_list()) {
    for (arma::uword k = 0; k < units_.n_elem; ++k) scale_.write(data, units_(k), candidates_[k]);
    refresh(data);
    return;
  }
  for (arma::uword k = 0; k < units_.n_elem; ++k) values_[k] = scale_.at(data, units_(k));
  metropolis_.accept(groups_, *this, 1, candidates_.data(), rng, tune, data, values_.data());
}

// The proposals come from the own equation.
void missing_categories::log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                                     double* out) {
  log_likelihood(data, groups, out);
}

}  // namespace tovik::sem
