#include "sem/scan/scan.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

scan::scan(equation terms)
    : eq_(std::move(terms)),
      coefficients_(eq_.free, eq_.fixed),
      within_(eq_.terms.z.size()),
      effects_(eq_.terms.z.size()),
      z_moments_(eq_.terms.z.size()),
      t_(eq_.terms.z.size()),
      change_(eq_.terms.z.size()) {
  if (eq_.terms.z.size() > eq_.structure.n_levels())
    throw error_debug("More levels of random effects than levels above the outcome.");
}

bool scan::can_use_products() const {
  if (!use_products_ || !eq_.y_static || !eq_.terms.x.all_static()) return false;
  unsigned levels = 0;
  for (columns const& z : eq_.terms.z) {
    if (!z.all_static()) return false;
    if (z.size() > 0) ++levels;
  }
  return levels <= 1;
}

std::size_t scan::effect_level() const {
  for (std::size_t L = 0; L < eq_.terms.z.size(); ++L)
    if (eq_.terms.z[L].size() > 0) return L;
  return eq_.terms.z.size();
}

// Mutable columns, and the products and the factor that depend on them.
void scan::refresh(arma::Mat<double> const& data, row_scale const& scale) {
  eq_.terms.refresh(data, eq_.rows);
  n_ = eq_.rows == nullptr ? data.n_rows : eq_.rows->n_elem;
  gram_.refresh(eq_.terms.x, scale);
  if (first_ || gram_.version() != factored_version_) {
    coefficients_.factor(gram_.values(), n_);
    factored_version_ = gram_.version();
  }
  x_moments_.refresh(eq_.terms.x);
  for (std::size_t L = 0; L < within_.size(); ++L) {
    within_[L].refresh(eq_.terms.z[L], *eq_.structure.selectors[L], scale);
    z_moments_[L].refresh(eq_.terms.z[L]);
  }
}

void scan::build_products(arma::Mat<double> const& b) {
  std::size_t const L = effect_level();
  bool const has_effects = L < eq_.terms.z.size();
  bool const one_level = eq_.structure.n_levels() == 1;
  auto const* clusters = has_effects ? eq_.structure.selectors[L]
                         : one_level ? eq_.structure.selectors[0]
                                     : nullptr;
  products_.build(eq_.terms.x.values(), gram_, coefficients_, y_, b.memptr(),
                  has_effects ? &eq_.terms.z[L].values() : nullptr, clusters,
                  has_effects ? &within_[L] : nullptr);
}

void scan::begin(arma::Mat<double> const& data, arma::Mat<double> const& b,
                 std::vector<arma::Mat<double>> const& u, row_scale const& scale) {
  if (products_.built()) {
    if (scale.is_one()) return;
    throw error_debug("The row scale of an equation changed its form.");
  }
  refresh(data, scale);
  y_.set_size(n_);
  double const* column = data.colptr(eq_.y);
  if (eq_.rows == nullptr)
    std::copy_n(column, n_, y_.memptr());
  else
    for (arma::uword i = 0; i < n_; ++i) y_(i) = column[(*eq_.rows)(i)];
  if (first_ && scale.is_one() && can_use_products())
    build_products(b);
  else
    start_residual(u);
  first_ = false;
}

void scan::begin(arma::Mat<double> const& data, arma::Col<double> const& y, arma::Mat<double> const&,
                 std::vector<arma::Mat<double>> const& u, row_scale const& scale) {
  use_products_ = false;
  refresh(data, scale);
  y_.set_size(n_);
  std::copy_n(y.memptr(), n_, y_.memptr());
  start_residual(u);
  first_ = false;
}

void scan::start_residual(std::vector<arma::Mat<double>> const& u) {
  r_.set_size(n_);
  std::copy_n(y_.memptr(), n_, r_.memptr());
  for (std::size_t L = 0; L < eq_.terms.z.size(); ++L)
    subtract_effects(eq_.terms.z[L].values(), u[L], *eq_.structure.selectors[L], r_.memptr());
}

