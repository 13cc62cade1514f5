#pragma once

#include <armadillo>
#include <cstddef>
#include <vector>

/// Statistics of one parameter's draws, gathered side by side. Without NaN among the values unless said.
namespace tovik::summary_row {

/// NaN among the n values?
bool has_nan(const double* x, std::size_t n);

struct moments {
  double mean;      ///< NaN without values
  double variance;  ///< divisor n - 1; NaN below two values, exactly 0 for values that are all the same
};
moments mean_variance(const double* x, std::size_t n);

/// Reorders x so that each of the given ranks (ascending, from 0, below n) holds the value of a full sort.
void select(double* x, std::size_t n, const std::vector<std::size_t>& ranks);

/// Quantiles by definition 5 of Hyndman and Fan (1996, The American Statistician 50, 361-365): linear between
/// the knots (k - 0.5) / n at the k-th smallest value, constant outside them. Reorders x; NaN without values.
std::vector<double> quantiles(double* x, std::size_t n, const std::vector<double>& probabilities);

/// Median absolute deviation from `median`, times 1.4826. Overwrites x; NaN unless the median is finite.
double mad(double* x, std::size_t n, double median);

/// mean^2 / variance, the Wald statistic of one parameter. Infinite for a constant other than zero.
double wald(const moments& m);

/// The mean of the two middle values is the quantile at one half.
inline constexpr double median_probability = 0.5;

}  // namespace tovik::summary_row
