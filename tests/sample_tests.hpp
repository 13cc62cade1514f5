#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "random/random.hpp"

namespace tovik::tests {

/// sqrt(n) times the Kolmogorov-Smirnov distance of a sample from a continuous distribution function.
/// Above 2.5 with probability 2 exp(-2 * 2.5^2) = 7e-6 when the sample is from it.
template <typename Cdf>
double kolmogorov(std::vector<double> sample, Cdf cdf) {
  std::sort(sample.begin(), sample.end());
  const double n = static_cast<double>(sample.size());
  double distance = 0;
  for (std::size_t i = 0; i < sample.size(); ++i) {
    const double F = cdf(sample[i]);
    if (!(F >= -1e-9 && F <= 1 + 1e-9)) return INFINITY;
    distance = std::max({distance, F - static_cast<double>(i) / n, static_cast<double>(i + 1) / n - F});
  }
  return distance * std::sqrt(n);
}

template <typename Draw>
std::vector<double> sample(int n, Draw draw) {
  std::vector<double> out(static_cast<std::size_t>(n));
  for (double& value : out) value = draw();
  return out;
}

/// Changes a setting and puts the old value back.
template <typename T>
class Setting {
 public:
  Setting(T& place, T value) : place_(place), old_(place) { place = value; }
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;
  ~Setting() { place_ = old_; }

 private:
  T& place_;
  T old_;
};

}  // namespace tovik::tests
