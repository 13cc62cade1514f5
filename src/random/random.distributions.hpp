#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "random/log_gamma.hpp"
#include "random/random.engine.hpp"

/// Small distributions that consume the engine value by value as libstdc++'s do, so that a seed means the
/// same draws with every standard library, and that inline in hot loops. Parameters are not checked here.
namespace tovik::distribution {

/// The canonical uniform on [0, 1) of an engine output x: x * 2^-64, rounded once; what rounds to 1 becomes
/// the largest double below 1. The halves are converted apart because both are exact and need no branch on
/// the top bit; their sum rounds as the conversion of the whole word does.
inline double canonical(std::uint64_t x) {
  const auto high = static_cast<double>(static_cast<std::int64_t>(x >> 32));
  const auto low = static_cast<double>(static_cast<std::int64_t>(x & 0xFFFFFFFFU));
  const double u = (high * 4294967296.0 + low) * 5.421010862427522e-20;
  return u >= 1.0 ? 0.9999999999999999 : u;
}

inline double canonical(Pcg& engine) {
  return canonical(engine());
}

/// Uniform on [a, b).
class uniform {
 public:
  uniform() = default;
  uniform(double a, double b) : a_(a), b_(b) {}
  double a() const { return a_; }
  double b() const { return b_; }
  double operator()(Pcg& engine) const { return (b_ - a_) * canonical(engine) + a_; }

 private:
  double a_ = 0.0;
  double b_ = 1.0;
};

/// A uniform integer in 0 .. n - 1, n > 0, by multiply and shift (Lemire, 2019, "Fast random integer
/// generation in an interval", ACM TOMACS 29).
inline std::uint64_t index_below(std::uint64_t n, Pcg& engine) {
  auto product = static_cast<Pcg::word>(engine()) * n;
  if (static_cast<std::uint64_t>(product) < n) {
    const std::uint64_t threshold = (0 - n) % n;
    while (static_cast<std::uint64_t>(product) < threshold) product = static_cast<Pcg::word>(engine()) * n;
  }
  return static_cast<std::uint64_t>(product >> 64);
}

/// Standard normal by Marsaglia's polar method; the second value of a pair is kept for the next call.
class normal {
 public:
  /// Forgets the kept value.
  void reset() { saved_available_ = false; }

  double operator()(Pcg& engine) {
    if (saved_available_) {
      saved_available_ = false;
      return saved_;
    }
    double x, y, r2;
    do {
      x = 2.0 * canonical(engine) - 1.0;
      y = 2.0 * canonical(engine) - 1.0;
      r2 = x * x + y * y;
    } while (r2 > 1.0 || r2 == 0.0);
    const double scale = polar_scale(r2);
    saved_ = x * scale;
    saved_available_ = true;
    return y * scale;
  }

  /// Writes the next n draws: the same values as n calls.
  void fill(double* out, std::size_t n, Pcg& engine);

 private:
  static double polar_scale(double r2) { return std::sqrt(-2.0 * std::log(r2) / r2); }

  double saved_ = 0.0;
  bool saved_available_ = false;
};

/// Whole pairs are drawn in two passes: the first keeps accepted points of the disc without a branch that
/// could be mispredicted, the second scales them.
inline void normal::fill(double* out, std::size_t n, Pcg& engine) {
  constexpr std::size_t block = 256;
  if (n > 0 && saved_available_) {
    *out++ = (*this)(engine);
    --n;
  }
  Pcg local = engine;
  while (n > 1) {
    const std::size_t pairs = n / 2 < block ? n / 2 : block;
    for (std::size_t k = 0; k < pairs;) {
      const double x = 2.0 * canonical(local) - 1.0;
      const double y = 2.0 * canonical(local) - 1.0;
      const double r2 = x * x + y * y;
      out[2 * k] = y;
      out[2 * k + 1] = x;
      k += static_cast<std::size_t>(r2 <= 1.0) & static_cast<std::size_t>(r2 != 0.0);
    }
    for (std::size_t k = 0; k < pairs; ++k) {
      const double y = out[2 * k];
      const double x = out[2 * k + 1];
      const double scale = polar_scale(x * x + y * y);
      out[2 * k] = y * scale;
      out[2 * k + 1] = x * scale;
    }
    out += 2 * pairs;
    n -= 2 * pairs;
  }
  engine = local;
  if (n == 1) *out = (*this)(engine);
}

/// Gamma with mean shape * scale, by the squeeze of Marsaglia and Tsang (2000, "A simple method for
/// generating gamma variables", ACM TOMS 26); a shape below 1 is boosted by u^(1 / shape). The normals are
/// its own.
class gamma {
 public:
  gamma(double shape, double scale)
      : shape_(shape),
        scale_(scale),
        boosted_(shape < 1.0 ? shape + 1.0 : shape),
        d_(boosted_ - 1.0 / 3.0),
        c_(1.0 / std::sqrt(9.0 * d_)) {}

