#include "sem/scan/effects_walk.hpp"

#include "sem/scan/cross_products.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

void effects_walk::propose(const arma::Mat<double>* A, double w, const arma::Mat<double>& iSigma,
                           double scale, Random& rng, arma::Mat<double>& u) {
  arma::uword const q = u.n_cols;
  P_.set_size(q * q);
  z_.set_size(u.n_elem);
  rng.fill_randn(z_.memptr(), u.n_elem);
  double* P = P_.memptr();
  double* z = z_.memptr();
  for (arma::uword c = 0; c < u.n_rows; ++c, z += q) {
    for (arma::uword j = 0; j < q; ++j)
      for (arma::uword i = 0; i <= j; ++i)
        P[i + j * q] = (A == nullptr ? 0.0 : w * (*A)(c, cluster_products::packed(i, j))) + iSigma(i, j);
    if (!reverse_cholesky(P, q)) throw numeric_error::not_positive_definite();
    solve_upper_transposed(P, q, z);
    for (arma::uword j = 0; j < q; ++j) u(c, j) += scale * z[j];
  }
}

}  // namespace tovik::sem::scan
