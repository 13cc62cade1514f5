#include "sem/wiring/value_node.hpp"

#include "support/error.hpp"

namespace tovik::sem {

void value_node::unsupported(char const* what) const {
  throw error_debug(std::string(what) + " for " + name_ + " model.");
}

arma::Col<double> value_node::logLiklihood(arma::Mat<double> const&, int const&) const {
  unsupported("No likelihood");
}

arma::Col<double> value_node::marginal_logLiklihood(arma::Mat<double> const&) const {
  unsupported("No likelihood");
}

double value_node::logLiklihood(arma::Mat<double> const&) const {
  return 0.0;
}

// Nothing here is imputed.
void value_node::addLL(std::unique_ptr<estimator::likelihood>, likelihood_type const&) {}

void value_node::addDist(std::shared_ptr<autosolver::solver<autosolver::normal>> const&,
                         distribution_type const&) {
  unsupported("Unable to set autosolver");
}

void value_node::addStarts(arma::Col<double> const&) {
  unsupported("Unable to set starting values");
}

arma::Mat<double> value_node::betaCovB(arma::Mat<double> const&, unsigned const&) const {
  unsupported("No coefficients");
}

std::shared_ptr<estimator::constraint> value_node::constraint(parameter_type const&, unsigned const&,
                                                              unsigned const&) {
  unsupported("Unrecognized constraint");
}

estimator::likelihood_function value_node::likelihoodFunc(likelihood_type const&) const {
  unsupported("No likelihood");
}

void value_node::setCentering(std::unique_ptr<estimator::covariate_link>) {
  unsupported("Unable to set centering");
}

arma::Mat<double> value_node::latent(arma::Mat<double> const& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Mat<double> value_node::residual(arma::Mat<double> const& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Mat<double> value_node::predicted(arma::Mat<double> const& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Mat<double> value_node::compute_residual(arma::Mat<double> const& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Mat<double> value_node::compute_predicted(arma::Mat<double> const& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

void value_node::addMulti(std::shared_ptr<Multi> const&) {
  unsupported("Multi not available");
}

}  // namespace tovik::sem
