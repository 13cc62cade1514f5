#include "results/run_stat.hpp"

#include <algorithm>
#include <cmath>

namespace tovik::run_stat {
namespace {

constexpr std::size_t lanes = 8;

/// One sample after the other, as a stream takes them: what is not a finite number stays so.
void add_one_by_one(std::size_t stride, std::size_t before, std::size_t count, const double* x, double& mean,
                    double& M2) {
  for (std::size_t t = 0; t < count; ++t) {
    const double value = x[t * stride];
    if (before + t == 0) {
      mean = value;
      continue;
    }
    const double deviation = value - mean;
    mean += deviation / static_cast<double>(before + t + 1);
    M2 += deviation * (value - mean);
  }
}

/// `lanes` elements side by side. The first sample takes the place of the mean where there is none.
bool add_side_by_side(std::size_t stride, std::size_t before, std::size_t count, const double* x,
                      double* mean, double* M2) {
  double centre[lanes], sum[lanes] = {}, squares[lanes] = {};
  for (std::size_t l = 0; l < lanes; ++l) centre[l] = before == 0 ? x[l] : mean[l];
  for (std::size_t t = 0; t < count; ++t) {
    const double* column = x + t * stride;
    for (std::size_t l = 0; l < lanes; ++l) {
      const double d = column[l] - centre[l];
      sum[l] += d;
      squares[l] += d * d;
    }
  }
  if (!std::all_of(squares, squares + lanes, [](double s) { return std::isfinite(s); })) return false;
  const double weight = 1.0 / static_cast<double>(before + count);
  for (std::size_t l = 0; l < lanes; ++l) {
    const double shift = sum[l] * weight;
    mean[l] = centre[l] + shift;
    M2[l] += squares[l] - sum[l] * shift;
  }
  return true;
}

}  // namespace

void add_columns(std::size_t n, std::size_t before, std::size_t count, const double* x, double* mean,
                 double* M2) {
  auto singly = [=](std::size_t first, std::size_t end) {
    for (std::size_t i = first; i < end; ++i) add_one_by_one(n, before, count, x + i, mean[i], M2[i]);
  };
  std::size_t i = 0;
  for (; i + lanes <= n; i += lanes)
    if (!add_side_by_side(n, before, count, x + i, mean + i, M2 + i)) singly(i, i + lanes);
  singly(i, n);
}

}  // namespace tovik::run_stat
