#include "sem/outcomes/missing_outcomes.hpp"

#include <cmath>
#include <cstdint>
#include <utility>

namespace tovik::sem {
namespace {

/// One draw of a value; `z`: a standard normal, for a range without bounds.
double draw_within(const value_range& range, double mean, double sd, double z, Random& rng) {
  if (std::isfinite(range.lower) && std::isfinite(range.upper))
    return rng.trNorm(mean, range.lower, range.upper, sd);
  if (std::isfinite(range.lower)) return rng.trNorm(mean, range.lower, sd, false);
  if (std::isfinite(range.upper)) return rng.trNorm(mean, range.upper, sd, true);
  return mean + sd * z;
}

}  // namespace

missing_outcomes::missing_outcomes(arma::Col<arma::uword> units, unsigned level, outcome_scale& scale,
                                   const void* source)
    : missing_values(std::move(units), level, scale, source),
      values_(units_.n_elem),
      mean_(units_.n_elem),
      sd_(units_.n_elem),
      z_(units_.n_elem) {
  outside_.reserve(units_.n_elem);
}

void missing_outcomes::read_state(const scan::equation_scan& equation) {
  for (arma::uword k = 0; k < units_.n_elem; ++k) {
    values_[k] = equation.y()(units_(k));
    mean_[k] = values_[k] - equation.r()(units_(k));
  }
}

void missing_outcomes::draw_predictive(scan::equation_scan& equation, const scan::row_scale& scale,
                                       Random& rng, arma::Mat<double>& data) {
  if (scale_.has_transform()) {
    read_state(equation);
    for (arma::uword k = 0; k < units_.n_elem; ++k) sd_[k] = scale.sd(units_(k));
    redraw(rng, data);
    equation.replace_values(units_, values_.data());
  } else {
    equation.draw_missing(units_, scale, rng);
    for (arma::uword i : units_) scale_.write(data, i, equation.y()(i));
  }
  refresh(data);
}

void missing_outcomes::draw_solved(const autosolver::solver<autosolver::normal>& solver,
                                   arma::Mat<double>& data) {
  const autosolver::normal& given_all = solver.fold(data);
  const bool of_all = solver.units == nullptr;
  for (arma::uword k = 0; k < units_.n_elem; ++k) {
    arma::uword const at = of_all ? units_(k) : k;
    mean_[k] = given_all.mean(at);
    sd_[k] = std::sqrt(given_all.variance(at));
  }
  redraw(*solver.rng, data);
  refresh(data);
}

void missing_outcomes::draw_solved(scan::equation_scan& equation,
                                   const autosolver::solver<autosolver::normal>& solver,
                                   arma::Mat<double>& data) {
  read_state(equation);
  draw_solved(solver, data);
  equation.replace_values(units_, values_.data());
}

// One draw for each value in order; those that leave the range of the outcome's scale once more, up to a
// limit, beyond which the old value stays. Both the truncated draw and staying leave the truncated normal
// invariant, and so does the choice between them, which does not look at the old value.
void missing_outcomes::redraw(Random& rng, arma::Mat<double>& data) {
  if (!scale_.has_transform()) {
    rng.fill_randn(z_.data(), z_.size());
    for (arma::uword k = 0; k < units_.n_elem; ++k) {
      values_[k] = mean_[k] + sd_[k] * z_[k];
      scale_.write(data, units_(k), values_[k]);
    }
    return;
  }
  outside_.resize(units_.n_elem);
  for (arma::uword k = 0; k < units_.n_elem; ++k) outside_[k] = k;
  const value_range range = scale_.range();
  for (std::uint32_t attempt = 0; attempt < Random::trunc_norm_max_niter && !outside_.empty(); ++attempt) {
    if (!range.is_bounded()) rng.fill_randn(z_.data(), outside_.size());
    std::size_t left = 0;
    for (std::size_t j = 0; j < outside_.size(); ++j) {
      arma::uword const k = outside_[j];
      const double candidate = draw_within(range, mean_[k], sd_[k], z_[j], rng);
      if (scale_.write(data, units_(k), candidate))
        values_[k] = candidate;
      else
        outside_[left++] = k;
    }
    outside_.resize(left);
  }
}

void missing_outcomes::draw_metropolis(scan::equation_scan& equation, const scan::row_scale& scale,
                                       Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data) {
  read_state(equation);
  metropolis_.draw(groups_, *this, scale, rng, tune, data, values_.data());
  equation.replace_values(units_, values_.data());
}

void missing_outcomes::draw_slice(scan::equation_scan& equation, const scan::row_scale& scale, Random& rng,
                                  unsigned max_passes, arma::Mat<double>& data) {
  read_state(equation);
  slice_.draw(groups_, *this, mean_.data(), scale, rng, max_passes, data, values_.data());
  equation.replace_values(units_, values_.data());
}

void missing_outcomes::log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                                   double* out) {
  density(data, groups, nullptr, out);
}

}  // namespace tovik::sem
