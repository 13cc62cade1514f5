#include "random/log_sum_exp.hpp"

#include <cmath>
#include <limits>

namespace tovik::log_sum {
namespace {

void add_one(double x, double weight, double& max, double& sum) {
  if (x == max) {
    sum += weight;
  } else if (x < max) {
    sum += weight * std::exp(x - max);
  } else if (x > max) {
    sum = sum * std::exp(max - x) + weight;
    max = x;
  } else {
    max = std::numeric_limits<double>::quiet_NaN();
  }
}

constexpr std::size_t lanes = 4;
using numbers = double __attribute__((vector_size(8 * lanes)));
using words = long long __attribute__((vector_size(8 * lanes)));

/// exp(t) for -700 <= t <= 0: t = k log 2 + r, |r| <= log(2) / 2, the series of exp(r) to the 13th power
/// (relative error below 1e-17), and k added to the exponent. log 2 is taken in two parts, of which the first
/// has so few digits that k times it is exact. Multiplications and additions only, each rounded by itself:
/// the same on every machine. Arguments by reference, since vectors have no fixed way to be passed.
inline __attribute__((always_inline)) void exponential(const numbers& t, numbers& out) {
  const numbers shift = numbers{} + 6755399441055744.0;  // 1.5 * 2^52: sums with it are whole numbers
  const numbers shifted = t * 1.4426950408889634 + shift;
  const numbers k = shifted - shift;
  const numbers r = (t - k * 0.693147180369123816490) - k * 1.90821492927058770002e-10;
  const numbers r2 = r * r, r4 = r2 * r2, r8 = r4 * r4;
  const numbers p0 = (1.0 + r) + r2 * (1.0 / 2 + r * (1.0 / 6));
  const numbers p4 = (1.0 / 24 + r * (1.0 / 120)) + r2 * (1.0 / 720 + r * (1.0 / 5040));
  const numbers p8 = (1.0 / 40320 + r * (1.0 / 362880)) + r2 * (1.0 / 3628800 + r * (1.0 / 39916800));
  const numbers p12 = 1.0 / 479001600 + r * (1.0 / 6227020800.0);
  const numbers p = (p0 + r4 * p4) + r8 * (p8 + r4 * p12);
  out = reinterpret_cast<numbers>(reinterpret_cast<words>(p) + (reinterpret_cast<words>(shifted) << 52));
}

inline __attribute__((always_inline)) void choose(const words& mask, const numbers& yes, const numbers& no,
                                                  numbers& out) {
  out = reinterpret_cast<numbers>((mask & reinterpret_cast<words>(yes)) |
                                  (~mask & reinterpret_cast<words>(no)));
}

/// Four terms at a time. Terms whose distance from the maximum is not a finite number are left, and then
/// added one by one.
inline __attribute__((always_inline)) void add_blocks(std::size_t n, const double* x, double* max,
                                                      double* sum) {
  words left{};
  std::size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    numbers term, m, s;
    __builtin_memcpy(&term, x + i, sizeof term);
    __builtin_memcpy(&m, max + i, sizeof m);
    __builtin_memcpy(&s, sum + i, sizeof s);
    const numbers gain = term - m;
    const words finite = reinterpret_cast<words>(gain - gain == 0.0);
    left |= ~finite;
    const words rises = finite & reinterpret_cast<words>(gain > 0.0);
    numbers distance, floor = numbers{} - 700.0, e, grown;
    choose(rises, -gain, gain, distance);
    choose(reinterpret_cast<words>(distance < floor), floor, distance, distance);
    exponential(distance, e);
    choose(rises, s * e + 1.0, s + e, grown);
    choose(finite, grown, s, s);
    choose(rises, term, m, m);
    __builtin_memcpy(max + i, &m, sizeof m);
    __builtin_memcpy(sum + i, &s, sizeof s);
  }
  if ((left[0] | left[1] | left[2] | left[3]) != 0) {
    for (std::size_t j = 0; j < i; ++j)
      if (!std::isfinite(x[j] - max[j])) add_one(x[j], 1.0, max[j], sum[j]);
  }
  for (; i < n; ++i) add_one(x[i], 1.0, max[i], sum[i]);
}

/// The terms of `lanes` sums side by side: column t of x begins at x + t * stride. False, with nothing done,
/// where a term is not a finite number.
inline __attribute__((always_inline)) bool add_side_by_side(std::size_t stride, std::size_t count,
                                                            const double* x, double* max, double* sum) {
  numbers before, high, spoilt{}, s;
  __builtin_memcpy(&before, max, sizeof before);
  __builtin_memcpy(&s, sum, sizeof s);
  high = before;
  for (std::size_t t = 0; t < count; ++t) {
    numbers term;
    __builtin_memcpy(&term, x + t * stride, sizeof term);
    spoilt += term - term;
    high = term > high ? term : high;
  }
  const words left = ~reinterpret_cast<words>(spoilt == 0.0);
  if ((left[0] | left[1] | left[2] | left[3]) != 0) return false;
  const numbers floor = numbers{} - 700.0;
  numbers distance = before - high, e;
  distance = distance > floor ? distance : floor;
  exponential(distance, e);
  s *= e;
  for (std::size_t t = 0; t < count; ++t) {
    numbers term;
    __builtin_memcpy(&term, x + t * stride, sizeof term);
    distance = term - high;
    distance = distance > floor ? distance : floor;
    exponential(distance, e);
    s += e;
  }
  __builtin_memcpy(max, &high, sizeof high);
  __builtin_memcpy(sum, &s, sizeof s);
  return true;
}

inline __attribute__((always_inline)) void add_all_columns(std::size_t n, std::size_t count, const double* x,
                                                           double* max, double* sum) {
  auto one_by_one = [=](std::size_t first, std::size_t end) {
    for (std::size_t i = first; i < end; ++i)
      for (std::size_t t = 0; t < count; ++t) add_one(x[i + t * n], 1.0, max[i], sum[i]);
  };
  std::size_t i = 0;
  for (; i + lanes <= n; i += lanes)
    if (!add_side_by_side(n, count, x + i, max + i, sum + i)) one_by_one(i, i + lanes);
  one_by_one(i, n);
}

void add_plain(std::size_t n, const double* x, double* max, double* sum) {
  add_blocks(n, x, max, sum);
}

void add_columns_plain(std::size_t n, std::size_t count, const double* x, double* max, double* sum) {
  add_all_columns(n, count, x, max, sum);
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void add_wide(std::size_t n, const double* x, double* max, double* sum) {
  add_blocks(n, x, max, sum);
}

__attribute__((target("avx2"))) void add_columns_wide(std::size_t n, std::size_t count, const double* x,
                                                      double* max, double* sum) {
  add_all_columns(n, count, x, max, sum);
}

bool is_wide() {
  static const bool wide = __builtin_cpu_supports("avx2") != 0;
  return wide;
}
#endif

}  // namespace

void add_terms(std::size_t n, const double* x, double* max, double* sum) {
#if defined(__x86_64__)
  if (is_wide()) return add_wide(n, x, max, sum);
#endif
  add_plain(n, x, max, sum);
}

void add_columns(std::size_t n, std::size_t count, const double* x, double* max, double* sum) {
#if defined(__x86_64__)
  if (is_wide()) return add_columns_wide(n, count, x, max, sum);
#endif
  add_columns_plain(n, count, x, max, sum);
}

void add_sums(std::size_t n, const double* other_max, const double* other_sum, double* max, double* sum) {
  for (std::size_t i = 0; i < n; ++i) add_one(other_max[i], other_sum[i], max[i], sum[i]);
}

}  // namespace tovik::log_sum
