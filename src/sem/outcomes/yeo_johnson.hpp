#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "evaluate/pair.hpp"
#include "evaluate/value.hpp"
#include "sem/outcomes/outcome_scale.hpp"
#include "sem/outcomes/parameter.hpp"

namespace tovik::sem {

/// The transformation of an outcome by Yeo & Johnson (2000, Biometrika 87, 954-959),
///
///   g(y) = ((y + 1)^lambda - 1) / lambda                  for y >= 0,
///        = -((1 - y)^(2 - lambda) - 1) / (2 - lambda)     for y < 0,
///
/// with logarithms at lambda = 0 and 2: increasing in y, the identity at lambda = 1. The logarithm of its
/// derivative is (lambda - 1) l(y), l(y) = sign(y) log(|y| + 1).
///
/// The object holds lambda, at an address that stays, and what the values of an outcome tell of it.
class yeo_johnson {
 public:
  /// `column` of the working matrix; `rows`: that of each unit, null for every row.
  yeo_johnson(arma::uword column, const arma::Col<arma::uword>* rows, double lambda);
  yeo_johnson(const yeo_johnson&) = delete;
  yeo_johnson& operator=(const yeo_johnson&) = delete;

  double lambda() const { return lambda_; }
  double* address() { return &lambda_; }
  /// g and its inverse as trees that read lambda() whenever they are evaluated.
  evaluate::pair pair() const;
  /// The values that g takes: bounded below by -1 / (lambda - 2) for lambda > 2, and above by -1 / lambda for
  /// lambda < 0.
  value_range range() const;
  /// l(y).
  static double log_slope(double y);

  /// Takes the values of `n` units at the data; what has not changed is not computed again.
  void read(const arma::Mat<double>& data, arma::uword n);
  /// The sum of l(y) over all units, as last read.
  double log_slopes() const { return sum_; }
  /// l(y) of each unit.
  const double* log_slopes_of_units() const { return slopes_.data(); }
  /// By how much the slope of g at a typical value, its geometric mean over the units, grows from one lambda
  /// to another: the unit of g(y) grows along.
  double growth(double from, double to) const;
  /// g(y) of all units, as last read, at a lambda.
  void values(double lambda, arma::Col<double>& out) const;

 private:
  arma::uword column_;
  const arma::Col<arma::uword>* rows_;
  double lambda_;
  evaluate::value cell_;  ///< reads lambda_; the trees read it
  std::vector<double> y_, slopes_;
  double sum_ = 0.0;
};

/// The prior of lambda unless another one is named: uniform from 0 to 3.
std::shared_ptr<Parameter> default_lambda_prior(const Estimator* estimator);
/// x, or the place strictly inside the range of the prior that is closest to it, up to a share of the range.
double inside(const Parameter& prior, double x);

}  // namespace tovik::sem
