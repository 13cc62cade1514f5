#pragma once

#include <armadillo>

namespace tovik::sem {

class phantom_part;

/// One side of a correlation, as its phantom sees it. The equation keeps the state.
class correlated_side {
 public:
  virtual ~correlated_side() = default;
  /// Takes the values of the equation at the data into part().
  virtual void read(const arma::Mat<double>& data) = 0;
  /// What the phantoms enter: normal values with one covariance matrix at all units.
  virtual const phantom_part& part() const = 0;
  /// The number of the phantom among those of part().
  virtual arma::uword term() const = 0;
  /// Where the equation keeps the correlation.
  virtual double* rho() = 0;
  /// What the density of the values stands for: one address for all phantoms that enter the same values.
  virtual const void* source() const = 0;
  /// The equation draws the variance of the element that the phantom enters, which may then be moved here
  /// too.
  virtual bool variance_moves() const = 0;
  virtual double variance() const = 0;
  /// Writes the variance, with the correlations of the element within the equation kept; before refresh().
  virtual void set_variance(double v) = 0;
  /// Keeps the covariance matrix, and puts back what was kept.
  virtual void keep() = 0;
  virtual void restore() = 0;
  /// log prior density of the covariance matrix as one of the variance and the correlations, as far as it
  /// depends on the variance.
  virtual double log_prior() const = 0;
  /// After the correlation or the variance was written. False: it leaves no positive definite matrix.
  virtual bool refresh() = 0;
};

}  // namespace tovik::sem
