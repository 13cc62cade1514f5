#pragma once

#include <cmath>

namespace tovik::sem::scan {

/// The logarithm of a product, taken of many factors at once.
class log_product {
 public:
  void times(double factor) {
    if (factor < tiny) {
      sum_ += std::log(factor);
      return;
    }
    product_ *= factor;
    if (product_ < tiny) {
      sum_ += std::log(product_);
      product_ = 1.0;
    }
  }
  /// A factor to some power.
  void times(double factor, double power) { sum_ += power * std::log(factor); }
  double value() const { return sum_ + std::log(product_); }

 private:
  static constexpr double tiny = 1e-150;
  double sum_ = 0.0, product_ = 1.0;
};

}  // namespace tovik::sem::scan
