#include "sem/phantoms/phantom_loadings.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem {

phantom_loadings::phantom_loadings(std::vector<phantom_term> terms, arma::uword q)
    : terms_(std::move(terms)),
      rhos_(terms_.size(), arma::fill::zeros),
      Lambda_(q, terms_.size(), arma::fill::zeros),
      conditional_(q, q, arma::fill::eye),
      precision_(q, q, arma::fill::eye),
      work_(q * q, arma::fill::zeros) {
  for (const phantom_term& term : terms_)
    if (term.effect >= q) throw error_debug("A phantom enters a random effect that does not exist.");
}

arma::uword phantom_loadings::find(arma::uword column) const {
  for (std::size_t k = 0; k < terms_.size(); ++k)
    if (terms_[k].column == column) return k;
  throw error_debug("The equation does not hold the phantom.");
}

bool phantom_loadings::refresh(double variance) {
  const arma::Mat<double> S(&variance, 1, 1, false, true);
  return refresh(S);
}

// Every phantom enters one element, so that Lambda Lambda' is diagonal.
bool phantom_loadings::refresh(const arma::Mat<double>& S) {
  arma::uword const q = conditional_.n_rows;
  std::copy_n(S.memptr(), q * q, conditional_.memptr());
  for (std::size_t k = 0; k < terms_.size(); ++k) {
    arma::uword const t = terms_[k].effect;
    const double rho = rhos_(k);
    const double square = std::fabs(rho) * S(t, t);
    const double root = std::sqrt(square);
    Lambda_(t, k) = rho == 0.0 ? 0.0 : terms_[k].signed_side && rho < 0.0 ? -root : root;
    conditional_(t, t) -= square;
  }
  double* T = work_.memptr();
  std::copy_n(conditional_.memptr(), q * q, T);
  valid_ = scan::reverse_cholesky(T, q);
  if (!valid_) return false;
  log_det_ = scan::log_determinant(T, q);
  for (arma::uword j = 0; j < q; ++j) {
    double* column = precision_.colptr(j);
    for (arma::uword i = 0; i < q; ++i) column[i] = i == j ? 1.0 : 0.0;
    scan::solve_upper(T, q, column);
    scan::solve_upper_transposed(T, q, column);
  }
  for (arma::uword j = 0; j < q; ++j)
    for (arma::uword i = 0; i < j; ++i) precision_(j, i) = precision_(i, j);
  return true;
}

void phantom_loadings::means(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                             arma::Mat<double>& out) const {
  arma::uword const n = rows == nullptr ? data.n_rows : rows->n_elem;
  out.set_size(n, Lambda_.n_rows);
  out.zeros();
  for (std::size_t k = 0; k < terms_.size(); ++k) {
    const double loading = Lambda_(terms_[k].effect, k);
    if (loading == 0.0) continue;
    const double* P = data.colptr(terms_[k].column);
    double* to = out.colptr(terms_[k].effect);
    for (arma::uword i = 0; i < n; ++i) to[i] += loading * P[rows == nullptr ? i : (*rows)(i)];
  }
}

}  // namespace tovik::sem
