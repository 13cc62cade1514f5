#include "sem/scan/metropolis_values.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tovik::sem::scan {

bool accepts(double log_uniform, double old_density, double new_density) {
  if (!std::isfinite(old_density)) return std::isfinite(new_density);
  return log_uniform <= new_density - old_density;
}

void metropolis_values::reserve(value_groups const& groups) {
  candidate_.resize(groups.n_values());
  back_.resize(groups.n_values());
  which_.resize(groups.n_values());
  usable_.resize(groups.n_values());
  old_density_.resize(groups.n_groups());
  new_density_.resize(groups.n_groups());
  accepted_.resize(groups.n_groups());
}

void metropolis_values::draw(value_groups const& groups, value_target& target, row_scale const& scale,
                             Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data,
                             double* values) {
  reserve(groups);
  arma::uword const m = groups.n_values();
  rng.fill_randn(candidate_.data(), m);
  double const sd_of_all = scale.is_one() ? std::sqrt(scale.value()) : 0.0;
  for (arma::uword k = 0; k < m; ++k) {
    double const sd = scale.is_one() ? sd_of_all : std::sqrt(scale.variance(groups.units()(k)));
    candidate_[k] = values[k] + tune.value * sd * candidate_[k];
  }
  target.log_density(data, groups.all_groups(), old_density_.data());
  std::fill(usable_.begin(), usable_.end(), static_cast<unsigned char>(1));
  target.write(data, groups.all_values(), candidate_.data(), usable_.data());
  target.log_density(data, groups.all_groups(), new_density_.data());
  for (arma::uword k = 0; k < m; ++k)
    if (usable_[k] == 0) new_density_[groups.group_of(k)] = -std::numeric_limits<double>::infinity();
  for (arma::uword g = 0; g < groups.n_groups(); ++g) {
    double const limit = std::log(rng.runif());
    accepted_[g] = accepts(limit, old_density_[g], new_density_[g]) ? 1 : 0;
    tune.accepted += accepted_[g];
  }
  tune.total += groups.n_groups();
  take_back(groups, target, data, values);
}

// Accepted candidates become the values; the others leave the data.
void metropolis_values::take_back(value_groups const& groups, value_target& target, arma::Mat<double>& data,
                                  double* values) {
  arma::uword n = 0;
  for (arma::uword k = 0; k < groups.n_values(); ++k) {
    if (accepted_[groups.group_of(k)] != 0) {
      values[k] = candidate_[k];
    } else {
      which_[n] = k;
      back_[n++] = values[k];
    }
  }
  if (n == 0) return;
  arma::Col<arma::uword> const which(which_.data(), n, false, true);
  target.write(data, which, back_.data(), usable_.data());
}

}  // namespace tovik::sem::scan
