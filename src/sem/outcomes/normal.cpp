#include "sem/outcomes/normal.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "random/constants.hpp"
#include "random/random.hpp"
#include "sem/outcomes/normal_density.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/normal_block.hpp"
#include "sem/scan/residual_variance.hpp"
#include "support/error.hpp"

namespace tovik::sem {

Normal::Normal(const Estimator* estimator_, const equation_setup& setup)
    : Normal(estimator_, setup, data::type::continuous) {}

Normal::Normal(const Estimator* estimator_, const equation_setup& setup, data::type type_)
    : Outcome(parts_of(estimator_, type_, setup)),
      Regression(estimator_, type_, setup),
      sigma2(setup.estimate_resid ? 1.0 : setup.resid_value),
      estimate_resid(setup.estimate_resid),
      imp_tune(3.0, estimator::tune_obj::kind_type::imputation, "missing values"),
      scale_(setup.y, setup.level, setup.cluster),
      imputed_(setup.missing_units, setup.level, scale_, source()) {
  imputed_.set_refresh([this](arma::Mat<double>& data) { refresh_followers(data); });
  refresh_phantoms(0);
}

const arma::Col<double>* Normal::response(const arma::Mat<double>& data) {
  return scale_.has_transform() ? &scale_.read(data) : nullptr;
}

void Normal::copy_response(const arma::Mat<double>& data, double* out) const {
  if (const double* cells = scale_.cells(data)) {
    std::copy_n(cells, n_units, out);
    return;
  }
  for (arma::uword i = 0; i < n_units; ++i) out[i] = scale_.at(data, i);
}

void Normal::response_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                         double* out) const {
  for (arma::uword k = 0; k < units.n_elem; ++k) out[k] = scale_.at(data, units(k));
}

void Normal::draw_own(const arma::Mat<double>& data) {
  if (!estimate_resid) return;
  if (!part(0).empty()) {
    draw_variance_with_phantoms(data);
    return;
  }
  const double n = static_cast<double>(n_units);
  sigma2 = 1.0 / scan::draw_precision(resid_prior, n, residual_squares(), *rng, residual_unit());
}

// The full conditional without phantoms is the proposal: its density of the variance is that of the values
// without phantoms times the prior, so that only the two densities of the values are left in the ratio.
void Normal::draw_variance_with_phantoms(const arma::Mat<double>& data) {
  values_.set_size(n_units, 1);
  arma::Mat<double>& e = values_;
  phantom_part& phantoms = part(0);
  const arma::Mat<double>* means = &phantom_means(data);
  for (arma::uword i = 0; i < e.n_elem; ++i) e(i) = equation().r()(i) + (*means)(i);
  phantoms.read(e, data, phantom_rows(0));
  const double old = sigma2;
  auto excess = [&] {
    arma::Mat<double> const v(&sigma2, 1, 1, false, true);
    return phantoms.log_density() - phantoms.products().log_density(v);
  };
  const double before = excess();
  const double squares = squares_of(e.memptr());
  sigma2 =
      1.0 / scan::draw_precision(resid_prior, static_cast<double>(n_units), squares, *rng, residual_unit());
  refresh_phantoms(0);
  const double change = excess() - before;
  if (!(std::log(rng->runif()) <= change)) {
    sigma2 = old;
    refresh_phantoms(0);
    return;
  }
  // The phantoms' part of the residual grows with the variance.
  std::copy_n(means->memptr(), e.n_elem, e.memptr());
  means = &phantom_means(data);
  for (arma::uword i = 0; i < e.n_elem; ++i) e(i) = (*means)(i)-e(i);
  equation().subtract(e.memptr());
}

void Normal::draw_values(arma::Mat<double>& data) {
  if (!missing) return;
  if (solver_ != nullptr)
    imputed_.draw_solved(equation(), *solver_, data);
  else if (!imputed_.has_list())
    imputed_.draw_predictive(equation(), variances(), *rng, data);
  else if (link == nullptr && ess_sampler)
    imputed_.draw_slice(equation(), variances(), *rng, ess_max_niter, data);
  else
    imputed_.draw_metropolis(equation(), variances(), *rng, imp_tune, data);
}

void Normal::unit_log_density(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                              const double* mu, double* out) const {
  const scan::row_scale v = variances();
  const auto fill = [&](const auto& y) { normal_log_density(y, mu, v, units, n, out); };
  const double* cells = scale_.cells(data);
  if (cells != nullptr && units == nullptr)
    fill([cells](arma::uword k) { return cells[k]; });
  else if (cells != nullptr)
    fill([cells, units](arma::uword k) { return cells[units[k]]; });
  else
    fill([&](arma::uword k) { return scale_.at(data, units == nullptr ? k : units[k]); });
}

