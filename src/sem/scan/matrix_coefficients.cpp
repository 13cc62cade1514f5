#include "sem/scan/matrix_coefficients.hpp"

namespace tovik::sem::scan {

namespace {

arma::Col<arma::uword> all_predictors(arma::uword n) {
  arma::Col<arma::uword> out(n);
  for (arma::uword j = 0; j < n; ++j) out[j] = j;
  return out;
}

}  // namespace

matrix_coefficient_step::matrix_coefficient_step(arma::uword n_predictors, const coefficient_prior& prior)
    : step_(all_predictors(n_predictors), {}, prior) {}

void matrix_coefficient_step::draw(const arma::Mat<double>& G, arma::Mat<double>& H, arma::uword n,
                                   const arma::Mat<double>& Sigma, Random& rng, arma::Mat<double>& B) {
  arma::uword const dim = B.n_cols;
  if (dim > 1) {
    eigen_.take(Sigma);
    rotated_ = H * eigen_.vectors;
    H = rotated_;
  }
  const double* const variance = dim > 1 ? eigen_.values.memptr() : Sigma.memptr();
  step_.factor(G, n);
  for (arma::uword k = 0; k < dim; ++k) step_.draw(G, H.colptr(k), variance[k], rng, B.colptr(k));
  if (dim == 1) return;
  rotated_ = B * eigen_.vectors.t();
  B = rotated_;
}

}  // namespace tovik::sem::scan
