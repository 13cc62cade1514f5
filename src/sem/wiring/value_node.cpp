#include "sem/wiring/value_node.hpp"

#include "support/error.hpp"

namespace tovik::sem {

void value_node::unsupported(const char* what) const {
  throw error_debug(std::string(what) + " for " + name_ + " model.");
}

arma::Col<double> value_node::logLiklihood(const arma::Mat<double>&, const int&) const {
  unsupported("No likelihood");
}

arma::Col<double> value_node::marginal_logLiklihood(const arma::Mat<double>&) const {
  unsupported("No likelihood");
}

double value_node::logLiklihood(const arma::Mat<double>&) const {
  return 0.0;
}

// Nothing here is imputed.
void value_node::addLL(std::unique_ptr<estimator::likelihood>, const likelihood_type&) {}

void value_node::addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>&,
                         const distribution_type&) {
  unsupported("Unable to set autosolver");
}

void value_node::addStarts(const arma::Col<double>&) {
  unsupported("Unable to set starting values");
}

arma::Mat<double> value_node::betaCovB(const arma::Mat<double>&, const unsigned&) const {
  unsupported("No coefficients");
}

std::shared_ptr<estimator::constraint> value_node::constraint(const parameter_type&, const unsigned&,
                                                              const unsigned&) {
  unsupported("Unrecognized constraint");
}

estimator::likelihood_function value_node::likelihoodFunc(const likelihood_type&) const {
  unsupported("No likelihood");
}

void value_node::setCentering(std::unique_ptr<estimator::covariate_link>) {
  unsupported("Unable to set centering");
}

arma::Mat<double> value_node::latent(const arma::Mat<double>& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Mat<double> value_node::residual(const arma::Mat<double>& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Mat<double> value_node::predicted(const arma::Mat<double>& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Mat<double> value_node::compute_residual(const arma::Mat<double>& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Mat<double> value_node::compute_predicted(const arma::Mat<double>& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

void value_node::addMulti(const std::shared_ptr<Multi>&) {
  unsupported("Multi not available");
}

}  // namespace tovik::sem
