#include "sem/outcomes/parameter.hpp"

#include <cmath>
#include <limits>
#include <unordered_map>

#include "random/densities.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using density = double (*)(const double&, const double&, const double&, const bool&);

density density_of(distribution dist) {
  switch (dist) {
    case distribution::normal:
      return dnorm;
    case distribution::truncated_normal:
      throw error_debug("Truncated Normal currently not implemented.");
    case distribution::gamma:
      return dgamma;
    case distribution::invgamma:
      return dinvgamma;
    case distribution::beta:
      return dbeta;
    case distribution::laplace:
      return dlaplace;
    case distribution::cauchy:
      return dcauchy;
    case distribution::uniform:
      return dunif;
    case distribution::truncate:
      return dtrunc;
  }
  throw error_debug("Unable to parse distribution.");
}

/// The middle of a range; 1 inside the finite bound of a half line; 0 on the whole line.
double middle(double lower, double upper) {
  if (std::isfinite(lower) && std::isfinite(upper)) return lower + 0.5 * (upper - lower);
  if (std::isfinite(lower)) return lower + 1.0;
  if (std::isfinite(upper)) return upper - 1.0;
  return 0.0;
}

}  // namespace

distribution parse_distribution(const std::string& name) {
  static const std::unordered_map<std::string, distribution> families = {
      {"normal", distribution::normal},    {"tnormal", distribution::truncated_normal},
      {"gamma", distribution::gamma},      {"invgamma", distribution::invgamma},
      {"beta", distribution::beta},        {"laplace", distribution::laplace},
      {"cauchy", distribution::cauchy},    {"uniform", distribution::uniform},
      {"truncate", distribution::truncate}};
  const auto found = families.find(name);
  if (found == families.end()) throw error_debug("Unable to parse distribution.");
  return found->second;
}

Parameter::Parameter(const Estimator* estimator_, const estimator::cluster& structure,
                     const distribution& dist_, const double& a_, const double& b_)
    : Outcome(shape{.estimator = estimator_, .type = data::type::parameter}),
      value_node("Parameter"),
      cluster(structure),
      value(1, 1),
      dist(dist_),
      a(a_),
      b(b_) {
  const density f = density_of(dist);
  prior_fun = [f](const double& x, const double& first, const double& second) {
    return f(x, first, second, true);
  };
  value(0, 0) = default_start(dist, a, b);
}

double Parameter::default_start(distribution dist, double a, double b) {
  switch (dist) {
    case distribution::gamma:
      return a * b;
    case distribution::invgamma:
      return b / (a + 1.0);
    case distribution::beta:
      return a / (a + b);
    case distribution::uniform:
      return middle(a, b);
    case distribution::truncate:
      return a < 0.0 && 0.0 < b ? 0.0 : middle(a, b);
    default:
      return a;
  }
}

double Parameter::prior(const double& x, const arma::Mat<double>&) const {
  try {
    return prior_fun(x, a, b);
  } catch (const std::exception&) {
    return -std::numeric_limits<double>::infinity();  // the special functions have no value at x
  }
}

void Parameter::addStarts(const arma::Col<double>& v) {
  if (v.is_empty()) throw error_debug("Starting values do not match the parameters.");
  value(0, 0) = v(0);
}

std::shared_ptr<estimator::constraint> Parameter::constraint(const parameter_type& kind, const unsigned&,
                                                             const unsigned&) {
  if (kind != parameter_type::value) throw error_debug("Unrecognized constraint for Parameter model.");
  estimator::parameterT<double> parameter;
  parameter.value = value(0, 0);
  parameter.links = {value.memptr()};
  auto out = std::make_shared<estimator::constraint>(rng, parameter);
  out->likelihoods.emplace_back(
      this, [this](const double& x, const arma::Mat<double>& data) { return prior(x, data); });
  return out;
}

estimator::likelihood_function Parameter::likelihoodFunc(const likelihood_type&) const {
  return {this, [this](const arma::Mat<double>& data, const int&) {
            return arma::Col<double>{prior(value(0, 0), data)};
          }};
}

autosolver::normal_1D Parameter::dist_param(const arma::Mat<double>&,
                                            const autosolver::normal_1D& previous) const {
  switch (dist) {
    case distribution::normal:
      return std::isfinite(b) ? previous * autosolver::normal_1D(a, b) : previous;
    case distribution::uniform:
    case distribution::truncate:
      return previous * autosolver::normal_1D::between(a, b);
    default:
      throw error_debug("Unable to get autosolver function for Parameter.");
  }
}

autosolver::inv_gamma Parameter::dist_variance(const arma::Mat<double>&,
                                               const autosolver::inv_gamma& previous) const {
  if (dist != distribution::invgamma) throw error_debug("Unable to get autosolver function for Parameter.");
  return {previous.shape + a, previous.scale + b};
}

}  // namespace tovik::sem
