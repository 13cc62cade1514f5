#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace tovik::tests {

/// Functions of a state, collected over replications: one vector of values per function.
class Samples {
 public:
  void add(const std::vector<double>& values) {
    columns_.resize(values.size());
    for (std::size_t j = 0; j < values.size(); ++j) columns_[j].push_back(values[j]);
  }
  const std::vector<std::vector<double>>& columns() const { return columns_; }

 private:
  std::vector<std::vector<double>> columns_;
};

/// Two-sample Kolmogorov-Smirnov distance times sqrt(nm / (n + m)). Above t with probability 2 exp(-2 t^2).
inline double two_sample_distance(std::vector<double> a, std::vector<double> b) {
  std::sort(a.begin(), a.end());
  std::sort(b.begin(), b.end());
  const double n = static_cast<double>(a.size()), m = static_cast<double>(b.size());
  double distance = 0.0;
  for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
    const double at = std::min(a[i], b[j]);
    while (i < a.size() && a[i] <= at) ++i;
    while (j < b.size() && b[j] <= at) ++j;
    distance = std::max(distance, std::fabs(static_cast<double>(i) / n - static_cast<double>(j) / m));
  }
  return distance * std::sqrt(n * m / (n + m));
}

/// Difference of the means in standard errors.
inline double two_sample_z(const std::vector<double>& a, const std::vector<double>& b, bool squares) {
  double mean[2] = {0, 0}, error = 0;
  for (int s = 0; s < 2; ++s) {
    const auto& x = s == 0 ? a : b;
    double sum = 0, sum2 = 0, n = static_cast<double>(x.size());
    for (double value : x) {
      const double f = squares ? value * value : value;
      sum += f;
      sum2 += f * f;
    }
    mean[s] = sum / n;
    error += (sum2 / n - mean[s] * mean[s]) / n;
  }
  return (mean[0] - mean[1]) / std::sqrt(error);
}

/// Moves both samples so that the quartiles of their union are -1 and 1, and bounds them by the arctangent:
/// means then exist and tell, whatever the tails.
inline void bound_together(std::vector<double>& a, std::vector<double>& b) {
  std::vector<double> all = a;
  all.insert(all.end(), b.begin(), b.end());
  std::sort(all.begin(), all.end());
  const double lower = all[all.size() / 4], upper = all[3 * all.size() / 4];
  for (auto* x : {&a, &b})
    for (double& value : *x) value = std::atan((2.0 * value - lower - upper) / (upper - lower));
}

/// Fresh draws from a joint distribution against draws that went through a kernel that leaves it invariant.
/// The three tests of each function fail with probability 2e-8 when it does: with fewer than 500 functions in
/// all tests of this kind, some test fails with probability below 1e-5 x 3.
inline void expect_same_distribution(const Samples& fresh, const Samples& after) {
  ASSERT_EQ(fresh.columns().size(), after.columns().size());
  for (std::size_t j = 0; j < fresh.columns().size(); ++j) {
    std::vector<double> a = fresh.columns()[j], b = after.columns()[j];
    for (double value : b) ASSERT_FALSE(std::isnan(value)) << "function " << j;
    EXPECT_LT(two_sample_distance(a, b), 3.04) << "function " << j;
    bound_together(a, b);
    EXPECT_LT(std::fabs(two_sample_z(a, b, false)), 5.62) << "mean of function " << j;
    EXPECT_LT(std::fabs(two_sample_z(a, b, true)), 5.62) << "mean square of function " << j;
  }
}

}  // namespace tovik::tests
