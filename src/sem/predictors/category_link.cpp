#include "sem/predictors/category_link.hpp"

#include <cmath>

#include "random/densities.hpp"

namespace tovik::sem {

void category_link::map(const arma::Mat<double>& means, arma::Mat<double>& out) {
  out.set_size(means.n_rows, means.n_cols);
  arma::Col<arma::uword> all(means.n_rows);
  for (arma::uword i = 0; i < all.n_elem; ++i) all(i) = i;
  map(means, all, out);
}

void expected_code::set(const arma::Mat<double>& omega, const arma::Col<double>& thresholds) {
  sd_ = std::sqrt(omega(0, 0));
  tau_ = thresholds;
}

void expected_code::map(const arma::Mat<double>& means, const arma::Col<arma::uword>& rows,
                        arma::Mat<double>& out) {
  for (arma::uword i : rows) {
    double value = codes_[0];
    for (arma::uword k = 0; k < tau_.n_elem; ++k)
      value += (codes_[k + 1] - codes_[k]) * phi((means(i, 0) - tau_(k)) / sd_);
    out(i, 0) = value;
  }
}

// Category c is seen when A_c Z > 0, with the rows e_c and e_c - e_k, k != c, of A_c: a rectangle for
// -A_c (Z - t), which is N(0, A_c Omega A_c'), up to the bound A_c t.
void category_proportions::set(const arma::Mat<double>& omega, const arma::Col<double>&) {
  arma::uword const D = omega.n_rows;
  sd_ = std::sqrt(omega(0, 0));
  regions_.clear();
  if (D == 1) return;
  for (arma::uword c = 0; c < D; ++c) {
    arma::Mat<double> A = -arma::eye(D, D);
    A.col(c).ones();
    regions_.emplace_back(A * omega * A.t());
  }
}

void category_proportions::map(const arma::Mat<double>& means, const arma::Col<arma::uword>& rows,
                               arma::Mat<double>& out) {
  arma::uword const D = means.n_cols;
  if (D == 1) {
    for (arma::uword i : rows) out(i, 0) = phi(means(i, 0) / sd_);
    return;
  }
  arma::Col<double> bound(D);
  for (arma::uword i : rows) {
    for (arma::uword c = 0; c < D; ++c) {
      for (arma::uword k = 0; k < D; ++k) bound(k) = k == c ? means(i, c) : means(i, c) - means(i, k);
      out(i, c) = regions_[c](bound);
    }
  }
}

}  // namespace tovik::sem
