#include "sem/scan/correlation_completion.hpp"

#include <algorithm>

#include "sem/scan/covariance_walk.hpp"

namespace tovik::sem::scan {

namespace {

constexpr int sweeps = 3;
constexpr double least_step = 1e-4;

/// The walk evaluates matrices under a flat target.
covariance_walk flat_target(arma::uword p) {
  covariance_walk out;
  out.set_target(0.0, arma::Mat<double>(p, p, arma::fill::zeros), 2, arma::Col<double>(p, arma::fill::ones));
  return out;
}

void raise_determinant(const arma::Mat<unsigned char>& is_known, covariance_walk& at, arma::Mat<double>& R) {
  for (int sweep = 0; sweep < sweeps; ++sweep) {
    for (arma::uword j = 0; j < R.n_cols; ++j) {
      for (arma::uword i = j + 1; i < R.n_rows; ++i) {
        if (is_known(i, j) != 0) continue;
        const auto within = at.admissible(i, j);
        R(i, j) = R(j, i) = 0.5 * (within.lower + within.upper);
        if (!at.start(R)) return;
      }
    }
  }
}

}  // namespace

bool complete_correlations(const arma::Mat<unsigned char>& is_known, arma::Mat<double>& R) {
  arma::uword const p = R.n_rows;
  covariance_walk at = flat_target(p);
  if (at.start(R)) return true;
  arma::Mat<double> path(p, p, arma::fill::eye);
  at.start(path);
  double reached = 0.0, step = 1.0;
  while (reached < 1.0) {
    const double t = std::min(1.0, reached + step);
    arma::Mat<double> next = path;
    for (arma::uword j = 0; j < p; ++j)
      for (arma::uword i = 0; i < p; ++i)
        if (i != j && is_known(i, j) != 0) next(i, j) = t * R(i, j);
    if (!at.start(next)) {
      step *= 0.5;
      if (step < least_step) return false;
      at.start(path);
      continue;
    }
    reached = t;
    path = next;
    raise_determinant(is_known, at, path);
    if (!at.start(path)) return false;
  }
  R = path;
  return true;
}

}  // namespace tovik::sem::scan
