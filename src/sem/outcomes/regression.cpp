#include "sem/outcomes/regression.hpp"

#include <cmath>
#include <utility>

#include "sem/outcomes/multi.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "sem/wiring/estimator.hpp"
#include "support/error.hpp"

namespace tovik::sem {
namespace {

arma::Col<arma::uword> all_but(arma::uword n, const arma::Col<arma::uword>& excluded) {
  std::vector<arma::uword> rest;
  for (arma::uword j = 0; j < n; ++j)
    if (!arma::any(excluded == j)) rest.push_back(j);
  return arma::Col<arma::uword>(rest);
}

void validate(const equation_setup& setup, arma::uword k) {
  if (setup.fixed.n_elem != setup.fixed_values.n_elem || arma::any(setup.fixed >= k))
    throw error_debug("Fixed coefficients do not match the predictors.");
  if (setup.n_levels > setup.cluster.n_levels() || setup.n_levels > 2)
    throw error_debug("The outcome has more levels than its clusters.");
  if (setup.level > 0 && setup.cluster.rows == nullptr)
    throw error_debug("An outcome above the rows needs its units.");
  if (setup.cluster.own_rows.empty()) throw error_debug("The outcome has no units.");
  if (arma::any(setup.missing_units >= setup.cluster.own_rows[0]->n_elem))
    throw error_debug("Missing units are not in the data.");
  if (!setup.phantoms.empty() && setup.phantoms.size() != setup.n_levels + 1)
    throw error_debug("Phantoms do not match the levels.");
}

std::vector<arma::Col<arma::uword>> phantom_columns(const equation_setup& setup) {
  std::vector<arma::Col<arma::uword>> out;
  for (const auto& place : setup.phantoms) {
    out.emplace_back(place.size());
    for (std::size_t k = 0; k < place.size(); ++k) out.back()(k) = place[k].column;
  }
  return out;
}

}  // namespace

estimator::Outcome::shape Regression::parts_of(const Estimator* estimator, const data::type& type,
                                               const equation_setup& setup) {
  return {.estimator = estimator,
          .type = type,
          .y = {setup.y},
          .x = setup.x,
          .x_compute = setup.x_compute,
          .z = setup.z,
          .z_compute = setup.z_compute,
          .phantoms = phantom_columns(setup),
          .n_levels = setup.n_levels,
          .level = setup.level,
          .missing = setup.imputes && !setup.missing_units.is_empty()};
}

Regression::Regression(const Estimator* estimator_, const data::type& type_, const equation_setup& setup)
    : Outcome(parts_of(estimator_, type_, setup)),
      cluster(setup.cluster),
      n_units(setup.cluster.own_rows.empty() ? 0 : setup.cluster.own_rows[0]->n_elem),
      missing_rows(setup.missing_units),
      betas_(n_coefficients(), 1, arma::fill::zeros),
      std_betas(n_coefficients(), 1, arma::fill::zeros),
      fixed(setup.fixed),
      raneff_prior(setup.prior.raneff),
      resid_prior(setup.prior.resvar),
      has_intercept(setup.has_intercept),
      icept(setup.icept),
      re_indicators(setup.n_levels),
      covariance_(setup.n_levels),
      together_(setup.n_levels, false) {
  validate(setup, n_coefficients());
  free = all_but(n_coefficients(), fixed);
  icept.resize(n_levels, 0);
  for (arma::uword j = 0; j < fixed.n_elem; ++j) betas_(fixed(j)) = setup.fixed_values(j);
  for (unsigned L = 0; L < n_levels; ++L) {
    arma::uword const q = n_random(L);
    Sigma.emplace_back(q, q, arma::fill::eye);
    iSigma.emplace_back(q, q, arma::fill::eye);
    // Until the starting state is known: one unit could outweigh the data by far.
    u.emplace_back(cluster.n_clusters(static_cast<int>(L)), q, arma::fill::zeros);
    effect_units_.emplace_back(q, arma::fill::ones);
    re_tune.emplace_back(1.5, estimator::tune_obj::kind_type::random_effect);
    re_tune.back().what = "L" + std::to_string(level + L + 2) + " : random effects";
  }
  make_parts(setup);
  make_scan(setup);
}

void Regression::make_parts(const equation_setup& setup) {
  parts_.reserve(n_levels + 1);
  for (unsigned place = 0; place <= n_levels; ++place) {
    arma::uword const q = place == 0 ? 1 : n_random(place - 1);
    parts_.emplace_back(setup.phantoms.empty() ? std::vector<phantom_term>() : setup.phantoms[place], q);
    if (place > 0) refresh_phantoms(place);  // the residual's wait for the variance that the kind sets
  }
  means_.effects.resize(n_levels);
}

void Regression::make_scan(const equation_setup& setup) {
  const auto& mutable_columns = setup.mutable_columns;
  scan::equation terms;
  terms.y = y(0);
  terms.y_static =
      !setup.response_moves && !missing && !(y(0) < mutable_columns.size() && mutable_columns[y(0)]);
  terms.terms.x = scan::columns(x, x_compute, mutable_columns);
  for (unsigned L = 0; L < n_levels; ++L) terms.terms.z.emplace_back(z[L], z_compute[L], mutable_columns);
  terms.structure = cluster;
  terms.rows = unit_rows();
  terms.free = free;
  terms.fixed = fixed;
  terms.prior = setup.coefficients;
  scan_ = std::make_unique<scan::equation_scan>(std::move(terms));
  if (!parts_[0].empty()) scan_->keep_rows();
}

const arma::Col<arma::uword>* Regression::unit_rows() const {
  return level == 0 ? nullptr : cluster.own_rows[0];
}

void Regression::keep_rows() {
  scan_->keep_rows();
}

void Regression::begin_scan(const arma::Mat<double>& data) {
  read_variances(data, nullptr, 0);
  const scan::row_scale effects = effects_scale();
  if (const arma::Col<double>* values = response(data))
    scan_->begin(data, *values, betas_, u, scale(), &effects);
  else
    scan_->begin(data, betas_, u, scale(), &effects);
  if (const arma::Col<double>* others = read_others(data)) scan_->subtract(others->memptr());
  if (parts_[0].empty()) return;
  scan_->subtract(phantom_means(data).memptr());
}

void Regression::check_residual(const arma::Mat<double>& data) const {
  if (!check_residuals || residual_error(data) < 1e-8) return;
  throw error_debug("The residual of an equation is not that of the data.");
}

void Regression::draw(arma::Mat<double>& data) {
  draw_auxiliary(data);
  begin_scan(data);
  const unsigned drawn = draw_coefficients(data);
  check_residual(data);
  for (unsigned L = 0; L < drawn; ++L) {
    draw_effects(data, L);
    check_residual(data);
  }
  draw_own(data);
  check_residual(data);
  for (unsigned L = 0; L < n_levels; ++L) draw_covariance(data, L);
  draw_values(data);
  check_residual(data);
  leave_residual();
  driven_.anchor(betas_);
  update_shares();
}

/// Returns how many levels, from the nearest up, are still to be drawn.
unsigned Regression::draw_coefficients(const arma::Mat<double>& data) {
  using phase = scan::coefficient_block::phase;
  const scan::block_share* shared = scan_->shared();
  if (shared != nullptr && shared->block->now == phase::drawn) {
    scan_->keep_coefficients(betas_);
    return n_levels;
  }
  const unsigned left = draw_integrated(data);
  if (shared != nullptr && shared->block->now == phase::alone) shared->block->settle();
  return left;
}

/// Of the effects those that are drawn next are integrated out, unless other equations hold them.
unsigned Regression::draw_integrated(const arma::Mat<double>& data) {
  const unsigned L = integrated_level();
  if (L == n_levels) {
    scan_->draw_coefficients(scale(), u, *rng, betas_);
    return n_levels;
  }
  if (draw_nested(L)) return 1;
  scan_->draw_coefficients(L, scale(), iSigma_s(static_cast<int>(L)), effect_means(data, L), u, *rng, betas_);
  return n_levels;
}

/// The lowest level with effects, if they can be integrated out, or n_levels.
unsigned Regression::integrated_level() const {
  unsigned L = 0;
  while (L < n_levels && n_random(L) == 0) ++L;
  const bool can = L < n_levels && re_indicators[L].is_empty() && has_one_density();
  return can && sampler_settings::integrate_effects ? L : n_levels;
}

bool Regression::draw_nested(unsigned L) {
  const bool two = n_levels == 2 && L == 0 && n_random(1) > 0 && re_indicators[1].is_empty() &&
                   parts_[1].empty() && parts_[2].empty();
  if (!two) return false;
  const auto second = second_draw(1);
  return scan_->draw_nested(scale(), iSigma_s(0), iSigma_s(1), u, *rng, betas_, second ? &*second : nullptr);
}

void Regression::update_shares() {
  arma::uword const first = has_intercept ? 1 : 0;
  scan_->variance_shares(betas_, Sigma, first, icept, shares_);
  coef_var = shares_.coef;
  icept_total = 0.0;
  slope_total = 0.0;
  for (unsigned L = 0; L < n_levels; ++L) {
    icept_var[L] = shares_.levels[L].intercept;
    slope_var[L] = shares_.levels[L].slope;
    icept_total += icept_var[L];
    slope_total += slope_var[L];
  }
  total_var = coef_var + slope_total + icept_total + share_variance();
  const auto& C = scan_->moments_of_x().covariance;
  for (arma::uword j = first; j < betas_.n_elem; ++j)
    std_betas(j) = betas_(j) * std::sqrt(C(j, j) / total_var);
}

void Regression::lose_state() {
  betas_.elem(free).fill(arma::datum::nan);
  for (unsigned L = 0; L < n_levels; ++L) {
    u[L].fill(arma::datum::nan);
    Sigma[L].fill(arma::datum::nan);
    iSigma[L].fill(arma::datum::nan);
    icept_var[L] = slope_var[L] = arma::datum::nan;
  }
  coef_var = slope_total = icept_total = total_var = arma::datum::nan;
  std_betas.fill(arma::datum::nan);
}

void Regression::refreshShares(const arma::Mat<double>& data) {
  scan_->reread_parameters(data);
  update_shares();
}

arma::uword Regression::n_params() const {
  arma::uword count = own_rows().n_elem + betas_.n_elem + last_rows().n_elem;
  for (unsigned L = 0; L < n_levels; ++L) count += n_random(L) * (n_random(L) + 1) / 2;
  return count;
}

arma::Col<double> Regression::params() const {
  arma::Col<double> out(n_params());
  arma::uword at = 0;
  for (unsigned L = n_levels; L-- > 0;)
    for (arma::uword j = 0; j < Sigma[L].n_cols; ++j)
      for (arma::uword i = j; i < Sigma[L].n_rows; ++i) out(at++) = Sigma[L](i, j);
  for (double value : own_rows()) out(at++) = value;
  for (double b : betas_) out(at++) = b;
  for (double value : last_rows()) out(at++) = value;
  return out;
}

void Regression::coefficient_rows(std::vector<double>& out) const {
  for (arma::uword j = has_intercept ? 1 : 0; j < std_betas.n_elem; ++j) out.push_back(std_betas(j));
}

arma::Col<double> Regression::postDraw(const arma::Mat<double>&) const {
  std::vector<double> out;
  coefficient_rows(out);
  if (!explains_variance()) return arma::Col<double>(out);
  out.push_back(coef_var / total_var);
  for (unsigned L = 0; L < n_levels; ++L) {
    const bool has_icept = icept[L] != 0 && n_random(L) > 0;
    if (has_icept) out.push_back(icept_var[L] / total_var);
    if (n_random(L) > (has_icept ? 1U : 0U)) out.push_back(slope_var[L] / total_var);
  }
  out.push_back(share_variance() / total_var);
  return arma::Col<double>(out);
}

arma::Col<double> Regression::params(const arma::Mat<double>& data) const {
  return arma::join_cols(params(), postDraw(data));
}

void Regression::addStarts(const arma::Col<double>& v) {
  if (v.n_elem != n_params()) throw error_debug("Starting values do not match the parameters.");
  const double* next = v.memptr();
  for (unsigned L = n_levels; L-- > 0;) {
    arma::uword const q = n_random(L);
    for (arma::uword j = 0; j < q; ++j)
      for (arma::uword i = j; i < q; ++i) Sigma[L](i, j) = Sigma[L](j, i) = *next++;
    arma::Col<double> work(q * (q + 1));
    scan::invert_symmetric(Sigma[L].memptr(), q, iSigma[L].memptr(), work.memptr());
  }
  take_own_rows(next);
  next += own_rows().n_elem;
  for (double& b : betas_) b = *next++;
  take_last_rows(next);
  driven_.anchor(betas_);
  for (unsigned place = 0; place <= n_levels; ++place) refresh_phantoms(place);
  start_effects();
  if (link != nullptr) link->forget_residuals();
}

// A quarter of their standard deviations: small beside the data in whatever units, and not at zero, where
// correlations of effects would have all the density at +-1. Effects that stand anywhere else stay.
void Regression::start_effects() {
  constexpr double share = 0.25;
  for (unsigned L = 0; L < n_levels; ++L) {
    if (!u[L].is_zero()) continue;
    rng->fill_randn(u[L].memptr(), u[L].n_elem);
    for (arma::uword j = 0; j < u[L].n_cols; ++j) u[L].col(j) *= share * std::sqrt(Sigma[L](j, j));
  }
}

arma::uword Regression::n_estimated() const {
  arma::uword count = free.n_elem;
  for (unsigned L = 0; L < n_levels; ++L) count += n_random(L) * (n_random(L) + 1) / 2;
  return count;
}

std::vector<arma::Col<double>> Regression::covariate_squares(const arma::Mat<double>& data) const {
  std::vector<arma::Col<double>> out;
  arma::Col<double> scratch;
  for (const scan::columns& Z : scan_->terms().terms.z) {
    out.emplace_back(Z.size());
    for (arma::uword j = 0; j < Z.size(); ++j) {
      const double* z = Z.at(j, data, unit_rows(), scratch);
      double sum = 0.0, n = 0.0;
      for (arma::uword i = 0; i < n_units; ++i) {
        if (std::isnan(z[i])) continue;
        sum += z[i] * z[i];
        n += 1.0;
      }
      out.back()(j) = sum / n;
    }
  }
  return out;
}

// A variance of effects is in units of the outcome over those of the covariate. A covariate that does not
// vary (the constant of an intercept), or of which nothing is observed, counts as it stands.
void Regression::scale_priors(double response_variance, const arma::Mat<double>& observed) {
  if (!has_units()) return;
  residual_unit_ = response_variance;
  arma::Col<double> scratch;
  for (unsigned L = 0; L < n_levels; ++L) {
    const scan::columns& Z = scan_->terms().terms.z[L];
    for (arma::uword j = 0; j < Z.size(); ++j) {
      const double* z = Z.at(j, observed, unit_rows(), scratch);
      arma::Col<double> known(z, n_units);
      known = known.elem(arma::find_finite(known)).eval();
      const double spread = known.n_elem > 1 ? arma::var(known) : 0.0;
      effect_units_[L](j) = response_variance / (spread > 0.0 ? spread : 1.0);
    }
  }
}

void Regression::tune() {
  for (estimator::tune_obj& proposal : re_tune) proposal.tune();
}

void Regression::addProposals(std::vector<estimator::tune_obj*>& to) {
  for (estimator::tune_obj& proposal : re_tune) to.push_back(&proposal);
}

estimator::tune_results Regression::tuneResults() const {
  estimator::tune_results results;
  results.insert(results.end(), re_tune.begin(), re_tune.end());
  return results;
}

void Regression::addLL(std::unique_ptr<estimator::likelihood> list, const likelihood_type& kind) {
  if (kind == likelihood_type::random_effect)
    us_ll_ = std::move(list);
  else
    set_value_list(std::move(list));
}

void Regression::setCentering(std::unique_ptr<estimator::covariate_link> link_) {
  centering_ = std::move(link_);
}

void Regression::refresh_followers(arma::Mat<double>& data) const {
  if (centering_ == nullptr) return;
  if (level == 0)
    centering_->update(data);
  else
    centering_->update(data, cluster);
}

double Regression::getMissingPercent() const {
  return missing_rows.is_empty() ? 0.0
                                 : static_cast<double>(missing_rows.n_elem) / static_cast<double>(n_units);
}

std::vector<double> Regression::getMissingPercents() const {
  return {getMissingPercent()};
}
}  // namespace tovik::sem
