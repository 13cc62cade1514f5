#include "sem/scan/coefficients.hpp"

#include <cmath>
#include <utility>

#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

coefficient_step::coefficient_step(arma::Col<arma::uword> free, arma::Col<arma::uword> fixed,
                                   coefficient_prior prior)
    : free_(std::move(free)),
      fixed_(std::move(fixed)),
      prior_(std::move(prior)),
      T_(free_.n_elem, free_.n_elem, arma::fill::zeros),
      work_(free_.n_elem, arma::fill::zeros),
      z_(free_.n_elem, arma::fill::zeros) {
  if (!prior_.fits(free_.n_elem + fixed_.n_elem))
    throw error_debug("A prior is one of other coefficients than the equation has.");
}

void coefficient_step::factor(const arma::Mat<double>& G, arma::uword n) {
  tolerance_ = singular_share(n);
  factored_at_ = 0.0;
  n_ = n;
  if (!prior_.is_flat() || is_shared()) return;
  if (!factor_products(G)) throw numeric_error::singular();
}

bool coefficient_step::factor_products(const arma::Mat<double>& G) {
  arma::uword const k = free_.n_elem;
  for (arma::uword j = 0; j < k; ++j)
    for (arma::uword i = 0; i < k; ++i) T_(i, j) = G(free_(i), free_(j));
  return reverse_cholesky(T_.memptr(), k, tolerance_);
}

// P weighs data and prior by v, which changes from scan to scan: k^3 / 6 products then, next to nothing
// beside h, and nothing where v is 1.
void coefficient_step::factor_posterior(const arma::Mat<double>& G, double v) {
  if (v == factored_at_) return;
  factored_at_ = 0.0;
  arma::uword const k = free_.n_elem;
  const double w = 1.0 / v;
  for (arma::uword j = 0; j < k; ++j) {
    for (arma::uword i = 0; i <= j; ++i) T_(i, j) = G(free_(i), free_(j)) * w;
    T_(j, j) += prior_.precision(free_(j));
  }
  // The prior keeps a dependent column apart, however little of its diagonal element that is.
  const auto tolerance = [this](arma::uword j) {
    return prior_.precision(free_(j)) > 0.0 ? 0.0 : tolerance_;
  };
  if (!reverse_cholesky(T_.memptr(), k, tolerance)) throw numeric_error::singular();
  factored_at_ = v;
}

// work := inv(T) (h_F - G_F,fixed b_fixed), of P: inv(T) ((h_F - G_F,fixed b_fixed) / v + P0 m0).
void coefficient_step::load(const arma::Mat<double>& G, const double* h, double v, const double* b,
                            const double* base) {
  arma::uword const k = free_.n_elem;
  double* work = work_.memptr();
  for (arma::uword i = 0; i < k; ++i) work[i] = h[free_(i)];
  for (arma::uword j = 0; j < fixed_.n_elem; ++j) {
    const double value = b[fixed_(j)];
    if (value == 0.0) continue;
    for (arma::uword i = 0; i < k; ++i) work[i] -= G(free_(i), fixed_(j)) * value;
  }
  if (!prior_.is_flat() && !is_shared()) {
    factor_posterior(G, v);
    const double w = 1.0 / v;
    for (arma::uword i = 0; i < k; ++i) work[i] *= w;
    if (base != nullptr || !prior_.is_centred()) {
      for (arma::uword i = 0; i < k; ++i) {
        arma::uword const j = free_(i);
        work[i] += prior_.precision(j) * (prior_.mean(j) - (base == nullptr ? 0.0 : base[j]));
      }
    }
  }
  solve_upper(T_.memptr(), k, work);
}

void coefficient_step::store(double* b) {
  arma::uword const k = free_.n_elem;
  solve_upper_transposed(T_.memptr(), k, work_.memptr());
  for (arma::uword i = 0; i < k; ++i) b[free_(i)] = work_(i);
}

void coefficient_step::mean(const arma::Mat<double>& G, const double* h, double v, double* b,
                            const double* base) {
  if (is_shared() && !factor_products(G)) return;
  load(G, h, v, b, base);
  store(b);
}

void coefficient_step::draw(const arma::Mat<double>& G, const double* h, double v, Random& rng, double* b,
                            const double* base) {
  arma::uword const k = free_.n_elem;
  if (k == 0) return;
  if (is_shared()) {
    share_->meet(G, h, v, n_, rng, b);
    return;
  }
  rng.fill_randn(z_.memptr(), k);
  load(G, h, v, b, base);
  const double sd = prior_.is_flat() ? std::sqrt(v) : 1.0;
  for (arma::uword i = 0; i < k; ++i) work_(i) += sd * z_(i);
  store(b);
}

}  // namespace tovik::sem::scan
