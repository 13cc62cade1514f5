#include "sem/scan/coefficients.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem::scan {

coefficient_step::coefficient_step(arma::Col<arma::uword> free, arma::Col<arma::uword> fixed)
    : free_(std::move(free)),
      fixed_(std::move(fixed)),
      T_(free_.n_elem, free_.n_elem, arma::fill::zeros),
      work_(free_.n_elem, arma::fill::zeros),
      z_(free_.n_elem, arma::fill::zeros) {}

void coefficient_step::factor(arma::Mat<double> const& G, arma::uword n) {
  arma::uword const k = free_.n_elem;
  for (arma::uword j = 0; j < k; ++j)
    for (arma::uword i = 0; i < k; ++i) T_(i, j) = G(free_(i), free_(j));
  // A pivot is the share of a column's sum of squares that the later columns leave unexplained. Rounding of
  // the sums leaves about sqrt(n) epsilon of a dependent column.
  double const rounding = std::numeric_limits<double>::epsilon() * std::sqrt(static_cast<double>(n));
  double const tolerance = std::max(100.0 * std::numeric_limits<double>::epsilon(), 10.0 * rounding);
  if (!reverse_cholesky(T_.memptr(), k, tolerance)) throw std::runtime_error("inv(): matrix is singular");
}

// work := inv(T) (h_F - G_F,fixed b_fixed).
void coefficient_step::load(arma::Mat<double> const& G, double const* h, double const* b) {
  arma::uword const k = free_.n_elem;
  double* work = work_.memptr();
  for (arma::uword i = 0; i < k; ++i) work[i] = h[free_(i)];
  for (arma::uword j = 0; j < fixed_.n_elem; ++j) {
    double const value = b[fixed_(j)];
    if (value == 0.0) continue;
    for (arma::uword i = 0; i < k; ++i) work[i] -= G(free_(i), fixed_(j)) * value;
  }
  solve_upper(T_.memptr(), k, work);
}

void coefficient_step::store(double* b) {
  arma::uword const k = free_.n_elem;
  solve_upper_transposed(T_.memptr(), k, work_.memptr());
  for (arma::uword i = 0; i < k; ++i) b[free_(i)] = work_(i);
}

void coefficient_step::mean(arma::Mat<double> const& G, double const* h, double* b) {
  load(G, h, b);
  store(b);
}

void coefficient_step::draw(arma::Mat<double> const& G, double const* h, double v, Random& rng, double* b) {
  arma::uword const k = free_.n_elem;
  if (k == 0) return;
  rng.fill_randn(z_.memptr(), k);
  load(G, h, b);
  double const sd = std::sqrt(v);
  for (arma::uword i = 0; i < k; ++i) work_(i) += sd * z_(i);
  store(b);
}

}  // namespace tovik::sem::scan
