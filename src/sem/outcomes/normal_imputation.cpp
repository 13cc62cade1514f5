// The missing values of a normal outcome, and the scale on which it is modelled.

#include <utility>

#include "sem/outcomes/normal.hpp"
#include "random/random.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"

namespace tovik::sem {

void Normal::start_scan(arma::Mat<double> const& data) {
  scan::row_scale const scale(residVar());
  if (scale_.has_transform())
    scan_->begin(data, scale_.read(data), betas_, u, scale);
  else
    scan_->begin(data, betas_, u, scale);
}

void Normal::impute(arma::Mat<double>& data) {
  scan::row_scale const scale(residVar());
  if (solver != nullptr)
    imputed_.draw_solved(*scan_, *solver, data);
  else if (!imputed_.has_list())
    imputed_.draw_predictive(*scan_, scale, *rng, data);
  else if (link == nullptr && ess_sampler)
    imputed_.draw_slice(*scan_, scale, *rng, ess_max_niter, data);
  else
    imputed_.draw_metropolis(*scan_, scale, *rng, imp_tune, data);
}

void Normal::addLL(estimator::likelihood* l, likelihood_type const& kind) {
  std::unique_ptr<estimator::likelihood> owned(l);
  if (kind == likelihood_type::random_effect)
    us_ll = std::move(owned);
  else
    imputed_.set_list(std::move(owned));
}

void Normal::addTransform(evaluate::pair const& pair) {
  scale_.set(pair);
}

void Normal::setCentering(estimator::covariate_link* link_) {
  centering.reset(link_);
  if (centering == nullptr)
    imputed_.set_refresh({});
  else if (level == 0)
    imputed_.set_refresh([this](arma::Mat<double>& data) { centering->update(data); });
  else
    imputed_.set_refresh([this](arma::Mat<double>& data) { centering->update(data, cluster); });
}

double Normal::getMissingPercent() const {
  return missing ? static_cast<double>(missing_rows.n_elem) / static_cast<double>(n_units) : 0.0;
}

std::vector<double> Normal::getMissingPercents() const {
  return {getMissingPercent()};
}

void Normal::tune() {
  if (missing && imputed_.has_list() && solver == nullptr) imp_tune.tune();
}

}  // namespace tovik::sem
