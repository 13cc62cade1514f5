#include "sem/scan/random_effects.hpp"

#include <cmath>

#include "sem/scan/cross_products.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

void random_effects_step::draw(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                               const arma::Mat<double>& iSigma, const arma::Mat<double>* mu, Random& rng,
                               arma::Mat<double>& u) {
  arma::uword const q = u.n_cols;
  if (q == 0) return;
  z_.set_size(u.n_elem);
  rng.fill_randn(z_.memptr(), u.n_elem);
  if (q == 1)
    draw_1(A, t, w, iSigma, mu, u);
  else if (q == 2)
    draw_2(A, t, w, iSigma, mu, u);
  else
    draw_any(A, t, w, iSigma, mu, u);
}

void random_effects_step::draw_1(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                                 const arma::Mat<double>& iSigma, const arma::Mat<double>* mu,
                                 arma::Mat<double>& u) {
  const double s = iSigma(0, 0);
  const double* a = A.memptr();
  const double* h = t.memptr();
  const double* m = mu == nullptr ? nullptr : mu->memptr();
  const double* z = z_.memptr();
  double* out = u.memptr();
  bool valid = true;
  for (arma::uword c = 0; c < u.n_rows; ++c) {
    const double precision = w * a[c] + s;
    valid &= precision > 0.0;
    const double v = 1.0 / precision;
    const double mean = v * (w * h[c] + (m == nullptr ? 0.0 : s * m[c]));
    out[c] = mean + z[c] * std::sqrt(v);
  }
  if (!valid) throw numeric_error::not_positive_definite();
}

// The 2 x 2 case of the reverse factor, written out: P = T T' with T = [t11 t12; 0 t22] has
// t22^2 = p22, t12 t22 = p12, t11^2 = p11 - p12^2 / p22 =: d.
void random_effects_step::draw_2(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                                 const arma::Mat<double>& iSigma, const arma::Mat<double>* mu,
                                 arma::Mat<double>& u) {
  const double s11 = iSigma(0, 0), s12 = iSigma(0, 1), s22 = iSigma(1, 1);
  const double *a11 = A.colptr(0), *a12 = A.colptr(1), *a22 = A.colptr(2);
  const double *t1 = t.colptr(0), *t2 = t.colptr(1);
  const double* z = z_.memptr();
  double *u1 = u.colptr(0), *u2 = u.colptr(1);
  bool valid = true;
  for (arma::uword c = 0; c < u.n_rows; ++c) {
    const double p11 = w * a11[c] + s11, p12 = w * a12[c] + s12, p22 = w * a22[c] + s22;
    double h1 = w * t1[c], h2 = w * t2[c];
    if (mu != nullptr) {
      const double m1 = (*mu)(c, 0), m2 = (*mu)(c, 1);
      h1 += s11 * m1 + s12 * m2;
      h2 += s12 * m1 + s22 * m2;
    }
    const double v22 = 1.0 / p22;
    const double slope = p12 * v22;
    const double d = p11 - slope * p12;
    valid &= p22 > 0.0 && d > 0.0;
    const double v11 = 1.0 / d;
    const double first = (h1 - slope * h2) * v11 + z[2 * c] * std::sqrt(v11);
    u1[c] = first;
    u2[c] = h2 * v22 + z[2 * c + 1] * std::sqrt(v22) - slope * first;
  }
  if (!valid) throw numeric_error::not_positive_definite();
}

void random_effects_step::draw_any(const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
                                   const arma::Mat<double>& iSigma, const arma::Mat<double>* mu,
                                   arma::Mat<double>& u) {
  arma::uword const q = u.n_cols;
  P_.set_size(q * q);
  h_.set_size(q);
  double* P = P_.memptr();
  double* h = h_.memptr();
  const double* z = z_.memptr();
  for (arma::uword c = 0; c < u.n_rows; ++c, z += q) {
    for (arma::uword j = 0; j < q; ++j) {
      h[j] = w * t(c, j);
      for (arma::uword i = 0; i <= j; ++i)
        P[i + j * q] = w * A(c, cluster_products::packed(i, j)) + iSigma(i, j);
    }
    if (mu != nullptr)
      for (arma::uword j = 0; j < q; ++j)
        for (arma::uword i = 0; i < q; ++i) h[j] += iSigma(j, i) * (*mu)(c, i);
    if (!reverse_cholesky(P, q)) throw numeric_error::not_positive_definite();
    solve_upper(P, q, h);
    for (arma::uword j = 0; j < q; ++j) h[j] += z[j];
    solve_upper_transposed(P, q, h);
    for (arma::uword j = 0; j < q; ++j) u(c, j) = h[j];
  }
}

}  // namespace tovik::sem::scan
