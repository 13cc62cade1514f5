#include "sem/scan/shifted_design.hpp"

#include <algorithm>
#include <cmath>

namespace tovik::sem::scan {

namespace {

/// Means of so many standard deviations are taken out: X'X keeps ten digits up to there.
constexpr double large_mean = 1e3;

bool is_constant_one(const double* x, arma::uword n) {
  return std::all_of(x, x + n, [](double value) { return value == 1.0; });
}

}  // namespace

void shifted_design::choose(const columns& x, const arma::Col<arma::uword>& free) {
  const auto& X = x.values();
  if (X.n_cols == 0 || X.n_rows == 0 || !arma::any(free == 0) || !is_constant_one(X.memptr(), X.n_rows))
    return;
  arma::Col<double> shift(X.n_cols, arma::fill::zeros);
  for (arma::uword j = 1; j < X.n_cols; ++j) {
    const double mean = arma::mean(X.col(j)), sd = arma::stddev(X.col(j));
    if (std::isfinite(mean) && sd > 0.0 && std::fabs(mean) > large_mean * sd) shift(j) = mean;
  }
  if (arma::any(shift != 0.0)) shift_ = shift;
}

void shifted_design::refresh(const columns& x, const row_scale& scale) {
  const auto& X = x.values();
  if (version_ > 0 && x.all_static() && scale.is_one()) return;
  X_ = X;
  for (arma::uword j = 0; j < X.n_cols; ++j)
    if (shift_(j) != 0.0) X_.col(j) -= shift_(j);
  if (scale.is_one()) {
    G_ = X_.t() * X_;
  } else {
    weighted_ = X_;
    for (arma::uword i = 0; i < X.n_rows; ++i) weighted_.row(i) *= scale.precision(i);
    G_ = X_.t() * weighted_;
  }
  ++version_;
}

void shifted_design::to_plain(double* b) const {
  for (arma::uword j = 1; j < shift_.n_elem; ++j) b[0] -= shift_(j) * b[j];
}

void shifted_design::from_plain(double* b) const {
  for (arma::uword j = 1; j < shift_.n_elem; ++j) b[0] += shift_(j) * b[j];
}

}  // namespace tovik::sem::scan
