#include "results/summary_row.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace tovik::summary_row {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Knots around probability p: the ranks (from 0) of the values below and above, and the weight of the upper
/// one.
struct knots {
  std::size_t lower;
  std::size_t upper;
  double weight;
};

knots knots_of(double p, std::size_t n) {
  const double size = static_cast<double>(n);
  if (p < 0.5 / size) return {0, 0, 0.0};
  if (p > (size - 0.5) / size) return {n - 1, n - 1, 0.0};
  const double k = std::floor(size * p + 0.5);
  const double weight = (p - (k - 0.5) / size) * size;
  const auto lower = static_cast<std::size_t>(k) - 1;
  return {lower, std::min(lower + 1, n - 1), weight};
}

void select_range(double* first, double* last, double* origin, const std::size_t* rank,
                  const std::size_t* end) {
  while (rank != end && first != last) {
    const std::size_t* middle = rank + (end - rank) / 2;
    double* nth = origin + *middle;
    if (nth == first) {
      std::iter_swap(first, std::min_element(first, last));
    } else {
      std::nth_element(first, nth, last);
    }
    select_range(first, nth, origin, rank, middle);
    first = nth + 1;
    rank = middle + 1;
  }
}

}  // namespace

bool has_nan(const double* x, std::size_t n) {
  bool found = false;
  for (std::size_t i = 0; i < n; ++i) found |= x[i] != x[i];
  return found;
}

moments mean_variance(const double* x, std::size_t n) {
  if (n == 0) return {nan, nan};
  // Deviations from one of the values: a constant has mean x[0] and variance 0 without any rounding.
  const double shift = std::isfinite(x[0]) ? x[0] : 0.0;
  double sum = 0.0;
  for (std::size_t i = 0; i < n; ++i) sum += x[i] - shift;
  const double size = static_cast<double>(n);
  const double offset = sum / size;
  if (n == 1) return {shift + offset, nan};
  double squares = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const double deviation = (x[i] - shift) - offset;
    squares += deviation * deviation;
  }
  return {shift + offset, squares / (size - 1.0)};
}

void select(double* x, std::size_t n, const std::vector<std::size_t>& ranks) {
  select_range(x, x + n, x, ranks.data(), ranks.data() + ranks.size());
}

std::vector<double> quantiles(double* x, std::size_t n, const std::vector<double>& probabilities) {
  if (n == 0) return std::vector<double>(probabilities.size(), nan);
  std::vector<std::size_t> ranks;
  for (const double p : probabilities) {
    const knots at = knots_of(p, n);
    ranks.push_back(at.lower);
    ranks.push_back(at.upper);
  }
  std::sort(ranks.begin(), ranks.end());
  ranks.erase(std::unique(ranks.begin(), ranks.end()), ranks.end());
  select(x, n, ranks);
  std::vector<double> out;
  for (const double p : probabilities) {
    const knots at = knots_of(p, n);
    // Without weight the upper value must not enter: zero times infinity is NaN.
    const double lower = x[at.lower], upper = x[at.upper];
    out.push_back(at.weight == 0.0 || lower == upper ? lower : (1.0 - at.weight) * lower + at.weight * upper);
  }
  return out;
}

double mad(double* x, std::size_t n, double median) {
  if (!std::isfinite(median)) return nan;
  for (std::size_t i = 0; i < n; ++i) x[i] = std::abs(x[i] - median);
  return 1.4826 * quantiles(x, n, {median_probability}).front();
}

double wald(const moments& m) {
  return m.mean * m.mean / m.variance;
}

}  // namespace tovik::summary_row
