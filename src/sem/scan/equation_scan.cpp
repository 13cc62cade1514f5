#include "sem/scan/equation_scan.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

equation_scan::equation_scan(equation terms)
    : eq_(std::move(terms)),
      coefficients_(eq_.free, eq_.fixed, eq_.prior),
      integrated_(eq_.free, eq_.fixed, eq_.prior),
      within_(eq_.terms.z.size()),
      cross_(eq_.terms.z.size()),
      effects_(eq_.terms.z.size()),
      factors_(eq_.terms.z.size()),
      z_moments_(eq_.terms.z.size()),
      t_(eq_.terms.z.size()),
      change_(eq_.terms.z.size()) {
  if (eq_.terms.z.size() > eq_.structure.n_levels())
    throw error_debug("More levels of random effects than levels above the outcome.");
}

void equation_scan::hold(arma::uword j) {
  arma::uword const k = eq_.free.n_elem + eq_.fixed.n_elem;
  if (!first_ || j >= k || share_ != nullptr) throw error_debug("The coefficient cannot be held.");
  if (!arma::any(eq_.free == j)) return;
  eq_.free = eq_.free.elem(arma::find(eq_.free != j)).eval();
  eq_.fixed = arma::join_cols(eq_.fixed, arma::Col<arma::uword>{j}).eval();
  coefficients_ = coefficient_step(eq_.free, eq_.fixed, eq_.prior);
  integrated_ = integrated_step(eq_.free, eq_.fixed, eq_.prior);
}

void equation_scan::share(const std::shared_ptr<coefficient_block>& block,
                          const arma::Col<arma::uword>& parameters) {
  arma::uword const k = eq_.free.n_elem + eq_.fixed.n_elem;
  const arma::Col<arma::uword> drawn = arma::find(parameters != coefficient_block::none);
  if (!first_ || parameters.n_elem != k || drawn.n_elem != eq_.free.n_elem ||
      arma::any(drawn != arma::sort(eq_.free)))
    throw error_debug("The coefficients of an equation do not fit their block.");
  share_ = std::make_unique<block_share>(block_share{block, parameters});
  coefficients_.share(share_.get());
  integrated_.share(share_.get());
}

/// The intercept takes up what a shift of columns makes of it where its prior is flat, and where no other
/// equation sees the coefficients.
bool equation_scan::may_shift() const {
  if (share_ == nullptr) return coefficients_.prior().is_flat();
  arma::uword const p = share_->parameters.is_empty() ? coefficient_block::none : share_->parameters(0);
  if (p == coefficient_block::none || share_->block->now != coefficient_block::phase::alone) return false;
  const coefficient_block::parameter& intercept = share_->block->parameters()[p];
  return intercept.label == nullptr && intercept.prior.precision == 0.0;
}

bool equation_scan::is_static() const {
  return eq_.y_static && eq_.terms.x.all_static() &&
         std::all_of(eq_.terms.z.begin(), eq_.terms.z.end(), [](const columns& z) { return z.all_static(); });
}

bool equation_scan::can_use_products() const {
  return use_products_ && is_static() &&
         std::count_if(eq_.terms.z.begin(), eq_.terms.z.end(),
                       [](const columns& z) { return z.size() > 0; }) <= 1;
}

std::size_t equation_scan::effect_level() const {
  for (std::size_t L = 0; L < eq_.terms.z.size(); ++L)
    if (eq_.terms.z[L].size() > 0) return L;
  return eq_.terms.z.size();
}

