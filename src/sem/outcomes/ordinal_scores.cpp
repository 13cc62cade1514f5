// What a scan of an ordinal outcome begins with: thresholds, propensities, missing categories.

#include <algorithm>
#include <cmath>
#include <limits>

#include "random/random.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "support/error.hpp"

namespace tovik::sem {

/// Mean and standard deviation of every Y*, other than which it has no part in the step: those of the solved
/// distribution, or of the equation.
void Ordinal::read_distribution(const arma::Mat<double>& data) {
  if (solver_ != nullptr) {
    const autosolver::normal& solved = solver_->fold(data);
    mean_.set_size(n_units);
    sd_.set_size(n_units);
    for (arma::uword i = 0; i < n_units; ++i) {
      mean_[i] = solved.mean[i];
      sd_[i] = std::sqrt(solved.variance[i]);
    }
    return;
  }
  predictor(data, mean_);
  if (const arma::Col<double>* others = read_others(data)) mean_ += *others;
  read_variances(data, nullptr, 0);
  const scan::row_scale v = variances();
  sd_.set_size(v.is_one() && v.value() == 1.0 ? 0 : n_units);
  for (arma::uword i = 0; i < sd_.n_elem; ++i) sd_[i] = v.sd(i);
}

void Ordinal::draw_auxiliary(arma::Mat<double>& data) {
  if (walks()) {
    move_with_scores(data);
    drawLatentMH_Cmp(data);
  } else {
    draw_with_thresholds(data);
  }
  if (!missing) return;
  if (walks_missing())
    drawLatentMH_Mis(data);
  else if (solver_ != nullptr)
    drawLatentAuto_Mis(data);
  else
    draw_free(data);
}

/// The intercept goes along with the thresholds where it is drawn here and the scores have the equation's own
/// distribution.
bool Ordinal::leap() {
  const auto& terms = equation().terms();
  const auto& members = propensity.sets.all();
  if (solver_ != nullptr || sampling() != nullptr || !has_intercept || !arma::any(free == 0))
    return propensity.cuts.leap(members, mean_.memptr(), *rng, sd());
  const double before = betas_(0);
  scan::free_location location{before, terms.prior.precision(0), terms.prior.mean(0)};
  if (!propensity.cuts.leap(members, mean_.memptr(), *rng, sd(), &location)) return false;
  betas_(0) = location.intercept;
  mean_ += location.intercept - before;
  return true;
}

/// Thresholds with the scores integrated out, then the scores: both move or neither.
void Ordinal::draw_with_thresholds(arma::Mat<double>& data) {
  read_distribution(data);
  const bool leapt = leap();
  const bool walked = propensity.cuts.move(propensity.sets.all(), mean_.memptr(), n_units, *rng, sd(),
                                           propensity.cuts.newton.log_likelihood);
  const bool moved = leapt || walked;
  if (!moved && tau().n_elem > 1) return;
  if (solver_ != nullptr)
    drawLatentAuto_Cmp(data);
  else
    drawLatent(mean_);
  // The categories of units without one were given, too.
  if (moved && missing && walks_missing())
    propensity.draw_within(propensity.sets.imputed(), mean_.memptr(), sd(), *rng);
  propensity.write_all(data);
}

/// Thresholds and all scores in one move. Where the densities give no number the move is rejected.
void Ordinal::move_with_scores(arma::Mat<double>& data) {
  bool proposed = false;
  kept_.set_size(n_units);
  std::copy_n(propensity.values.memptr(), n_units, kept_.memptr());
  const bool moved = propensity.cuts.move(n_units, *rng, [&](const arma::Col<double>& t) {
    const double before = walk_all_.log_density(data);
    const double jacobian = propensity.stretch(t, walk_all_.weights());
    propensity.write_all(data);
    propensity.refresh(data);
    proposed = true;
    const double gain = walk_all_.log_density(data) - before + jacobian;
    return std::isnan(gain) ? -std::numeric_limits<double>::infinity() : gain;
  });
  if (moved || !proposed) return;
  std::copy_n(kept_.memptr(), n_units, propensity.values.memptr());
  propensity.write_all(data);
  propensity.refresh(data);
}

// Each from its distribution; the category follows.
void Ordinal::draw_free(arma::Mat<double>& data) {
  for (arma::uword i : missing_rows) {
    propensity.write(data, i, mean_(i) + (sd() == nullptr ? 1.0 : sd_(i)) * rng->rnorm());
    propensity.impute(data, i);
  }
  propensity.refresh(data);
}

void Ordinal::drawLatent(const arma::Col<double>& mu) {
  propensity.draw_within(propensity.sets.observed(), mu.memptr(), sd(), *rng);
}

void Ordinal::drawLatentAuto_Cmp(arma::Mat<double>& data) {
  if (solver_ == nullptr) throw error_debug("No likelihod specified");
  drawLatent(mean_);
  propensity.write_all(data);
}

void Ordinal::drawLatentAuto_Mis(arma::Mat<double>& data) {
  if (solver_ == nullptr) throw error_debug("No likelihod specified");
  draw_free(data);
}

/// Of a walk's proposals: that of a unit on the average. Nothing that a walk moves is part of it.
double Ordinal::step_sd(const arma::Mat<double>& data) const {
  read_variances(data, nullptr, 0);
  const scan::row_scale v = variances();
  if (v.is_one()) return std::sqrt(v.value());
  double sum = 0.0;
  for (arma::uword i = 0; i < n_units; ++i) sum += v.variance(i);
  return std::sqrt(sum / static_cast<double>(n_units));
}

void Ordinal::drawLatentMH_Cmp(arma::Mat<double>& data) {
  walk_complete_.draw(step_sd(data), *rng, tune_cmp, data);
}

void Ordinal::drawLatentMH_Mis(arma::Mat<double>& data) {
  walk_missing_.draw(step_sd(data), *rng, tune_mis, data);
}

}  // namespace tovik::sem
