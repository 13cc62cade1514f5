#pragma once

#include <armadillo>

namespace tovik::sem::scan {

/// The joint density of p outcomes that measure one normal score, the score integrated out: with
///
///   z_k = l_k f + e_k,   e_k ~ N(0, s_k),   f ~ N(eta, v)
///
/// independently over n units, z ~ N(l eta, V), V = v l l' + diag(s). With w_k = l_k / s_k and c = 1 / v +
/// l'w
///
///   |V| = v c prod_k s_k,   inv(V) = diag(1 / s) - w w' / c
///
/// (Woodbury), so that the products of the z and of eta over units are all that the density needs: p^2
/// operations whatever n is.
class factor_density {
 public:
  arma::Col<double> loadings, variances;
  double variance = 1.0;

  /// `T`: Z'Z of Z = (z_1, ..., z_p, eta), whose upper triangle is read; `n`: units.
  void set_products(const arma::Mat<double>& T, double n);
  /// Up to a constant of n and p. -infinity where a variance is not positive.
  double log_density() const;

 private:
  arma::Mat<double> T_;
  double n_ = 0.0;
};

}  // namespace tovik::sem::scan