// Mutable columns, and the products and the factor that depend on them.
void equation_scan::refresh(const arma::Mat<double>& data, const row_scale& scale, const row_scale& effects) {
  eq_.terms.refresh(data, eq_.rows);
  n_ = eq_.rows == nullptr ? data.n_rows : eq_.rows->n_elem;
  if (first_ && may_shift()) {
    shifted_.choose(eq_.terms.x, eq_.free);
    use_products_ = use_products_ && !shifted_.active();
  }
  if (shifted_.active()) shifted_.refresh(eq_.terms.x, scale);
  gram_.refresh(eq_.terms.x, scale);
  const unsigned version = shifted_.active() ? shifted_.version() : gram_.version();
  if (first_ || version != factored_version_) {
    coefficients_.factor(products(), n_);
    factored_version_ = version;
  }
  x_moments_.refresh(eq_.terms.x, gram_.plain());
  for (std::size_t L = 0; L < within_.size(); ++L) {
    within_[L].refresh(eq_.terms.z[L], *eq_.structure.selectors[L], effects);
    z_moments_[L].refresh(eq_.terms.z[L]);
  }
}

/// X'X as the draw of the coefficients takes it.
const arma::Mat<double>& equation_scan::products() const {
  return shifted_.active() ? shifted_.gram() : gram_.values();
}

void equation_scan::build_products(const arma::Mat<double>& b, double variance) {
  std::size_t const L = effect_level();
  const bool has_effects = L < eq_.terms.z.size();
  const bool one_level = eq_.structure.n_levels() == 1;
  const auto* clusters = has_effects ? eq_.structure.selectors[L]
                         : one_level ? eq_.structure.selectors[0]
                                     : nullptr;
  products_.build(eq_.terms.x.values(), gram_, coefficients_, y_, variance, b.memptr(),
                  has_effects ? &eq_.terms.z[L].values() : nullptr, clusters,
                  has_effects ? &within_[L] : nullptr);
}

bool equation_scan::goes_by_products(const row_scale& scale) const {
  if (!products_.built()) return false;
  if (!scale.is_one()) throw error_debug("The row scale of an equation changed its form.");
  return true;
}

void equation_scan::begin(const arma::Mat<double>& data, const arma::Mat<double>& b,
                          const std::vector<arma::Mat<double>>& u, const row_scale& scale,
                          const row_scale* effects) {
  if (goes_by_products(scale)) return;
  refresh(data, scale, effects == nullptr ? scale : *effects);
  y_.set_size(n_);
  const double* column = data.colptr(eq_.y);
  if (eq_.rows == nullptr)
    std::copy_n(column, n_, y_.memptr());
  else
    for (arma::uword i = 0; i < n_; ++i) y_(i) = column[(*eq_.rows)(i)];
  start(b, u, scale);
}

void equation_scan::begin(const arma::Mat<double>& data, const arma::Col<double>& y,
                          const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& u,
                          const row_scale& scale, const row_scale* effects) {
  if (goes_by_products(scale)) return;
  refresh(data, scale, effects == nullptr ? scale : *effects);
  y_.set_size(n_);
  std::copy_n(y.memptr(), n_, y_.memptr());
  start(b, u, scale);
}

void equation_scan::start(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& u,
                          const row_scale& scale) {
  variance_ = scale.is_one() ? scale.value() : 1.0;
  if (first_ && scale.is_one() && can_use_products())
    build_products(b, variance_);
  else
    start_residual(u);
  first_ = false;
}

void equation_scan::start_residual(const std::vector<arma::Mat<double>>& u) {
  r_.set_size(n_);
  std::copy_n(y_.memptr(), n_, r_.memptr());
  for (std::size_t L = 0; L < eq_.terms.z.size(); ++L)
    subtract_effects(eq_.terms.z[L].values(), u[L], *eq_.structure.selectors[L], r_.memptr());
}

void equation_scan::draw_coefficients(const row_scale& scale, const std::vector<arma::Mat<double>>& u,
                                      Random& rng, arma::Mat<double>& b) {
  if (products_.built()) {
    std::size_t const L = effect_level();
    products_.draw_coefficients(coefficients_, scale.value(), L < u.size() ? &u[L] : nullptr, rng,
                                b.memptr());
    return;
  }
  const auto& X = eq_.terms.x.values();
  if (coefficients_.n_free() > 0) {
    const double* r = weighted_residual(scale);
    h_.set_size(X.n_cols);
    multiply_transposed(1.0, shifted_.active() ? shifted_.values() : X, r, 0.0, h_.memptr());
    const double variance = scale.is_one() ? scale.value() : 1.0;
    if (shifted_.active()) shifted_.from_plain(b.memptr());
    coefficients_.draw(products(), h_.memptr(), variance, rng, b.memptr());
    if (shifted_.active()) shifted_.to_plain(b.memptr());
  }
  multiply(-1.0, X, b.memptr(), 1.0, r_.memptr());
}

