#pragma once

#include <armadillo>

namespace tovik {
class Random;
}

namespace tovik::sem::autosolver {

/// A normal distribution for each unit of a variable; units are independent. An empty one stands for no
/// information, where a product of contributions begins.
class normal {
 public:
  normal() = default;
  /// Throws error_debug when the lengths differ.
  normal(arma::Col<double> mean, arma::Col<double> variance);
  /// One variance for all units.
  normal(arma::Col<double> mean, double variance);

  bool is_empty() const { return is_empty_; }
  /// No information; the room for the units stays.
  void clear() { is_empty_ = true; }
  /// Room for the mean and the variance of `n` units, to be filled.
  void set_size(arma::uword n);
  /// Multiplies the density of unit k by exp(d[k] x - q[k] x^2 / 2), a normal factor of precision q[k], for
  /// every unit. A factor without information (q[k] = 0) changes nothing. Throws error_debug when `n` is not
  /// the number of units.
  void multiply(const double* q, const double* d, arma::uword n);
  /// The same with one precision q for all units, and d[k] = slope e[k].
  void multiply(double q, double slope, const double* e, arma::uword n);

  /// A value for every unit: one standard normal each, in their order.
  arma::Col<double> draw(Random* rng) const;
  /// A value for each of the given units: one standard normal each, in their order.
  arma::Col<double> draw(const arma::Col<arma::uword>& rows, Random* rng) const;

  arma::Col<double> mean, variance;

 private:
  void expect_size(arma::uword n);
  bool is_empty_ = true;
};

}  // namespace tovik::sem::autosolver
