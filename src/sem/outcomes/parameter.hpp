#pragma once

#include <armadillo>
#include <functional>
#include <memory>
#include <string>

#include "sem/autosolver/inv_gamma.hpp"
#include "sem/autosolver/normal_1D.hpp"
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
distribution parse_distribution(const std::string& name);

/// A parameter with a prior of its own. It is drawn by the constraint that is built on it: alone, or together
/// with the places of the equations that carry its label.
class Parameter : public value_node {
 public:
  /// The value starts at default_start(). Throws error_debug for a family without a density.
  Parameter(const Estimator* estimator, const estimator::cluster& structure, const distribution& dist,
            const double& a, const double& b);

  /// A value inside the support, near the middle of the prior: normal a; gamma a b; inverse gamma b / (a +
  /// 1); beta a / (a + b); uniform the midpoint, or 1 inside the one finite bound; Laplace and Cauchy a;
  /// truncated range 0, moved strictly inside.
  static double default_start(distribution dist, double a, double b);

  /// Log density at x. Minus infinity where the density cannot be computed.
  double prior(const double& x, const arma::Mat<double>& data) const;

  arma::Col<double> params() const override { return value.as_col(); }
  arma::Col<double> params(const arma::Mat<double>&) const override { return value.as_col(); }
  /// Takes the first element as the value.
  void addStarts(const arma::Col<double>& v) override;
  const arma::Mat<double>& betas() const override { return value; }
  /// Only parameter_type::value: the value, with the prior as its one term.
  std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                    const unsigned& level) override;
  /// The prior at the current value, as a column of one element.
  estimator::likelihood_function likelihoodFunc(const likelihood_type& kind) const override;

  /// The prior as a factor of a full conditional distribution. Of a coefficient: a normal prior, or a range
  /// without information but its bounds. Of a variance: an inverse gamma prior adds its two numbers. Throws
  /// error_debug for a prior of another family.
  autosolver::normal_1D dist_param(const arma::Mat<double>& data,
                                   const autosolver::normal_1D& previous) const;
  autosolver::inv_gamma dist_variance(const arma::Mat<double>& data,
                                      const autosolver::inv_gamma& previous) const;

  estimator::cluster cluster;
  arma::Mat<double> value;  ///< 1 x 1; its address does not change
  std::function<double(const double&, const double&, const double&)> prior_fun;
  distribution dist;
  double a, b;
};

}  // namespace tovik::sem
