#pragma once

#include <algorithm>
#include <cmath>

#include "random/log_gamma.hpp"
#include "sem/scan/logit.hpp"

namespace tovik::sem::scan {

/// The distribution of counts with mean m = exp(eta) and variance m + m^2 / r, of size r:
///
///   log P(y) = log Gamma(y + r) - log Gamma(r) - log Gamma(y + 1) + y z - (y + r) log(1 + exp(z)),
///   z = eta - log r,
///
/// that of Poisson counts whose rates are m times a Gamma variable of mean 1 and variance 1 / r. It is
/// log-concave in eta. Nothing over- or underflows, whatever the eta, r and y.
class negative_binomial {
 public:
  explicit negative_binomial(double r) : size_(r), log_size_(std::log(r)), log_gamma_(log_gamma(r)) {}

  double size() const { return size_; }
  double log_size() const { return log_size_; }
  /// log Gamma(y + r) - log Gamma(r).
  double log_ratio(double y) const { return y == 0.0 ? 0.0 : log_gamma(y + size_) - log_gamma_; }
  /// The part of the log probability that depends on eta.
  double kernel(double y, double eta) const {
    const double z = eta - log_size_;
    return y * std::min(z, 0.0) - size_ * std::max(z, 0.0) -
           (y + size_) * std::log1p(std::exp(-std::fabs(z)));
  }
  double log_probability(double y, double eta) const {
    return log_ratio(y) - log_gamma(y + 1.0) + kernel(y, eta);
  }
  /// The derivative of the kernel in eta, and minus its second derivative.
  struct slope {
    double score, curvature;
  };
  slope at(double y, double eta) const {
    const double z = eta - log_size_, above = logistic(z), below = logistic(-z);
    return {y * below - size_ * above, (y + size_) * above * below};
  }

 private:
  double size_, log_size_, log_gamma_;
};

}  // namespace tovik::sem::scan
