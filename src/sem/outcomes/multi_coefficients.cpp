// Coefficients of several members that are drawn together.
//
// With r_j = y*_j - eta_j the residuals at the coefficients as they stand and d_j how far those of member j
// move, the residuals of a unit are e_j = r_j - x_j'd_j, and the log density of the block is, with Omega =
// inv(Sigma),
//
//   -1/2 sum_jk Omega_jk (r_j - X_j d_j)'(r_k - X_k d_k) + const,
//
// a normal density in d of the precision Omega_jk X_j'X_k and the linear term X_j' sum_k Omega_jk r_k, where
// k passes over all members (Zellner, 1962, JASA 57, 348-368, on seemingly unrelated regressions).

#include "sem/outcomes/multi.hpp"
#include "sem/scan/blas.hpp"

namespace tovik::sem {

namespace {

/// C := X'Y.
void multiply_designs(const arma::Mat<double>& X, const arma::Mat<double>& Y, arma::Mat<double>& C) {
  C.set_size(X.n_cols, Y.n_cols);
  for (arma::uword b = 0; b < Y.n_cols; ++b) scan::multiply_transposed(1.0, X, Y.colptr(b), 0.0, C.colptr(b));
}

}  // namespace

void Multi::collect_coefficients(const arma::Mat<double>& data, const std::vector<Regression*>& of,
                                 scan::coefficient_block& coefficients) {
  const arma::Mat<double>& r = residuals(data);
  for (Regression* member : of) {
    const arma::Mat<double>& X = member->read_design(data);
    arma::uword const j = position_of(*member);
    column_.assign(n_units_, 0.0);
    for (arma::uword k = 0; k < size(); ++k)
      if (Omega_(j, k) != 0.0) scan::add_scaled(n_units_, Omega_(j, k), r.colptr(k), column_.data());
    gradient_.set_size(X.n_cols);
    scan::multiply_transposed(1.0, X, column_.data(), 0.0, gradient_.memptr());
    coefficients.add_gradient(member->shared_parameters(), gradient_.memptr(), n_units_);
  }
  for (Regression* one : of) {
    for (Regression* other : of) {
      const double weight = Omega_(position_of(*one), position_of(*other));
      if (weight == 0.0) continue;
      multiply_designs(one->read_design(data), other->read_design(data), products_);
      coefficients.add_products(one->shared_parameters(), other->shared_parameters(), products_, weight);
    }
  }
}

}  // namespace tovik::sem
