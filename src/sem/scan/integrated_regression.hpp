#pragma once

#include <armadillo>

namespace tovik::sem::scan {

/// The density of e = X b + noise, noise ~ N(0, v I), with the coefficients integrated out under a flat prior
/// and, unless it is known, v under its (improper) inverse gamma prior: with SS = |e - X inv(X'X) X'e|^2, n
/// rows and k columns it is, up to a constant,
///
///   (SS + pseudo)^(-(n - k + df) / 2),   or exp(-SS / (2 v)) for a known v,
///
/// df and pseudo the degrees of freedom and the sum of squares that stand for the prior (see draw_precision);
/// Box & Cox, 1964, J. R. Stat. Soc. B 26, 211-252, section 4. With noise of a known standard deviation 1 /
/// w_i in each row it is, over w too, product of w_i times |X'W^2 X|^(-1/2) exp(-SS / 2), SS that of W e on W
/// X.
class integrated_regression {
 public:
  /// n x k, to be filled. k may be 0.
  arma::Mat<double>& design() { return X_; }
  /// The design has been filled. False when its columns depend on each other.
  bool factor();
  /// The same for rows that count by w.
  bool factor(const arma::Col<double>& w);
  /// log |X'X|, or log |X'W^2 X|.
  double log_determinant() const;

  /// SS; of W e where rows count by w.
  double squares(const arma::Col<double>& e);
  /// The logarithm of the density with v integrated out under this prior, and with v known.
  double log_density(double squares, int prior, double unit) const;
  static double log_density(double squares, double v) { return -0.5 * squares / v; }
  /// n - k.
  double rows_left() const { return static_cast<double>(X_.n_rows) - static_cast<double>(X_.n_cols); }
  /// The density with v integrated out exists.
  bool is_proper(int prior) const;

 private:
  const arma::Mat<double>& rows() const { return by_rows_ ? weighed_ : X_; }
  bool factor_rows();

  bool by_rows_ = false;
  arma::Mat<double> X_, weighed_, root_;
  arma::Col<double> b_, r_;
};

}  // namespace tovik::sem::scan