/// W r.
const double* equation_scan::weighted_residual(const row_scale& scale) {
  if (scale.is_one()) return r_.memptr();
  weighted_.set_size(n_);
  for (arma::uword i = 0; i < n_; ++i) weighted_(i) = r_(i) * scale.precision(i);
  return weighted_.memptr();
}

void equation_scan::draw_coefficients(unsigned L, const row_scale& scale, const arma::Mat<double>& iSigma,
                                      const arma::Mat<double>* mu, const std::vector<arma::Mat<double>>& u,
                                      Random& rng, arma::Mat<double>& b) {
  if (coefficients_.n_free() == 0 || shifted_.active() || !draw_integrated(L, scale, iSigma, mu, u, rng, b)) {
    draw_coefficients(scale, u, rng, b);
    return;
  }
  if (!products_.built()) multiply(-1.0, eq_.terms.x.values(), b.memptr(), 1.0, r_.memptr());
}

// r holds the level's effects, and e holds of them what differs from their mean:
// Z'e = Z'r + Z'Z (u - mu), X'e = X'r + X'Z (u - mu).
bool equation_scan::draw_integrated(unsigned L, const row_scale& scale, const arma::Mat<double>& iSigma,
                                    const arma::Mat<double>* mu, const std::vector<arma::Mat<double>>& u,
                                    Random& rng, arma::Mat<double>& b) {
  const double w = scale.is_one() ? 1.0 / scale.value() : 1.0;
  if (products_.built() && mu == nullptr)
    return products_.draw_integrated(integrated_, w, iSigma, n_, rng, b.memptr());
  if (products_.built()) return false;
  const auto &X = eq_.terms.x.values(), &Z = eq_.terms.z[L].values();
  const auto& clusters = *eq_.structure.selectors[L];
  cross_[L].refresh(eq_.terms.z[L], eq_.terms.x, clusters, scale);
  added_.set_size(u[L].n_rows, u[L].n_cols);
  std::copy_n(u[L].memptr(), u[L].n_elem, added_.memptr());
  if (mu != nullptr)
    for (arma::uword i = 0; i < added_.n_elem; ++i) added_.memptr()[i] -= mu->memptr()[i];
  cluster_sums(Z, r_.memptr(), clusters, scale, t_[L]);
  add_products(within_[L].values(), added_, t_[L]);
  h_.set_size(X.n_cols);
  multiply_transposed(1.0, X, weighted_residual(scale), 0.0, h_.memptr());
  const auto& B = cross_[L].values();
  for (arma::uword j = 0; j < B.size(); ++j)
    multiply_transposed(1.0, B[j], added_.colptr(j), 1.0, h_.memptr());
  return integrated_.draw(within_[L].values(), B, t_[L], gram_.values(), h_.memptr(), w, iSigma, n_, rng,
                          b.memptr());
}

