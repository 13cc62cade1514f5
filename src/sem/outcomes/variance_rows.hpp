#pragma once

#include <armadillo>

namespace tovik::sem {

/// What a report says of residual variances `v` that differ between clusters or rows: heterogeneity index,
/// 25% and 50% quantile, mean, 75% quantile. The index is the squared coefficient of variation of the
/// precisions, var(1/v) / mean(1/v)^2: 0 where all variances are the same, and with fewer than two. Quantiles
/// are those of definition 5 of Hyndman & Fan (1996), The American Statistician 50, 361-365. `proportions`:
/// of the three quantiles, rising. NaN where a variance is.
arma::Col<double> variance_rows(const arma::Col<double>& v, const arma::Col<double>& proportions);

/// Where the mean stands among these rows.
constexpr arma::uword mean_variance_row = 3;
constexpr arma::uword n_variance_rows = 5;

}  // namespace tovik::sem
