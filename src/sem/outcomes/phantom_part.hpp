#pragma once

#include <armadillo>
#include <cstdint>

#include "sem/outcomes/phantom_loadings.hpp"

namespace tovik::sem {

/// The values E (n units x q: residuals, or random effects) that phantoms P (n x k) enter with the loadings
/// Lambda, in products: given P, the rows of E are N(Lambda P_i, C), with C what the phantoms leave of the
/// covariance matrix. A log density then costs O(q k^2), whatever the number of units.
class phantom_products {
 public:
  void assign(arma::Mat<double> const& E, arma::Mat<double> const& P);
  /// Again after the scores of phantom k have changed.
  void assign(arma::Mat<double> const& E, arma::Mat<double> const& P, arma::uword k);

  /// log density of E given the phantoms.
  double log_density(phantom_loadings const& loadings) const;
  /// log density of E as rows of N(0, S), phantoms left out of account; -inf when S is not positive definite.
  double log_density(arma::Mat<double> const& S) const;

 private:
  double n_ = 0.0;
  arma::Mat<double> EE_, EP_, PP_;  ///< E'E, E'P, P'P
  mutable arma::Mat<double> rest_, T_;
};

/// Models whose phantoms are drawn one after another: nothing but phantoms changes while the number stays.
struct phantom_pass {
  std::uint64_t number = 0;
};

/// The part of an equation that phantoms enter, with its values at the data: what the draws of correlations
/// and scores ask for.
class phantom_part {
 public:
  phantom_part() = default;
  phantom_part(std::vector<phantom_term> terms, arma::uword q) : loadings(std::move(terms), q) {}

  bool empty() const { return loadings.empty(); }

  phantom_loadings loadings;

  /// Takes the values E (units x q) and the phantoms at the units. `rows`: the row of the data for each unit;
  /// null for every row.
  void read(arma::Mat<double> const& E, arma::Mat<double> const& data, arma::Col<arma::uword> const* rows);
  /// Takes the scores of phantom k again.
  void read_scores(arma::uword k, arma::Mat<double> const& data, arma::Col<arma::uword> const* rows);

  phantom_products const& products() const { return products_; }
  /// log density of the values given the phantoms; -inf while the loadings are not valid.
  double log_density() const;
  /// Before the scores of phantom k are moved.
  void begin_scores(arma::uword k);
  /// Adds to out[j] what the log density of unit units(j) gains when `delta[j]` is added to its score of
  /// phantom k. After begin_scores.
  void add_gain(arma::uword k, arma::Col<arma::uword> const& units, double const* delta, double* out) const;

  std::uint64_t pass = 0;  ///< the pass at which the values were taken

 private:
  arma::Mat<double> E_, P_;
  phantom_products products_;
  arma::Col<double> rest_;
};

/// One side of a correlation, as its phantom sees it. The equation keeps the state.
class correlated_side {
 public:
  virtual ~correlated_side() = default;
  /// Takes the state of the equation at the data, unless it was taken in this pass (null: always).
  virtual void begin(arma::Mat<double> const& data, phantom_pass const* pass) = 0;
  /// Where the equation keeps the correlation.
  virtual double* rho() = 0;
  /// What log_density stands for: one address for all phantoms that enter the same values.
  virtual void const* source() const = 0;
  /// After the correlation was written. False: it leaves no positive definite matrix.
  virtual bool refresh() = 0;
  /// log density of the values given the phantoms, since begin(); -inf after a refresh that failed.
  virtual double log_density() const = 0;
  /// Before scores are moved.
  virtual void begin_scores() = 0;
  /// Adds to out[j] what the log density of unit units(j) gains when `delta[j]` is added to its score.
  virtual void add_gain(arma::Col<arma::uword> const& units, double const* delta, double* out) const = 0;
  /// The scores in the data have changed.
  virtual void scores_changed(arma::Mat<double> const& data) = 0;
};

}  // namespace tovik::sem
