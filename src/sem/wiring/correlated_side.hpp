#pragma once

#include <armadillo>

namespace tovik {
class Random;
}

namespace tovik::sem {

class phantom_part;

/// A side whose values have a normal likelihood only given a weight for each unit, which is drawn: scores
/// cannot be integrated out there.
class weighted_side {
 public:
  virtual ~weighted_side() = default;
  /// log likelihood of all units at the values read last, given the scores in the data; weights integrated
  /// out.
  virtual double log_density(const arma::Mat<double>& data) = 0;
  /// Draws the weights w of the units at the scores in the data. Given these the log likelihood of the part m
  /// that the phantoms add to a unit is g m - w m^2 / 2; w and g are 0 where there is none.
  virtual void draw_weights(Random& rng, const arma::Mat<double>& data, arma::Col<double>& w,
                            arma::Col<double>& g) = 0;
};

/// One side of a correlation, as its phantom sees it. The equation keeps the state.
class correlated_side {
 public:
  virtual ~correlated_side() = default;
  /// Takes the values of the equation at the data into part().
  virtual void read(const arma::Mat<double>& data) = 0;
  /// The same, and the scores that stand in the data.
  virtual void read_given_scores(const arma::Mat<double>& data) { read(data); }
  /// Null: the values are normal.
  virtual weighted_side* weighted() { return nullptr; }
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
