#include "sem/phantoms/phantom_part.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "random/constants.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem {

namespace {

/// a'b, or a'Wb.
double product_of(arma::uword n, const double* a, const double* b, const arma::Col<double>* w) {
  if (w == nullptr) return scan::dot(n, a, b);
  double sum = 0.0;
  for (arma::uword i = 0; i < n; ++i) sum += (*w)(i)*a[i] * b[i];
  return sum;
}

}  // namespace

void phantom_products::assign(const arma::Mat<double>& E, const arma::Mat<double>& P,
                              const arma::Col<double>* w) {
  arma::uword const n = E.n_rows, q = E.n_cols, p = P.n_cols;
  n_ = static_cast<double>(n);
  EE_.set_size(q, q);
  EP_.set_size(q, p);
  PP_.set_size(p, p);
  for (arma::uword j = 0; j < q; ++j)
    for (arma::uword i = 0; i <= j; ++i) EE_(i, j) = EE_(j, i) = product_of(n, E.colptr(i), E.colptr(j), w);
  for (arma::uword k = 0; k < p; ++k) {
    for (arma::uword j = 0; j < q; ++j) EP_(j, k) = product_of(n, E.colptr(j), P.colptr(k), w);
    for (arma::uword l = 0; l <= k; ++l) PP_(l, k) = PP_(k, l) = product_of(n, P.colptr(l), P.colptr(k), w);
  }
}

// -n/2 log|2 pi C| - 1/2 tr(inv(C) (E'E - Lambda P'E - E'P Lambda' + Lambda P'P Lambda')).
double phantom_products::log_density(const phantom_loadings& loadings) const {
  arma::uword const q = EE_.n_rows, p = PP_.n_rows;
  const auto& Lambda = loadings.loadings();
  const auto& terms = loadings.terms();
  rest_.set_size(q, q);
  std::copy_n(EE_.memptr(), q * q, rest_.memptr());
  for (arma::uword k = 0; k < p; ++k) {
    arma::uword const t = terms[k].effect;
    const double l = Lambda(t, k);
    if (l == 0.0) continue;
    for (arma::uword j = 0; j < q; ++j) {
      rest_(t, j) -= l * EP_(j, k);
      rest_(j, t) -= l * EP_(j, k);
    }
    for (arma::uword m = 0; m < p; ++m)
      rest_(t, terms[m].effect) += l * Lambda(terms[m].effect, m) * PP_(k, m);
  }
  double trace = 0.0;
  const auto& precision = loadings.precision();
  for (arma::uword i = 0; i < q * q; ++i) trace += precision.memptr()[i] * rest_.memptr()[i];
  return -0.5 * (n_ * (static_cast<double>(q) * log_2_pi + loadings.log_det()) + trace);
}

double phantom_products::log_density(const arma::Mat<double>& S) const {
  arma::uword const q = EE_.n_rows;
  T_.set_size(q, q);
  rest_.set_size(q, q);
  std::copy_n(S.memptr(), q * q, T_.memptr());
  if (!scan::reverse_cholesky(T_.memptr(), q)) return -std::numeric_limits<double>::infinity();
  double trace = 0.0;
  for (arma::uword j = 0; j < q; ++j) {
    double* column = rest_.colptr(j);
    for (arma::uword i = 0; i < q; ++i) column[i] = i == j ? 1.0 : 0.0;
    scan::solve_upper(T_.memptr(), q, column);
    scan::solve_upper_transposed(T_.memptr(), q, column);
    for (arma::uword i = 0; i < q; ++i) trace += column[i] * EE_(i, j);
  }
  return -0.5 * (n_ * (static_cast<double>(q) * log_2_pi + scan::log_determinant(T_.memptr(), q)) + trace);
}

void phantom_part::read_values(const arma::Mat<double>& E) {
  E_.set_size(E.n_rows, E.n_cols);
  std::copy_n(E.memptr(), E.n_elem, E_.memptr());
}

void phantom_part::read(const arma::Mat<double>& E, const arma::Mat<double>& data,
                        const arma::Col<arma::uword>* rows) {
  read_values(E);
  P_.set_size(E.n_rows, loadings.size());
  for (arma::uword k = 0; k < loadings.size(); ++k) {
    const double* from = data.colptr(loadings.terms()[k].column);
    double* to = P_.colptr(k);
    for (arma::uword i = 0; i < P_.n_rows; ++i) to[i] = from[rows == nullptr ? i : (*rows)(i)];
  }
  products_.assign(E_, P_, weights_);
}

double phantom_part::log_density() const {
  return loadings.valid() ? products_.log_density(loadings) : -std::numeric_limits<double>::infinity();
}

}  // namespace tovik::sem
