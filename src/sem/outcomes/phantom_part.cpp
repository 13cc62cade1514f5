#include "sem/outcomes/phantom_part.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sem/scan/blas.hpp"
#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem {

namespace {
constexpr double log_2_pi = 1.8378770664093453;
}

void phantom_products::assign(arma::Mat<double> const& E, arma::Mat<double> const& P) {
  arma::uword const q = E.n_cols, p = P.n_cols;
  n_ = static_cast<double>(E.n_rows);
  EE_.set_size(q, q);
  EP_.set_size(q, p);
  PP_.set_size(p, p);
  for (arma::uword j = 0; j < q; ++j)
    for (arma::uword i = 0; i <= j; ++i)
      EE_(i, j) = EE_(j, i) = scan::dot(E.n_rows, E.colptr(i), E.colptr(j));
  for (arma::uword k = 0; k < p; ++k) assign(E, P, k);
}

void phantom_products::assign(arma::Mat<double> const& E, arma::Mat<double> const& P, arma::uword k) {
  for (arma::uword j = 0; j < E.n_cols; ++j) EP_(j, k) = scan::dot(E.n_rows, E.colptr(j), P.colptr(k));
  for (arma::uword l = 0; l < P.n_cols; ++l)
    PP_(l, k) = PP_(k, l) = scan::dot(P.n_rows, P.colptr(l), P.colptr(k));
}

// -n/2 log|2 pi C| - 1/2 tr(inv(C) (E'E - Lambda P'E - E'P Lambda' + Lambda P'P Lambda')).
double phantom_products::log_density(phantom_loadings const& loadings) const {
  arma::uword const q = EE_.n_rows, p = PP_.n_rows;
  auto const& Lambda = loadings.loadings();
  auto const& terms = loadings.terms();
  rest_.set_size(q, q);
  std::copy_n(EE_.memptr(), q * q, rest_.memptr());
  for (arma::uword k = 0; k < p; ++k) {
    arma::uword const t = terms[k].effect;
    double const l = Lambda(t, k);
    if (l == 0.0) continue;
    for (arma::uword j = 0; j < q; ++j) {
      rest_(t, j) -= l * EP_(j, k);
      rest_(j, t) -= l * EP_(j, k);
    }
    for (arma::uword m = 0; m < p; ++m)
      rest_(t, terms[m].effect) += l * Lambda(terms[m].effect, m) * PP_(k, m);
  }
  double trace = 0.0;
  auto const& precision = loadings.precision();
  for (arma::uword i = 0; i < q * q; ++i) trace += precision.memptr()[i] * rest_.memptr()[i];
  return -0.5 * (n_ * (static_cast<double>(q) * log_2_pi + loadings.log_det()) + trace);
}

double phantom_products::log_density(arma::Mat<double> const& S) const {
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

void phantom_part::read(arma::Mat<double> const& E, arma::Mat<double> const& data,
                        arma::Col<arma::uword> const* rows) {
  E_.set_size(E.n_rows, E.n_cols);
  std::copy_n(E.memptr(), E.n_elem, E_.memptr());
  P_.set_size(E.n_rows, loadings.size());
  for (arma::uword k = 0; k < loadings.size(); ++k) {
    double const* from = data.colptr(loadings.terms()[k].column);
    double* to = P_.colptr(k);
    for (arma::uword i = 0; i < P_.n_rows; ++i) to[i] = from[rows == nullptr ? i : (*rows)(i)];
  }
  products_.assign(E_, P_);
}

void phantom_part::read_scores(arma::uword k, arma::Mat<double> const& data,
                               arma::Col<arma::uword> const* rows) {
  double const* from = data.colptr(loadings.terms()[k].column);
  double* to = P_.colptr(k);
  for (arma::uword i = 0; i < P_.n_rows; ++i) to[i] = from[rows == nullptr ? i : (*rows)(i)];
  products_.assign(E_, P_, k);
}

double phantom_part::log_density() const {
  return loadings.valid() ? products_.log_density(loadings) : -std::numeric_limits<double>::infinity();
}

// With d_i = E_i - Lambda P_i and l the one loading of phantom k, on element t: a score that grows by s
// changes d_it by -l s, and -1/2 d_i'inv(C)d_i by l s (inv(C) d_i)_t - 1/2 (l s)^2 inv(C)_tt.
void phantom_part::begin_scores(arma::uword k) {
  arma::uword const q = E_.n_cols, n = E_.n_rows, t = loadings.terms()[k].effect;
  auto const& Lambda = loadings.loadings();
  double const* precision = loadings.precision().colptr(t);
  rest_.set_size(n);
  rest_.zeros();
  for (arma::uword j = 0; j < q; ++j) scan::add_scaled(n, precision[j], E_.colptr(j), rest_.memptr());
  for (arma::uword m = 0; m < loadings.size(); ++m) {
    arma::uword const s = loadings.terms()[m].effect;
    scan::add_scaled(n, -precision[s] * Lambda(s, m), P_.colptr(m), rest_.memptr());
  }
}

void phantom_part::add_gain(arma::uword k, arma::Col<arma::uword> const& units, double const* delta,
                            double* out) const {
  arma::uword const t = loadings.terms()[k].effect;
  double const l = loadings.loadings()(t, k);
  double const curvature = 0.5 * l * l * loadings.precision()(t, t);
  for (arma::uword j = 0; j < units.n_elem; ++j)
    out[j] += delta[j] * (l * rest_(units(j)) - curvature * delta[j]);
}

}  // namespace tovik::sem