namespace {

/// The draws of one equation, as its density takes them.
class normal_draws : public estimator::block_likelihood {
 public:
  normal_draws(const Normal& equation, scan::normal_block block)
      : equation_(equation), block_(std::move(block)) {}

  void keep() override { block_.keep(equation_.betas_.memptr(), equation_.residVar()); }
  void add(arma::uword first, arma::uword n, double* out) override { block_.add(first, n, out); }
  void clear() override { block_.clear(); }

 private:
  const Normal& equation_;
  scan::normal_block block_;
};

}  // namespace

std::unique_ptr<estimator::block_likelihood> Normal::blockLiklihood(const arma::Mat<double>& data) const {
  const scan::equation& terms = equation().terms();
  const bool effects =
      std::any_of(u.begin(), u.end(), [](const auto& level_u) { return level_u.n_cols > 0; });
  const bool stays = terms.terms.x.filled() && terms.terms.x.all_static() &&
                     (terms.y_static || (!missing_rows.is_empty() && !scale_.has_transform()));
  if (effects || !stays || link != nullptr || phantoms_of_residual() || !scale().is_one()) return nullptr;
  arma::Col<double> y(n_units);
  copy_response(data, y.memptr());
  return std::make_unique<normal_draws>(
      *this, scan::normal_block(terms.terms.x.values(), std::move(y), missing_rows));
}

double Normal::log_likelihood_from_products() const {
  if (link != nullptr || phantoms_of_residual() || !variances().is_one()) return arma::datum::nan;
  const double v = residVar();
  return -0.5 * (static_cast<double>(n_units) * (log_2_pi + std::log(v)) + equation().squares(betas_, u) / v);
}

double Normal::squared_residuals(const arma::Mat<double>& data) {
  const double from_products = equation().squares(betas_, u);
  if (!std::isnan(from_products)) return from_products;
  response_values_.set_size(n_units);
  copy_response(data, response_values_.memptr());
  predictor(data, fitted_);
  double sum = 0.0;
  for (arma::uword i = 0; i < n_units; ++i) {
    const double e = response_values_(i) - fitted_(i);
    sum += e * e;
  }
  return sum;
}

bool Normal::log_likelihood_from_sums(unsigned above, arma::Col<double>& out) const {
  if (phantoms_of_residual() || !variances().is_one()) return false;
  scan::cluster_statistics* sums = equation().statistics(betas_);
  return sums != nullptr && sums->conditional(betas_.memptr(), u, residVar(), above, out);
}

void Normal::set_value_list(std::unique_ptr<estimator::likelihood> list) {
  imputed_.set_list(std::move(list));
}

void Normal::addTransform(const evaluate::pair& pair) {
  scale_.set(pair);
}

void Normal::addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solved,
                     const distribution_type& kind) {
  if (kind != distribution_type::fixed) throw error_debug("Unable to set autosolver for Normal.");
  solver_ = solved;
}

void Normal::tune() {
  Regression::tune();
  if (missing && imputed_.has_list() && solver_ == nullptr) imp_tune.tune();
}

void Normal::addProposals(std::vector<estimator::tune_obj*>& to) {
  Regression::addProposals(to);
  to.push_back(&imp_tune);
}

estimator::tune_results Normal::tuneResults() const {
  estimator::tune_results results{imp_tune};
  estimator::tune_results const effects = Regression::tuneResults();
  results.insert(results.end(), effects.begin(), effects.end());
  return results;
}

arma::uword Normal::n_estimated() const {
  return Regression::n_estimated() + (estimate_resid ? 1 : 0);
}

double Normal::residVarAR(const double&, const arma::Mat<double>& data) {
  if (!(sigma2 > 0.0) || !refresh_phantoms(0)) return -std::numeric_limits<double>::infinity();
  return logLiklihood(data);
}

std::shared_ptr<estimator::constraint> Normal::driven_variance() {
  if (link != nullptr) throw error_debug("Cannot constrain residual variance has multivariate link.");
  estimate_resid = false;
  const double spread = 2.0 * sigma2 * sigma2 / (static_cast<double>(n_units) - 2.0);
  auto out = handle(&sigma2, level, n_units > 2 && std::isfinite(spread) ? spread : 1.0);
  if (phantoms_of_residual()) out->refresh.emplace_back([this] { refresh_phantoms(0); });
  out->likelihoods.emplace_back(
      source(), [this](const double& x, const arma::Mat<double>& data) { return residVarAR(x, data); });
  return out;
}

std::shared_ptr<estimator::constraint> Normal::own_constraint(const parameter_type& kind,
                                                              const unsigned& index) {
  switch (kind) {
    case parameter_type::residual_variance:
      return driven_variance();
    case parameter_type::residual_variance_read:
      return handle(&sigma2, level);
    default:
      return Regression::own_constraint(kind, index);
  }
}

}  // namespace tovik::sem
