#include "sem/scan/values/slice_values.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/error.hpp"

namespace tovik::sem::scan {
namespace {
constexpr double whole_turn = 6.283185307179586;
}

void slice_values::start(const value_groups& groups, value_target& target, const row_scale& scale,
                         Random& rng, const arma::Mat<double>& data) {
  arma::uword const m = groups.n_values(), n = groups.n_groups();
  for (auto* v : {&nu_, &candidate_, &written_}) v->resize(m);
  for (auto* v : {&threshold_, &angle_, &low_, &high_, &density_}) v->resize(n);
  which_.resize(m);
  usable_.resize(m);
  open_.resize(n);
  inside_.resize(n);
  rng.fill_randn(nu_.data(), m);
  for (arma::uword k = 0; k < m; ++k) nu_[k] *= scale.sd(groups.units()(k));
  target.log_likelihood(data, groups.all_groups(), threshold_.data());
  for (double& t : threshold_) {
    const double log_u = std::log(rng.runif());
    // Any point that has a density is better than a state without one.
    t = std::isfinite(t) ? t + log_u : -std::numeric_limits<double>::max();
  }
  for (arma::uword g = 0; g < n; ++g) {
    angle_[g] = rng.runif() * whole_turn;
    low_[g] = angle_[g] - whole_turn;
    high_[g] = angle_[g];
    open_[g] = g;
  }
  n_open_ = n;
}

// The points of the ellipses of all open groups, into written_; how many.
arma::uword slice_values::propose(const value_groups& groups, const double* mean, const double* values) {
  arma::uword n = 0;
  for (arma::uword o = 0; o < n_open_; ++o) {
    arma::uword const g = open_[o];
    const double c = std::cos(angle_[g]), s = std::sin(angle_[g]);
    for (arma::uword at = groups.begin(g); at < groups.begin(g + 1); ++at) {
      arma::uword const k = groups.value_at(at);
      which_[n] = k;
      candidate_[k] = (values[k] - mean[k]) * c + nu_[k] * s + mean[k];
      written_[n++] = candidate_[k];
    }
  }
  return n;
}

void slice_values::keep_unfinished() {
  arma::uword left = 0;
  for (arma::uword o = 0; o < n_open_; ++o) {
    arma::uword const g = open_[o];
    if (!(inside_[g] != 0 && density_[o] >= threshold_[g])) open_[left++] = g;
  }
  n_open_ = left;
}

// The bracket of each open group moves up to the point that failed; angle 0, the current state, stays inside.
void slice_values::shrink(Random& rng) {
  for (arma::uword o = 0; o < n_open_; ++o) {
    arma::uword const g = open_[o];
    (angle_[g] < 0.0 ? low_ : high_)[g] = angle_[g];
    angle_[g] = rng.runif() * (high_[g] - low_[g]) + low_[g];
  }
}

void slice_values::draw(const value_groups& groups, value_target& target, const double* mean,
                        const row_scale& scale, Random& rng, unsigned max_passes, arma::Mat<double>& data,
                        double* values) {
  start(groups, target, scale, rng, data);
  for (unsigned passes = 1; n_open_ > 0; ++passes) {
    arma::uword const n = propose(groups, mean, values);
    std::fill_n(usable_.begin(), n, static_cast<unsigned char>(1));
    const arma::Col<arma::uword> which(which_.data(), n, false, true);
    target.write(data, which, written_.data(), usable_.data());
    for (arma::uword o = 0; o < n_open_; ++o) inside_[open_[o]] = 1;
    for (arma::uword j = 0; j < n; ++j)
      if (usable_[j] == 0) inside_[groups.group_of(which_[j])] = 0;
    const arma::Col<arma::uword> open(open_.data(), n_open_, false, true);
    target.log_likelihood(data, open, density_.data());
    keep_unfinished();
    if (n_open_ == 0) break;
    if (passes > max_passes) throw error_ess("");
    shrink(rng);
  }
  std::copy(candidate_.begin(), candidate_.end(), values);
}

}  // namespace tovik::sem::scan
