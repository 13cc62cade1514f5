#include "sem/scan/variance_shares.hpp"

#include <algorithm>
#include <cmath>

#include "sem/scan/blas.hpp"

namespace tovik::sem::scan {

namespace {
/// Largest part of a product that its mean may make up: eps times this is lost.
constexpr double most_cancelled = 1e5;
}  // namespace

double column_moments::about_means(const arma::Mat<double>& X, arma::uword j, arma::uword l) {
  arma::uword const n = X.n_rows;
  const double* x = X.colptr(j);
  if (centred_column_ != j + 1) {
    centred_.set_size(n);
    for (arma::uword i = 0; i < n; ++i) centred_(i) = x[i] - mean(j);
    centred_column_ = j + 1;
  }
  const double* y = X.colptr(l);
  const double m = mean(l);
  double sums[4] = {0.0, 0.0, 0.0, 0.0};  // their additions overlap
  arma::uword i = 0;
  for (; i + 3 < n; i += 4)
    for (arma::uword part = 0; part < 4; ++part) sums[part] += centred_[i + part] * (y[i + part] - m);
  for (; i < n; ++i) sums[0] += centred_[i] * (y[i] - m);
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

void column_moments::update(const arma::Mat<double>& X, arma::uword j, const arma::Mat<double>* products) {
  const double n = static_cast<double>(X.n_rows);
  for (arma::uword l = 0; l < X.n_cols; ++l) {
    if (l != j && filled_ && covariance(l, l) == 0.0) {  // a constant
      covariance(j, l) = 0.0;
      covariance(l, j) = 0.0;
      continue;
    }
    const double of_means = n * mean(j) * mean(l);
    double sum = products == nullptr ? 0.0 : (*products)(j, l) - of_means;
    // |sum| is at most the root of the product of both sums of squares, by which its error is to be judged.
    const bool safe = products != nullptr && std::fabs(of_means) <= most_cancelled * spread_(j) * spread_(l);
    if (!safe) sum = about_means(X, j, l);
    covariance(j, l) = sum / (n - 1.0);
    covariance(l, j) = covariance(j, l);
  }
}

void column_moments::refresh(const columns& x, const arma::Mat<double>* products) {
  const auto& X = x.values();
  const double n = static_cast<double>(X.n_rows);
  centred_column_ = 0;
  if (!filled_) {
    mean.set_size(X.n_cols);
    spread_.set_size(X.n_cols);
    covariance.set_size(X.n_cols, X.n_cols);
  }
  auto average = [&](arma::uword j) {
    mean(j) = total(X.n_rows, X.colptr(j)) / n;
    double const squares = products == nullptr ? 0.0 : (*products)(j, j) - n * mean(j) * mean(j);
    spread_(j) = std::sqrt(std::max(0.0, squares));
  };
  if (filled_) {
    for (arma::uword j : x.dynamic()) average(j);
    for (arma::uword j : x.dynamic()) update(X, j, products);
    return;
  }
  for (arma::uword j = 0; j < X.n_cols; ++j) average(j);
  for (arma::uword j = 0; j < X.n_cols; ++j) update(X, j, nullptr);
  filled_ = true;
}

double fixed_variance(const column_moments& x, const double* b, arma::uword first) {
  arma::uword const k = x.covariance.n_cols;
  double total = 0.0;
  for (arma::uword j = first; j < k; ++j) {
    const double* c = x.covariance.colptr(j);
    double sum = 0.0;
    for (arma::uword i = first; i < j; ++i) sum += c[i] * b[i];
    total += b[j] * (2.0 * sum + c[j] * b[j]);
  }
  return total;
}

level_variance random_variance(const column_moments& z, const arma::Mat<double>& Sigma, bool has_intercept) {
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
