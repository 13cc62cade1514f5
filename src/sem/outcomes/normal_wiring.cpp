// How a normal outcome is connected to other models.

#include "sem/outcomes/normal.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"

namespace tovik::sem {

void Normal::addDist(std::shared_ptr<autosolver::solver<autosolver::normal>> const& solved,
                     distribution_type const& kind) {
  if (kind != distribution_type::fixed) throw error_debug("Unable to set autosolver for Normal.");
  solver = solved;
}

void Normal::addMulti(std::shared_ptr<Multi> const&) {
  not_available::refuse("A block of outcomes with correlated residuals");
}

estimator::likelihood_function Normal::likelihoodFunc(likelihood_type const& kind) const {
  using units_of = arma::Col<arma::uword>;
  if (kind == likelihood_type::random_effect) {
    return {this, [this](arma::Mat<double> const& data, int const& at) {
              return compute_Us_LL(data, at - static_cast<int>(level) - 1);
            }};
  }
  return {this, [this](arma::Mat<double> const& data, int const& at) { return logLiklihood(data, at); },
          [this](arma::Mat<double> const& data, int const& at, units_of const& units, double* out) {
            addLogLiklihood(data, at, units, out);
          }};
}

autosolver::contribution<autosolver::normal> Normal::distributionFunc(distribution_type const&,
                                                                      autosolver::solution const&,
                                                                      int const&) const {
  throw error_debug("Unable to get autosolver function for Normal.");
}

autosolver::contribution<autosolver::normal_1D> Normal::distributionFunc(distribution_type const&,
                                                                         autosolver::solution const&) const {
  throw error_debug("Unable to get autosolver function for Normal.");
}

autosolver::contribution<autosolver::inv_gamma> Normal::distributionFunc(distribution_type const&) const {
  throw error_debug("Unable to get autosolver function for Normal.");
}

}  // namespace tovik::sem
