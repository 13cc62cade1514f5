#include "sem/outcomes/normal.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/wiring/estimator.hpp"
#include "random/random.hpp"
#include "sem/scan/residual_variance.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem {
namespace {

arma::Col<arma::uword> all_but(arma::uword n, arma::Col<arma::uword> const& excluded) {
  std::vector<arma::uword> rest;
  for (arma::uword j = 0; j < n; ++j)
    if (!arma::any(excluded == j)) rest.push_back(j);
  return arma::Col<arma::uword>(rest);
}

void validate(normal_setup const& setup, arma::uword k) {
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

std::vector<arma::Col<arma::uword>> phantom_columns(normal_setup const& setup) {
  std::vector<arma::Col<arma::uword>> out;
  for (auto const& place : setup.phantoms) {
    out.emplace_back(place.size());
    for (std::size_t k = 0; k < place.size(); ++k) out.back()(k) = place[k].column;
  }
  return out;
}

}  // namespace

Normal::Normal(Estimator const* estimator_, normal_setup const& setup)
    : Outcome(estimator_, data::type::continuous, arma::Col<arma::uword>{setup.y}, setup.x, setup.x_compute,
              setup.z, setup.z_compute, phantom_columns(setup), setup.n_levels, setup.level,
              !setup.missing_units.is_empty()),
      cluster(setup.cluster),
      n_units(setup.cluster.own_rows.empty() ? 0 : setup.cluster.own_rows[0]->n_elem),
      missing_rows(setup.missing_units),
      betas_(n_coefficients(), 1, arma::fill::zeros),
      std_betas(n_coefficients(), 1, arma::fill::zeros),
      sigma2(setup.estimate_resid ? 1.0 : setup.resid_value),
      fixed(setup.fixed),
      estimate_resid(setup.estimate_resid),
      raneff_prior(setup.prior.raneff),
      resid_prior(setup.prior.resvar),
      has_intercept(setup.has_intercept),
      icept(setup.icept),
      imp_tune(3.0, estimator::tune_obj::kind_type::imputation),
      re_indicators(setup.n_levels),
      scale_(setup.y, setup.level, setup.cluster),
      imputed_(setup.missing_units, setup.level, scale_, this),
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
    u.emplace_back(cluster.n_clusters(static_cast<int>(L)), q);
    rng->fill_randn(u.back().memptr(), u.back().n_elem);
    re_tune.emplace_back(1.5, estimator::tune_obj::kind_type::random_effect);
  }
  make_parts(setup);
  make_scan(setup.mutable_columns);
}

void Normal::make_parts(normal_setup const& setup) {
  parts_.reserve(n_levels + 1);
  for (unsigned place = 0; place <= n_levels; ++place) {
    arma::uword const q = place == 0 ? 1 : n_random(place - 1);
    parts_.emplace_back(setup.phantoms.empty() ? std::vector<phantom_term>() : setup.phantoms[place], q);
    refresh_phantoms(place);
  }
  means_.effects.resize(n_levels);
}

void Normal::make_scan(std::vector<bool> const& mutable_columns) {
  scan::equation terms;
  terms.y = y(0);
  terms.y_static = !missing && !(y(0) < mutable_columns.size() && mutable_columns[y(0)]);
  terms.terms.x = scan::columns(x, x_compute, mutable_columns);
  for (unsigned L = 0; L < n_levels; ++L) terms.terms.z.emplace_back(z[L], z_compute[L], mutable_columns);
  terms.structure = cluster;
  terms.rows = unit_rows();
  terms.free = free;
  terms.fixed = fixed;
  scan_ = std::make_unique<scan::equation_scan>(std::move(terms));
  if (!parts_[0].empty()) scan_->keep_rows();
}

arma::Col<arma::uword> const* Normal::unit_rows() const {
  return level == 0 ? nullptr : cluster.own_rows[0];
}

void Normal::keep_rows() {
  scan_->keep_rows();
}

