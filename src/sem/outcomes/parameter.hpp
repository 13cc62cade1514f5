#pragma once

#include <armadillo>
#include <functional>
#include <memory>
#include <string>

#include "sem/wiring/value_node.hpp"

namespace tovik::sem {

/// The families of priors. The two numbers behind each are the arguments of a statement.
enum class distribution : std::uint32_t {
  normal = 0,            ///< mean, variance
  truncated_normal = 1,  ///< a name of the language that stands for no prior: refused
  gamma = 2,             ///< shape, scale
  invgamma = 3,          ///< shape, scale
  beta = 4,              ///< alpha, beta
  laplace = 5,           ///< location, scale
  cauchy = 6,            ///< location, scale
  uniform = 7,           ///< lower, upper
  truncate = 8,          ///< lower, upper: flat between them
};

/// The family by the canonical name of the language. Throws error_debug "Unable to parse distribution.".
distribution parse_distribution(std::string const& name);

/// A parameter with a prior of its own. It is drawn by the constraint that is built on it: alone, or together
/// with the places of the equations that carry its label.
class Parameter : public value_node {
 public:
  /// The value starts at default_start(). Throws error_debug for a family without a density.
  Parameter(Estimator const* estimator, estimator::cluster const& structure, distribution const& dist,
            double const& a, double const& b);

  /// A value inside the support, near the middle of the prior: normal a; gamma a b; inverse gamma b / (a +
  /// 1); beta a / (a + b); uniform the midpoint, or 1 inside the one finite bound; Laplace and Cauchy a;
  /// truncated range 0, moved strictly inside.
  static double default_start(distribution dist, double a, double b);

  /// Log density at x. Minus infinity where the density cannot be computed.
  double prior(double const& x, arma::Mat<double> const& data) const;

  arma::Col<double> params() const override { return value.as_col(); }
  arma::Col<double> params(arma::Mat<double> const&) const override { return value.as_col(); }
  /// Takes the first element as the value.
  void addStarts(arma::Col<double> const& v) override;
  arma::Mat<double> const& betas() const override { return value; }
  /// Only parameter_type::value: the value, with the prior as its one term.
  std::shared_ptr<estimator::constraint> constraint(parameter_type const& kind, unsigned const& index,
                                                    unsigned const& level) override;
  /// The prior at the current value, as a column of one element.
  estimator::likelihood_function likelihoodFunc(likelihood_type const& kind) const override;

  estimator::cluster cluster;
  arma::Mat<double> value;  ///< 1 x 1; its address does not change
  std::function<double(double const&, double const&, double const&)> prior_fun;
  distribution dist;
  double a, b;
};

}  // namespace tovik::sem
