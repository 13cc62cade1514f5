#include "sem/scan/values/metropolis_values.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tovik::sem::scan {

bool accepts(double log_uniform, double old_density, double new_density) {
  if (!std::isfinite(old_density)) return std::isfinite(new_density);
  return log_uniform <= new_density - old_density;
}

// Whether a group moves is a coin toss, which no branch should depend on. 1 - 1 / u <= log u <= u - 1 decides
// most of them without a logarithm; the others are listed and decided after that.
void metropolis_values::decide(Random& rng, arma::uword n) {
  arma::uword left = 0;
  for (arma::uword g = 0; g < n; ++g) {
    const double u = rng.runif(), gain = new_density_[g] - old_density_[g];
    const bool finite = gain - gain == 0.0;
    const bool moves = u - 1.0 <= gain, stays = u - 1.0 > gain * u;
    accepted_[g] = static_cast<unsigned char>(moves);
    uniform_[left] = u;
    undecided_[left] = g;
    left += static_cast<arma::uword>(!finite | !(moves | stays));
  }
  for (arma::uword j = 0; j < left; ++j) {
    arma::uword const g = undecided_[j];
    accepted_[g] =
        static_cast<unsigned char>(accepts(std::log(uniform_[j]), old_density_[g], new_density_[g]));
  }
}

void metropolis_values::reserve(const value_groups& groups, unsigned dim) {
  back_.resize(groups.n_values() * dim);
  which_.resize(groups.n_values() + 1);
  usable_.resize(groups.n_values());
  old_density_.resize(groups.n_groups());
  new_density_.resize(groups.n_groups());
  accepted_.resize(groups.n_groups());
  uniform_.resize(groups.n_groups() + 1);
  undecided_.resize(groups.n_groups() + 1);
}

void metropolis_values::draw(const value_groups& groups, value_target& target, const row_scale& scale,
                             Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data,
                             double* values) {
  arma::uword const m = groups.n_values();
  candidate_.resize(m);
  rng.fill_randn(candidate_.data(), m);
  const double sd_of_all = scale.is_one() ? std::sqrt(scale.value()) : 0.0;
  for (arma::uword k = 0; k < m; ++k) {
    const double sd = scale.is_one() ? sd_of_all : scale.sd(groups.units()(k));
    candidate_[k] = values[k] + tune.value * sd * candidate_[k];
  }
  accept(groups, target, 1, candidate_.data(), rng, tune, data, values);
}

void metropolis_values::accept(const value_groups& groups, value_target& target, unsigned dim,
                               const double* candidates, Random& rng, estimator::tune_obj& tune,
                               arma::Mat<double>& data, double* values) {
  reserve(groups, dim);
  target.log_density(data, groups.all_groups(), old_density_.data());
  std::fill(usable_.begin(), usable_.end(), static_cast<unsigned char>(1));
  target.write(data, groups.all_values(), candidates, usable_.data());
  target.log_density(data, groups.all_groups(), new_density_.data());
  for (arma::uword k = 0; k < groups.n_values(); ++k)
    if (usable_[k] == 0) new_density_[groups.group_of(k)] = -std::numeric_limits<double>::infinity();
  decide(rng, groups.n_groups());
  for (arma::uword g = 0; g < groups.n_groups(); ++g) tune.accepted += accepted_[g];
  tune.total += groups.n_groups();
  take_back(groups, target, dim, candidates, data, values);
}

// Accepted candidates become the values; the others leave the data.
void metropolis_values::take_back(const value_groups& groups, value_target& target, unsigned dim,
                                  const double* candidates, arma::Mat<double>& data, double* values) {
  arma::uword n = 0;
  arma::uword const m = groups.n_values();
  for (arma::uword k = 0; k < m; ++k) {  // without a branch: acceptance is a coin toss
    which_[n] = k;
    n += accepted_[groups.group_of(k)] == 0 ? 1 : 0;
  }
  for (unsigned c = 0; c < dim; ++c) {
    for (arma::uword j = 0; j < n; ++j) back_[c * n + j] = values[c * m + which_[j]];
    for (arma::uword k = 0; k < m; ++k) {
      const double* from = accepted_[groups.group_of(k)] != 0 ? candidates : values;
      values[c * m + k] = from[c * m + k];
    }
  }
  if (n == 0) return;
  const arma::Col<arma::uword> which(which_.data(), n, false, true);
  target.write(data, which, back_.data(), usable_.data());
}

}  // namespace tovik::sem::scan
