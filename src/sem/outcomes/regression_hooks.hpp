#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "sem/scan/row_scale.hpp"
#include "sem/wiring/constraint.hpp"
#include "sem/wiring/kinds.hpp"
#include "sem/wiring/likelihood.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik::sem {

/// What an outcome kind alone knows of its regression (see Regression, which asks for it): its response and
/// how exactly it stands in the equation, its parameters beside coefficients and effects, its missing values.
/// Those without a body must be said; what Regression can answer itself it does.
class regression_hooks {
 protected:
  regression_hooks() = default;
  ~regression_hooks() = default;

  // The residual variance.

  /// The whole residual variance of the response, phantoms included; 1 where there is no such thing.
  virtual double residual_variance() const = 0;
  /// It is drawn by the model, so that a step may move it along with a correlation.
  virtual bool residual_variance_moves() const { return false; }
  /// Throws error_debug for a kind that has none of its own.
  virtual void set_residual_variance(double v);
  /// The variance of which phantoms of the residual are part.
  virtual double correlated_variance() const { return residual_variance(); }
  /// Phantoms of the residual enter it over this scale: a residual in units of its standard deviation, where
  /// these differ, has one variance, of which they are part.
  virtual scan::row_scale phantom_scale() const { return scan::row_scale(); }
  /// What they leave of the variance has changed (see Regression::refresh_phantoms).
  virtual void phantoms_changed() {}
  /// The residual variance of each unit: in its density, in draws of its values, and in what the equation
  /// says of values that stand in it. A kind whose units differ calls equation().keep_rows().
  virtual scan::row_scale variances() const = 0;
  /// Brings what the three row scales tell up to date with the data; of these units alone unless `units` is
  /// null. Called before they are asked wherever the data may have moved.
  virtual void read_variances(const arma::Mat<double>& /*data*/, const arma::uword* /*units*/,
                              arma::uword /*n*/) const {}
  /// The same as the draws of coefficients see it, and what the equation says of labels; then as those of
  /// effects do, and what it says of values that stand in it for a whole cluster.
  virtual scan::row_scale scale() const { return variances(); }
  virtual scan::row_scale effects_scale() const { return scale(); }
  /// The part of the outcome's variance that no predictor and no random effect explains.
  virtual double share_variance() const = 0;
  /// False for a kind without shares of explained variance.
  virtual bool explains_variance() const { return true; }

  // The response.

  /// The response of all units as a scan takes it; null: the cells of the outcome's column as they stand.
  virtual const arma::Col<double>* response(const arma::Mat<double>&) { return nullptr; }
  /// Writes the response of every unit at the data to `out`.
  virtual void copy_response(const arma::Mat<double>& data, double* out) const = 0;
  /// The same for some units, one after another.
  virtual void response_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                           double* out) const = 0;
  /// False for a response whose scale is fixed by the model: its priors keep their unit.
  virtual bool has_units() const { return true; }

  // Steps of a scan.

  /// Before the coefficients: what makes the response (thresholds and scores, weights of an augmentation).
  virtual void draw_auxiliary(arma::Mat<double>&) {}
  /// While true, unit_log_density takes what draw_auxiliary drew as given, up to a constant of the units.
  virtual void condition_on_auxiliary(bool) {}
  /// After the effects: parameters of the kind (a residual variance, a dispersion).
  virtual void draw_own(const arma::Mat<double>&) {}
  /// Last: missing values of the outcome, and what other equations read of it.
  virtual void draw_values(arma::Mat<double>& data) = 0;
  /// The likelihood list of the outcome's values.
  virtual void set_value_list(std::unique_ptr<estimator::likelihood> list) = 0;

  // Likelihood.

  /// out[k] := log density of the outcome of the k-th of `n` units given its linear predictor mu[k], phantoms
  /// of the residual included. `units`: their numbers, or null for the first n. `out` may be `mu`.
  virtual void unit_log_density(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                                const double* mu, double* out) const = 0;
  /// The sum of unit_log_density over all units where cross-products give it; NaN where they do not.
  virtual double log_likelihood_from_products() const { return arma::datum::nan; }
  /// The log likelihood of each cluster of the level above with this number, from sums within clusters. False
  /// where they do not give it.
  virtual bool log_likelihood_from_sums(unsigned /*above*/, arma::Col<double>& /*out*/) const {
    return false;
  }

  // Whether the posterior is proper.

  /// How many units bound the residual variance and the coefficients.
  virtual arma::uword n_known() const = 0;
  /// Throws tovik::error where too few values are known for the prior of the residual variance.
  virtual void check_units(const estimator::Outcome::equation_names& names) const = 0;
  /// How many clusters of the L-th level above bound the variance of their effects from above.
  virtual arma::uword n_telling(const arma::Mat<double>&, unsigned L) const = 0;

  // Parameters seen from outside.

  /// The rows that follow from the coefficients; standardised coefficients without an intercept's.
  virtual void coefficient_rows(std::vector<double>& out) const = 0;
  /// Rows of params() between the covariances and the coefficients, and behind these. take_*: restores them.
  virtual arma::Col<double> own_rows() const { return {}; }
  virtual arma::Col<double> last_rows() const { return {}; }
  virtual void take_own_rows(const double*) {}
  virtual void take_last_rows(const double*) {}
  /// A handle on a parameter that belongs to the kind. Throws error_debug for one that the kind does not
  /// have.
  virtual std::shared_ptr<estimator::constraint> own_constraint(const parameter_type& kind,
                                                                const unsigned& index);
};

}  // namespace tovik::sem