bool equation_scan::draw_nested(const row_scale& scale, const arma::Mat<double>& lower,
                                const arma::Mat<double>& upper, std::vector<arma::Mat<double>>& u,
                                Random& rng, arma::Mat<double>& b, const second_draw* second) {
  if (coefficients_.n_free() == 0 || shifted_.active() || products_.built()) return false;
  const auto& X = eq_.terms.x.values();
  for (unsigned L : {0U, 1U}) {
    const auto& clusters = *eq_.structure.selectors[L];
    cross_[L].refresh(eq_.terms.z[L], eq_.terms.x, clusters, scale);
    for (arma::uword j = 0; j < u[L].n_cols; ++j)
      add_effect(1.0, eq_.terms.z[L].values().colptr(j), u[L].colptr(j), clusters, r_.memptr());
  }
  between_.refresh(eq_.terms.z[0], eq_.terms.z[1], *eq_.structure.selectors[0], scale);
  if (upper_of_.is_empty()) {
    const auto& starts = eq_.structure.selectors[0]->start;
    upper_of_.set_size(u[0].n_rows);
    for (arma::uword c = 0; c < upper_of_.n_elem; ++c)
      upper_of_(c) = (*eq_.structure.row_cluster[1])(starts[c]);
  }
  for (unsigned L : {0U, 1U})
    cluster_sums(eq_.terms.z[L].values(), r_.memptr(), *eq_.structure.selectors[L], scale, t_[L]);
  h_.set_size(X.n_cols);
  multiply_transposed(1.0, X, weighted_residual(scale), 0.0, h_.memptr());
  const double w = scale.is_one() ? 1.0 / scale.value() : 1.0;
  const bool drawn =
      integrated_.draw_nested({&within_[0].values(), &cross_[0].values(), &t_[0], &lower}, between_.values(),
                              {&within_[1].values(), &cross_[1].values(), &t_[1], &upper}, upper_of_,
                              gram_.values(), h_.memptr(), w, n_, rng, b.memptr());
  if (drawn) {
    effects_[1].draw(integrated_.upper_precision(), integrated_.upper_sums(), 1.0, upper, nullptr, rng, u[1]);
    redraw(1, integrated_.upper_precision(), integrated_.upper_sums(), 1.0, second, rng, u[1]);
    multiply(-1.0, X, b.memptr(), 1.0, r_.memptr());
  }
  for (unsigned L : {0U, 1U})
    subtract_effects(eq_.terms.z[L].values(), u[L], *eq_.structure.selectors[L], r_.memptr());
  return drawn;
}

void equation_scan::keep_coefficients(const arma::Mat<double>& b) {
  if (products_.built())
    products_.condition_on(b.memptr());
  else
    multiply(-1.0, eq_.terms.x.values(), b.memptr(), 1.0, r_.memptr());
}

void equation_scan::draw_effects(unsigned L, const row_scale& scale, const arma::Mat<double>& iSigma,
                                 const arma::Mat<double>* mu, Random& rng, arma::Mat<double>& u,
                                 const second_draw* second) {
  if (u.n_cols == 0) return;
  const double precision = scale.is_one() ? 1.0 / scale.value() : 1.0;
  const auto& A = within_[L].values();
  if (products_.built()) {
    effects_[L].draw(A, products_.effect_sums(), precision, iSigma, mu, rng, u);
    redraw(L, A, products_.effect_sums(), precision, second, rng, u);
    return;
  }
  const auto& Z = eq_.terms.z[L].values();
  const auto& clusters = *eq_.structure.selectors[L];
  // Z'(r + Zu) = Z'r + Z'Z u: the level's part need not be added back to r first.
  cluster_sums(Z, r_.memptr(), clusters, scale, t_[L]);
  add_products(A, u, t_[L]);
  auto& change = change_[L];
  change.set_size(u.n_rows, u.n_cols);
  std::copy_n(u.memptr(), u.n_elem, change.memptr());
  effects_[L].draw(A, t_[L], precision, iSigma, mu, rng, u);
  redraw(L, A, t_[L], precision, second, rng, u);
  for (arma::uword i = 0; i < u.n_elem; ++i) change.memptr()[i] = u.memptr()[i] - change.memptr()[i];
  subtract_effects(Z, change, clusters, r_.memptr());
}

void equation_scan::redraw(unsigned L, const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                           const second_draw* second, Random& rng, arma::Mat<double>& u) {
  if (second != nullptr) factors_[L].draw(A, t, w, second->prior, rng, u, *second->iSigma, *second->Sigma);
}

void equation_scan::subtract(const double* part) {
  if (products_.built()) throw error_debug("Only a residual that is kept by rows has a part taken out.");
  add_scaled(n_, -1.0, part, r_.memptr());
}