void scan::draw_coefficients(row_scale const& scale, std::vector<arma::Mat<double>> const& u, Random& rng,
                             arma::Mat<double>& b) {
  if (products_.built()) {
    std::size_t const L = effect_level();
    products_.draw_coefficients(coefficients_, scale.value(), L < u.size() ? &u[L] : nullptr, rng,
                                b.memptr());
    return;
  }
  auto const& X = eq_.terms.x.values();
  if (coefficients_.n_free() > 0) {
    double const* r = r_.memptr();
    if (!scale.is_one()) {
      weighted_.set_size(n_);
      for (arma::uword i = 0; i < n_; ++i) weighted_(i) = r_(i) * scale.precision(i);
      r = weighted_.memptr();
    }
    h_.set_size(X.n_cols);
    multiply_transposed(1.0, X, r, 0.0, h_.memptr());
    double const variance = scale.is_one() ? scale.value() : 1.0;
    coefficients_.draw(gram_.values(), h_.memptr(), variance, rng, b.memptr());
  }
  multiply(-1.0, X, b.memptr(), 1.0, r_.memptr());
}

void scan::keep_coefficients(arma::Mat<double> const& b) {
  if (products_.built())
    products_.condition_on(b.memptr());
  else
    multiply(-1.0, eq_.terms.x.values(), b.memptr(), 1.0, r_.memptr());
}

void scan::draw_effects(unsigned L, row_scale const& scale, arma::Mat<double> const& iSigma,
                        arma::Mat<double> const* mu, Random& rng, arma::Mat<double>& u) {
  if (u.n_cols == 0) return;
  double const precision = scale.is_one() ? 1.0 / scale.value() : 1.0;
  auto const& A = within_[L].values();
  if (products_.built()) {
    effects_[L].draw(A, products_.effect_sums(), precision, iSigma, mu, rng, u);
    return;
  }
  auto const& Z = eq_.terms.z[L].values();
  auto const& clusters = *eq_.structure.selectors[L];
  // Z'(r + Zu) = Z'r + Z'Z u: the level's part need not be added back to r first.
  cluster_sums(Z, r_.memptr(), clusters, scale, t_[L]);
  add_products(A, u, t_[L]);
  auto& change = change_[L];
  change.set_size(u.n_rows, u.n_cols);
  std::copy_n(u.memptr(), u.n_elem, change.memptr());
  effects_[L].draw(A, t_[L], precision, iSigma, mu, rng, u);
  for (arma::uword i = 0; i < u.n_elem; ++i) change.memptr()[i] = u.memptr()[i] - change.memptr()[i];
  subtract_effects(Z, change, clusters, r_.memptr());
}

double scan::sum_of_squares(arma::Mat<double> const& b, std::vector<arma::Mat<double>> const& u) {
  if (products_.built()) {
    std::size_t const L = effect_level();
    double const ss = products_.sum_of_squares(L < u.size() ? &u[L] : nullptr);
    if (!std::isnan(ss)) return ss;
    start_residual(u);
    multiply(-1.0, eq_.terms.x.values(), b.memptr(), 1.0, r_.memptr());
  }
  return dot(n_, r_.memptr(), r_.memptr());
}

bool scan::cluster_squares(arma::Mat<double> const& b, arma::Mat<double> const* u, double v,
                           arma::Col<double>& out) {
  if (!products_.built() || eq_.structure.n_levels() != 1) return false;
  return products_.cluster_squares(b.memptr(), u, v, out);
}

void scan::draw_missing(arma::Col<arma::uword> const& units, row_scale const& scale, Random& rng) {
  if (products_.built()) throw error_debug("An outcome without missing values cannot be imputed.");
  predictive_.draw(units, scale, rng, y_.memptr(), r_.memptr());
}

void scan::variance_shares(arma::Mat<double> const& b, std::vector<arma::Mat<double>> const& Sigma,
                           arma::uword first, std::vector<int> const& icept, shares& out) {
  out.coef = fixed_variance(x_moments_, b.memptr(), first);
  out.levels.resize(Sigma.size());
  for (std::size_t L = 0; L < Sigma.size(); ++L)
    out.levels[L] = random_variance(z_moments_[L], Sigma[L], L < icept.size() && icept[L] != 0);
}

shares scan::variance_shares(arma::Mat<double> const& b, std::vector<arma::Mat<double>> const& Sigma,
                             arma::uword first, std::vector<int> const& icept) {
  shares out;
  variance_shares(b, Sigma, first, icept, out);
  return out;
}

}  // namespace tovik::sem::scan
