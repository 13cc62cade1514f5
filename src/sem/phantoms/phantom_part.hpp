#pragma once

#include <armadillo>
#include <utility>
#include <vector>

#include "sem/phantoms/phantom_loadings.hpp"

namespace tovik::sem {

/// The values E (n units x q: residuals, or random effects) that phantoms P (n x k) enter with the loadings
/// Lambda, in products: given P, the rows of E are N(Lambda P_i, C), with C what the phantoms leave of the
/// covariance matrix. A log density then costs O(q k^2), whatever the number of units.
class phantom_products {
 public:
  /// Without phantoms P has no columns. With weights w of mean 1, each row's density counts w times.
  void assign(const arma::Mat<double>& E, const arma::Mat<double>& P, const arma::Col<double>* w = nullptr);

  const arma::Mat<double>& squares() const { return EE_; }  ///< E'E, with weights E'WE
  /// log density of E given the phantoms.
  double log_density(const phantom_loadings& loadings) const;
  /// log density of E as rows of N(0, S), phantoms left out of account; -inf when S is not positive definite.
  double log_density(const arma::Mat<double>& S) const;

 private:
  double n_ = 0.0;
  arma::Mat<double> EE_, EP_, PP_;  ///< E'E, E'P, P'P
  mutable arma::Mat<double> rest_, T_;
};

/// The part of an equation that phantoms enter, with its values at the data: what the draws of correlations
/// and of variances ask for.
class phantom_part {
 public:
  phantom_part() = default;
  phantom_part(std::vector<phantom_term> terms, arma::uword q) : loadings(std::move(terms), q) {}

  bool empty() const { return loadings.empty(); }
  /// Sampling weights of the units, of mean 1, which must outlive the object; null for none.
  void weigh(const arma::Col<double>* weights) { weights_ = weights; }
  const arma::Col<double>* weights() const { return weights_; }

  phantom_loadings loadings;

  /// Takes the values E (units x q), without the phantoms.
  void read_values(const arma::Mat<double>& E);
  /// Takes the values and the phantoms at the units. `rows`: the row of the data for each unit; null for
  /// every row.
  void read(const arma::Mat<double>& E, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows);

  /// E as it was read last.
  const arma::Mat<double>& values() const { return E_; }
  /// Since read().
  const phantom_products& products() const { return products_; }
  /// log density of the values given the phantoms; -inf while the loadings are not valid. Since read().
  double log_density() const;

 private:
  arma::Mat<double> E_, P_;
  phantom_products products_;
  const arma::Col<double>* weights_ = nullptr;
};

}  // namespace tovik::sem
