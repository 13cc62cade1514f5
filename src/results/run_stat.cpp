#include "results/run_stat.hpp"

#include <cmath>
#include <cstring>

namespace tovik::run_stat {
namespace {

constexpr std::size_t lanes = 8;
using pair_of = double __attribute__((vector_size(16)));

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

/// The sums of d and d^2 of two elements, d = x - centre, in registers.
struct two_sums {
  pair_of centre{}, sum{}, squares{};

  explicit two_sums(const double* at) { std::memcpy(&centre, at, sizeof centre); }
  void add(const double* at) {
    pair_of x;
    std::memcpy(&x, at, sizeof x);
    const pair_of d = x - centre;
    sum += d;
    squares += d * d;
  }
  bool is_finite() const { return std::isfinite(squares[0]) && std::isfinite(squares[1]); }
  void move(double weight, double* mean, double* M2) const {
    for (std::size_t l = 0; l < 2; ++l) {
      const double shift = sum[l] * weight;
      mean[l] = centre[l] + shift;
      M2[l] += squares[l] - sum[l] * shift;
    }
  }
};

/// `lanes` elements side by side. The first sample takes the place of the mean where there is none. False,
/// with nothing done, where a sample is not a finite number.
bool add_side_by_side(std::size_t stride, std::size_t before, std::size_t count, const double* x,
                      double* mean, double* M2) {
  const double* centre = before == 0 ? x : mean;
  two_sums a(centre), b(centre + 2), c(centre + 4), d(centre + 6);
  for (std::size_t t = 0; t < count; ++t, x += stride) {
    a.add(x);
    b.add(x + 2);
    c.add(x + 4);
    d.add(x + 6);
  }
  if (!a.is_finite() || !b.is_finite() || !c.is_finite() || !d.is_finite()) return false;
  const double weight = 1.0 / static_cast<double>(before + count);
  a.move(weight, mean, M2);
  b.move(weight, mean + 2, M2 + 2);
  c.move(weight, mean + 4, M2 + 4);
  d.move(weight, mean + 6, M2 + 6);
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
