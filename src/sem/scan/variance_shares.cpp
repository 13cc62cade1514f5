#include "sem/scan/variance_shares.hpp"

namespace tovik::sem::scan {

void column_moments::update(arma::Mat<double> const& X, arma::uword j) {
  arma::uword const n = X.n_rows;
  double const divisor = static_cast<double>(n) - 1.0;
  double const* x = X.colptr(j);
  for (arma::uword l = 0; l < X.n_cols; ++l) {
    double const* y = X.colptr(l);
    double sum = 0.0;
    for (arma::uword i = 0; i < n; ++i) sum += (x[i] - mean(j)) * (y[i] - mean(l));
    covariance(j, l) = sum / divisor;
    covariance(l, j) = sum / divisor;
  }
}

void column_moments::refresh(columns const& x) {
  auto const& X = x.values();
  auto average = [&](arma::uword j) {
    double sum = 0.0;
    for (arma::uword i = 0; i < X.n_rows; ++i) sum += X(i, j);
    mean(j) = sum / static_cast<double>(X.n_rows);
  };
  if (filled_) {
    for (arma::uword j : x.dynamic()) average(j);
    for (arma::uword j : x.dynamic()) update(X, j);
    return;
  }
  mean.set_size(X.n_cols);
  covariance.set_size(X.n_cols, X.n_cols);
  for (arma::uword j = 0; j < X.n_cols; ++j) average(j);
  for (arma::uword j = 0; j < X.n_cols; ++j) update(X, j);
  filled_ = true;
}

double fixed_variance(column_moments const& x, double const* b, arma::uword first) {
  arma::uword const k = x.covariance.n_cols;
  double total = 0.0;
  for (arma::uword j = first; j < k; ++j) {
    double const* c = x.covariance.colptr(j);
    double sum = 0.0;
    for (arma::uword i = first; i < j; ++i) sum += c[i] * b[i];
    total += b[j] * (2.0 * sum + c[j] * b[j]);
  }
  return total;
}

level_variance random_variance(column_moments const& z, arma::Mat<double> const& Sigma, bool has_intercept) {
  level_variance out;
  arma::uword const q = Sigma.n_cols;
  arma::uword const first = has_intercept ? 1 : 0;
  double at_means = 0.0;
  for (arma::uword j = first; j < q; ++j) {
    if (has_intercept) at_means += 2.0 * z.mean(j) * Sigma(j, 0);
    for (arma::uword i = first; i < q; ++i) {
      out.slope += Sigma(i, j) * z.covariance(i, j);
      at_means += z.mean(i) * Sigma(i, j) * z.mean(j);
    }
  }
  if (has_intercept && q > 0)
    out.intercept = Sigma(0, 0) + at_means;
  else
    out.slope += at_means;
  return out;
}

}  // namespace tovik::sem::scan