  double operator()(Pcg& engine) {
    double u, v, z;
    do {
      do {
        z = normal_(engine);
        v = 1.0 + c_ * z;
      } while (v <= 0.0);
      v = v * v * v;
      u = canonical(engine);
    } while (u > 1.0 - 0.0331 * z * z * z * z && std::log(u) > 0.5 * z * z + d_ * (1.0 - v + std::log(v)));
    if (shape_ == boosted_) return d_ * v * scale_;
    do {
      u = canonical(engine);
    } while (u == 0.0);
    return std::pow(u, 1.0 / shape_) * d_ * v * scale_;
  }

 private:
  double shape_, scale_, boosted_, d_, c_;
  normal normal_;
};

/// Poisson counts, 0 < mean <= 2e9: products of uniforms below a mean of 12, else the rejection method of
/// Devroye (1986, "Non-uniform random variate generation", ch. X.3.3 and X.3.4, with the errata). The normals
/// are its own.
class poisson {
 public:
  explicit poisson(double mean) : mean_(mean) {
    if (mean_ < 12.0) {
      log_mean_ = std::exp(-mean_);
      return;
    }
    const double pi_4 = 0.7853981633974483096156608458198757;
    m_ = std::floor(mean_);
    log_mean_ = std::log(mean_);
    log_factorial_m_ = log_gamma(m_ + 1);
    sqrt_m_ = std::sqrt(m_);
    const double dx = std::sqrt(2 * m_ * std::log(32 * m_ / pi_4));
    d_ = std::round(std::fmax(6.0, std::fmin(m_, dx)));
    const double cx = 2 * m_ + d_;
    sqrt_cx_ = std::sqrt(cx / 2);
    inverse_cx_ = 1 / cx;
    body_ = std::sqrt(pi_4 * cx) * std::exp(inverse_cx_);
    tail_ = 2 * cx * std::exp(-d_ * inverse_cx_ * (1 + d_ / 2)) / d_;
  }

  int operator()(Pcg& engine) { return mean_ < 12.0 ? by_products(engine) : by_rejection(engine); }

 private:
  int by_products(Pcg& engine) const {
    int x = 0;
    double product = 1.0;
    do {
      product *= canonical(engine);
      ++x;
    } while (product > log_mean_);
    return x - 1;
  }

  int by_rejection(Pcg& engine);

  double mean_;
  double log_mean_ = 0;  // exp(-mean) below 12
  double m_ = 0, log_factorial_m_ = 0, sqrt_m_ = 0, d_ = 0, sqrt_cx_ = 0, inverse_cx_ = 0, body_ = 0,
         tail_ = 0;
  normal normal_;
};

/// The count is m + x. Its log probability relative to that of m is dominated by six pieces: half a normal to
/// the left of m, half a normal up to m + d to the right, the points -1, 0 and 1, and an exponential tail
/// from d on.
inline int poisson::by_rejection(Pcg& engine) {
  const double below_half = (1 - std::numeric_limits<double>::epsilon()) / 2;
  const double limit = std::numeric_limits<int>::max() + below_half;
  const double c1 = sqrt_m_ * 1.2533141373155002512078826424055226;  // sqrt(pi / 2)
  const double c2 = body_ + c1;
  const double c3 = c2 + 1;
  const double c4 = c3 + 1;
  const double c5 = c4 + 1.0129030479320018583185514777512983;  // exp(1 / 78)
  const double c = tail_ + c5;
  const double twice_cx = 2 * (2 * m_ + d_);
  for (;;) {
    const double u = c * canonical(engine);
    const double e = -std::log(1.0 - canonical(engine));
    double x = 0.0;
    double w = 0.0;
    if (u <= c1) {
      const double z = normal_(engine);
      x = std::floor(-std::fabs(z) * sqrt_m_ - 1);
      w = -z * z / 2;
      if (x < -m_) continue;
    } else if (u <= c2) {
      const double y = 1 + std::fabs(normal_(engine)) * sqrt_cx_;
      x = std::ceil(y);
      w = y * (2 - y) * inverse_cx_;
      if (x > d_) continue;
    } else if (u <= c3) {
      x = -1;
    } else if (u <= c4) {
      x = 0;
    } else if (u <= c5) {
      x = 1;
      w = 0.0128205128205128205128205128205128;  // 1 / 78
    } else {
      const double v = -std::log(1.0 - canonical(engine));
      const double y = d_ + v * twice_cx / d_;
      x = std::ceil(y);
      w = -d_ * inverse_cx_ * (1 + y / 2);
    }
    const bool reject = w - e - x * log_mean_ > log_factorial_m_ - log_gamma(x + m_ + 1) || x + m_ >= limit;
    if (!reject) return static_cast<int>(x + m_ + below_half);
  }
}

}  // namespace tovik::distribution
