#include "sem/scan/cluster_factor.hpp"

#include <cmath>

#include "sem/scan/cross_products.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

void cluster_factor::factor(const arma::Mat<double>& A, double w, const arma::Mat<double>& K) {
  arma::uword const n = A.n_rows, q = K.n_rows;
  const auto at = [](arma::uword i, arma::uword j) { return cluster_products::packed(i, j); };
  T_.set_size(n, A.n_cols);
  for (arma::uword j = 0; j < q; ++j)
    for (arma::uword i = 0; i <= j; ++i) {
      const double* a = A.colptr(at(i, j));
      double* t = T_.colptr(at(i, j));
      for (arma::uword c = 0; c < n; ++c) t[c] = w * a[c] + K(i, j);
    }
  bool valid = true;
  for (arma::uword j = q; j-- > 0;) {
    double* pivot = T_.colptr(at(j, j));
    for (arma::uword l = j + 1; l < q; ++l) {
      const double* t = T_.colptr(at(j, l));
      for (arma::uword c = 0; c < n; ++c) pivot[c] -= t[c] * t[c];
    }
    for (arma::uword c = 0; c < n; ++c) {
      valid &= pivot[c] > 0.0;
      pivot[c] = std::sqrt(pivot[c]);
    }
    for (arma::uword i = 0; i < j; ++i) {
      double* t = T_.colptr(at(i, j));
      for (arma::uword l = j + 1; l < q; ++l) {
        const double *left = T_.colptr(at(i, l)), *right = T_.colptr(at(j, l));
        for (arma::uword c = 0; c < n; ++c) t[c] -= left[c] * right[c];
      }
      for (arma::uword c = 0; c < n; ++c) t[c] /= pivot[c];
    }
  }
  if (!valid) throw numeric_error::not_positive_definite();
}

void cluster_factor::solve(std::vector<arma::Mat<double>>& R) const {
  for (arma::uword j = R.size(); j-- > 0;) {
    arma::uword const n = R[j].n_rows;
    const double* pivot = T_.colptr(cluster_products::packed(j, j));
    for (arma::uword m = 0; m < R[j].n_cols; ++m) {
      double* r = R[j].colptr(m);
      for (arma::uword l = j + 1; l < R.size(); ++l) {
        const double *t = T_.colptr(cluster_products::packed(j, l)), *other = R[l].colptr(m);
        for (arma::uword c = 0; c < n; ++c) r[c] -= t[c] * other[c];
      }
      for (arma::uword c = 0; c < n; ++c) r[c] /= pivot[c];
    }
  }
}

}  // namespace tovik::sem::scan
