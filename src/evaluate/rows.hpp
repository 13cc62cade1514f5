#pragma once

#include <armadillo>
#include <cmath>
#include <limits>

/// One way to read a column and a scalar that stands for every row: a template over both covers all layouts
/// of two operands.
namespace tovik::evaluate {

inline double at(const arma::Col<double>& x, arma::uword i) {
  return x[i];
}
inline double at(double x, arma::uword) {
  return x;
}

inline bool fits(const arma::Col<double>& x, arma::uword n) {
  return x.n_elem == n;
}
inline bool fits(double, arma::uword) {
  return true;
}

/// A column of `result(i)`, with NaN in every row where a or b is NaN. The lengths are the caller's to check.
template <class A, class B, class Result>
arma::Col<double> masked_rows(arma::uword n, const A& a, const B& b, const Result& result) {
  arma::Col<double> out(n);
  for (arma::uword i = 0; i < n; ++i) {
    const bool unknown = std::isnan(at(a, i)) || std::isnan(at(b, i));
    out[i] = unknown ? std::numeric_limits<double>::quiet_NaN() : static_cast<double>(result(i));
  }
  return out;
}

}  // namespace tovik::evaluate
