#include "sem/scan/factor_density.hpp"

#include <cmath>
#include <limits>

namespace tovik::sem::scan {

void factor_density::set_products(const arma::Mat<double>& T, double n) {
  T_.set_size(T.n_rows, T.n_cols);
  for (arma::uword j = 0; j < T.n_cols; ++j)
    for (arma::uword i = 0; i <= j; ++i) T_(i, j) = T_(j, i) = T(i, j);
  n_ = n;
}

// With M = sum over units of (z - l eta)(z - l eta)' = T_zz - l t' - t l' + l l' t_eta, t = T_z,eta, the
// exponent needs the diagonal of M and w'M w.
double factor_density::log_density() const {
  constexpr double none = -std::numeric_limits<double>::infinity();
  arma::uword const p = loadings.n_elem;
  if (!(variance > 0.0)) return none;
  const double* t = T_.colptr(p);
  const double of_eta = t[p];
  double c = 1.0 / variance, logs = std::log(variance), squares = 0.0, wTw = 0.0, wl = 0.0, wt = 0.0;
  for (arma::uword k = 0; k < p; ++k) {
    const double l = loadings(k), s = variances(k);
    if (!(s > 0.0)) return none;
    const double w = l / s;
    logs += std::log(s);
    squares += (T_(k, k) - 2.0 * l * t[k] + l * l * of_eta) / s;
    wl += w * l;
    wt += w * t[k];
    double column = 0.5 * w * T_(k, k);
    for (arma::uword j = 0; j < k; ++j) column += loadings(j) / variances(j) * T_(j, k);
    wTw += 2.0 * w * column;
  }
  c += wl;
  const double wMw = wTw - 2.0 * wl * wt + wl * wl * of_eta;
  const double out = -0.5 * (n_ * (logs + std::log(c)) + squares - wMw / c);
  return std::isnan(out) ? none : out;
}

}  // namespace tovik::sem::scan