void equation_scan::move_effects(unsigned L, const arma::Mat<double>& change) {
  if (products_.built()) {  // they hold no residual, but the sums that the residual variance is drawn from
    products_.effect_sums();
    return;
  }
  subtract_effects(eq_.terms.z[L].values(), change, *eq_.structure.selectors[L], r_.memptr());
}

void equation_scan::rescale(double factor, const double* held) {
  if (products_.built()) throw error_debug("Only a residual that is kept by rows is multiplied.");
  y_ *= factor;
  r_ *= factor;
  if (held != nullptr) add_scaled(n_, factor - 1.0, held, r_.memptr());
}

double equation_scan::sum_of_squares(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& u) {
  if (products_.built()) {
    std::size_t const L = effect_level();
    const double ss = products_.sum_of_squares(L < u.size() ? &u[L] : nullptr);
    if (!std::isnan(ss)) return ss;
    start_residual(u);
    multiply(-1.0, eq_.terms.x.values(), b.memptr(), 1.0, r_.memptr());
  }
  return dot(n_, r_.memptr(), r_.memptr());
}

double equation_scan::squares(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& u) {
  if (!products_.built()) return std::numeric_limits<double>::quiet_NaN();
  products_.condition_on(b.memptr());
  products_.effect_sums();
  std::size_t const L = effect_level();
  return products_.sum_of_squares(L < u.size() ? &u[L] : nullptr);
}

cluster_statistics* equation_scan::statistics(const arma::Mat<double>& b) {
  if (first_) return nullptr;
  if (!tried_statistics_) {
    tried_statistics_ = true;
    if (use_products_ && is_static() && !eq_.terms.z.empty() && eq_.structure.n_levels() > 0) {
      std::vector<const arma::Mat<double>*> z;
      for (const columns& level : eq_.terms.z) z.push_back(&level.values());
      arma::Col<double> base(b.memptr(), b.n_elem), h(b.n_elem);
      multiply_transposed(1.0, eq_.terms.x.values(), y_.memptr(), 0.0, h.memptr());
      coefficients_.mean(gram_.values(), h.memptr(), variance_, base.memptr());
      statistics_.build(eq_.terms.x.values(), y_, base, z, eq_.structure);
    }
  }
  return statistics_.built() ? &statistics_ : nullptr;
}

void equation_scan::draw_missing(const arma::Col<arma::uword>& units, const row_scale& scale, Random& rng) {
  if (products_.built()) throw error_debug("An outcome without missing values cannot be imputed.");
  predictive_.draw(units, scale, rng, y_.memptr(), r_.memptr());
}

void equation_scan::replace_values(const arma::Col<arma::uword>& units, const double* values) {
  if (products_.built()) throw error_debug("An outcome without missing values cannot be imputed.");
  for (arma::uword k = 0; k < units.n_elem; ++k) {
    arma::uword const i = units(k);
    r_(i) += values[k] - y_(i);
    y_(i) = values[k];
  }
}

void equation_scan::reread_parameters(const arma::Mat<double>& data) {
  if (eq_.terms.x.holds_parameters()) {
    eq_.terms.x.refresh(data, eq_.rows);
    x_moments_.refresh(eq_.terms.x);
  }
  for (std::size_t L = 0; L < z_moments_.size(); ++L) {
    if (!eq_.terms.z[L].holds_parameters()) continue;
    eq_.terms.z[L].refresh(data, eq_.rows);
    z_moments_[L].refresh(eq_.terms.z[L]);
  }
}

void equation_scan::variance_shares(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& Sigma,
                                    arma::uword first, const std::vector<int>& icept, shares& out) {
  out.coef = fixed_variance(x_moments_, b.memptr(), first);
  out.levels.resize(Sigma.size());
  for (std::size_t L = 0; L < Sigma.size(); ++L)
    out.levels[L] = random_variance(z_moments_[L], Sigma[L], L < icept.size() && icept[L] != 0);
}

shares equation_scan::variance_shares(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& Sigma,
                                      arma::uword first, const std::vector<int>& icept) {
  shares out;
  variance_shares(b, Sigma, first, icept, out);
  return out;
}

}  // namespace tovik::sem::scan
