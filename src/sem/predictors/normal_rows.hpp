#pragma once

#include <armadillo>

#include "random/random.hpp"

namespace tovik::sem {

/// next := from + scale z R, with z standard normal, drawn as a matrix column by column. R = root(i) is the
/// upper triangular factor, dim x dim column by column, of the covariance R'R of row i.
template <typename Root>
void walk_rows(const arma::Mat<double>& from, double scale, Root root, Random& rng, arma::Mat<double>& next) {
  arma::uword const dim = from.n_cols;
  next.set_size(from.n_rows, dim);
  rng.fill_randn(next.memptr(), next.n_elem);
  if (dim == 1) {
    const double* const start = from.memptr();
    double* const to = next.memptr();
    for (arma::uword i = 0; i < next.n_rows; ++i) to[i] = start[i] + scale * *root(i) * to[i];
    return;
  }
  // From the last column down each uses elements that still are normals.
  for (arma::uword c = dim; c-- > 0;) {
    double* to = next.colptr(c);
    const double* start = from.colptr(c);
    for (arma::uword i = 0; i < next.n_rows; ++i) {
      const double* R = root(i) + c * dim;
      double sum = 0;
      for (arma::uword k = 0; k <= c; ++k) sum += next(i, k) * R[k];
      to[i] = start[i] + scale * sum;
    }
  }
}

/// d H d' of the difference d between row i of x and row j of y; H is symmetric, column by column.
inline double squared_distance(const arma::Mat<double>& x, arma::uword i, const arma::Mat<double>& y,
                               arma::uword j, const double* H) {
  arma::uword const dim = x.n_cols;
  if (dim == 1) return H[0] * (x(i, 0) - y(j, 0)) * (x(i, 0) - y(j, 0));
  double square = 0;
  for (arma::uword c = 0; c < dim; ++c) {
    const double d = x(i, c) - y(j, c);
    for (arma::uword k = 0; k < dim; ++k) square += d * H[k + c * dim] * (x(i, k) - y(j, k));
  }
  return square;
}

}  // namespace tovik::sem
