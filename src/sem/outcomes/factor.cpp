#include "sem/outcomes/factor.hpp"

#include <utility>

#include "support/error.hpp"

namespace tovik::sem {

equation_setup Factor::without_values(equation_setup setup) {
  if (setup.cluster.own_rows.empty()) throw error_debug("The outcome has no units.");
  setup.missing_units = arma::regspace<arma::Col<arma::uword>>(0, setup.cluster.own_rows[0]->n_elem - 1);
  return setup;
}

Factor::Factor(const Estimator* estimator_, equation_setup setup)
    : Factor(estimator_, prepared{without_values(std::move(setup))}) {}

Factor::Factor(const Estimator* estimator_, const prepared& whole)
    : Outcome(parts_of(estimator_, data::type::latent, whole.setup)),
      Normal(estimator_, whole.setup, data::type::latent) {
  imp_tune.kind = estimator::tune_obj::kind_type::latent_2;
}

arma::Mat<double> Factor::latent(const arma::Mat<double>& data) const {
  return arma::join_rows(data.col(y(0)), Regression::latent(data));
}

arma::Col<double> Factor::observed_logLiklihood(const arma::Mat<double>&, const int& at_level) const {
  const int above = at_level - static_cast<int>(level);
  if (above < 0 || static_cast<unsigned>(above) > cluster.n_levels())
    throw error_debug("The outcome has no likelihood at this level.");
  return arma::zeros(above == 0 ? n_units : cluster.n_clusters(above - 1));
}

arma::Col<double> Factor::observed_marginal_logLiklihood(const arma::Mat<double>&) const {
  return arma::zeros(n_levels == 0 ? n_units : cluster.n_clusters(static_cast<int>(n_levels) - 1));
}

}  // namespace tovik::sem
