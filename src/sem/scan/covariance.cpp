#include "sem/scan/covariance.hpp"

#include "sem/scan/blas.hpp"
#include "sem/scan/residual_variance.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

int prior_degrees(int prior, int q) {
  switch (prior) {
    case 1:
      return q + 1;
    case 2:
      return -(q + 1);
    case 3:
      return 0;
    default:
      throw error_debug("Unknown prior for a covariance matrix.");
  }
}

void covariance_step::draw(int prior, const arma::Mat<double>& u, Random& rng, arma::Mat<double>& iSigma,
                           arma::Mat<double>& Sigma, const arma::Col<double>* units) {
  arma::uword const q = u.n_cols, n = u.n_rows;
  if (q == 0) return;
  if (q == 1) {
    const double unit = units == nullptr ? 1.0 : (*units)(0);
    const double precision =
        draw_precision(prior, static_cast<double>(n), dot(n, u.memptr(), u.memptr()), rng, unit);
    iSigma(0, 0) = precision;
    Sigma(0, 0) = 1.0 / precision;
    return;
  }
  S_.set_size(q, q);
  S_inverse_.set_size(q, q);
  work_.set_size(q * (q + 1));
  for (arma::uword j = 0; j < q; ++j) {
    for (arma::uword i = 0; i <= j; ++i) {
      const double pseudo = prior == 1 && i == j ? (units == nullptr ? 1.0 : (*units)(j)) : 0.0;
      const double value = dot(n, u.colptr(i), u.colptr(j)) + pseudo;
      S_(i, j) = value;
      S_(j, i) = value;
    }
  }
  const int df = static_cast<int>(n) + prior_degrees(prior, static_cast<int>(q));
  invert_symmetric(S_.memptr(), q, S_inverse_.memptr(), work_.memptr());
  rng.rwish(df, S_inverse_, iSigma, wishart_);
  invert_symmetric(iSigma.memptr(), q, Sigma.memptr(), work_.memptr());
}

}  // namespace tovik::sem::scan