void Normal::begin_scan(arma::Mat<double> const& data) {
  start_scan(data);
  if (parts_[0].empty()) return;
  parts_[0].loadings.means(data, unit_rows(), means_.residual);
  scan_->subtract(means_.residual.memptr());
}

void Normal::check_residual(arma::Mat<double> const& data) const {
  if (!check_residuals || residual_error(data) < 1e-8) return;
  throw error_debug("The residual of an equation is not that of the data.");
}

void Normal::draw(arma::Mat<double>& data) {
  begin_scan(data);
  scan_->draw_coefficients(scan::row_scale(residVar()), u, *rng, betas_);
  check_residual(data);
  for (unsigned L = 0; L < n_levels; ++L) {
    draw_effects(data, L);
    check_residual(data);
  }
  if (estimate_resid) draw_variance(data);
  check_residual(data);
  for (unsigned L = 0; L < n_levels; ++L) draw_covariance(data, L);
  if (missing) impute(data);
  check_residual(data);
  driven_.anchor(betas_);
  update_shares();
}

void Normal::update_shares() {
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
  total_var = coef_var + slope_total + icept_total + sigma2;
  auto const& C = scan_->moments_of_x().covariance;
  for (arma::uword j = first; j < betas_.n_elem; ++j)
    std_betas(j) = betas_(j) * std::sqrt(C(j, j) / total_var);
}

arma::Col<double> Normal::params() const {
  arma::Col<double> out(n_params());
  arma::uword at = 0;
  for (unsigned L = n_levels; L-- > 0;)
    for (arma::uword j = 0; j < Sigma[L].n_cols; ++j)
      for (arma::uword i = j; i < Sigma[L].n_rows; ++i) out(at++) = Sigma[L](i, j);
  out(at++) = sigma2;
  for (double b : betas_) out(at++) = b;
  return out;
}

arma::Col<double> Normal::postDraw(arma::Mat<double> const&) const {
  std::vector<double> out;
  for (arma::uword j = has_intercept ? 1 : 0; j < std_betas.n_elem; ++j) out.push_back(std_betas(j));
  out.push_back(coef_var / total_var);
  for (unsigned L = 0; L < n_levels; ++L) {
    bool const has_icept = icept[L] != 0 && n_random(L) > 0;
    if (has_icept) out.push_back(icept_var[L] / total_var);
    if (n_random(L) > (has_icept ? 1U : 0U)) out.push_back(slope_var[L] / total_var);
  }
  out.push_back(sigma2 / total_var);
  return arma::Col<double>(out);
}

arma::Col<double> Normal::params(arma::Mat<double> const& data) const {
  return arma::join_cols(params(), postDraw(data));
}

void Normal::addStarts(arma::Col<double> const& v) {
  if (v.n_elem != n_params()) throw error_debug("Starting values do not match the parameters.");
  arma::uword at = 0;
  for (unsigned L = n_levels; L-- > 0;) {
    arma::uword const q = n_random(L);
    for (arma::uword j = 0; j < q; ++j) {
      for (arma::uword i = j; i < q; ++i) {
        Sigma[L](i, j) = v(at);
        Sigma[L](j, i) = v(at++);
      }
    }
    arma::Col<double> work(q * (q + 1));
    scan::invert_symmetric(Sigma[L].memptr(), q, iSigma[L].memptr(), work.memptr());
  }
  sigma2 = v(at++);
  for (double& b : betas_) b = v(at++);
  driven_.anchor(betas_);
  for (unsigned place = 0; place <= n_levels; ++place) refresh_phantoms(place);
}

arma::uword Normal::n_estimated() const {
  arma::uword count = free.n_elem + (estimate_resid ? 1 : 0);
  for (unsigned L = 0; L < n_levels; ++L) count += n_random(L) * (n_random(L) + 1) / 2;
  return count;
}

estimator::tune_results Normal::tuneResults() const {
  estimator::tune_results results{imp_tune};
  results.insert(results.end(), re_tune.begin(), re_tune.end());
  return results;
}

}  // namespace tovik::sem
