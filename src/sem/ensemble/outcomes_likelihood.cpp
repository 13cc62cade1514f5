// What the equations together say of the data.

#include <algorithm>

#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using model_ptr = std::shared_ptr<estimator::Outcome>;

bool has_random_effects(estimator::Outcome const& model) {
  for (unsigned L = 0; L < model.n_levels; ++L) {
    if (model.n_random(L) > 0) return true;
  }
  return false;
}

}  // namespace

arma::Col<double> Outcomes::logLiklihood(arma::Mat<double> const& data, int level) const {
  arma::Col<double> out(working_.n_units(static_cast<unsigned>(level)), arma::fill::zeros);
  for (model_ptr const& model : models) {
    if (!has_likelihood(*model) || static_cast<int>(model->level) > level) continue;
    out += model->logLiklihood(data, level);
  }
  return out;
}

double Outcomes::logLiklihood(arma::Mat<double> const& data) const {
  double sum = 0.0;
  for (model_ptr const& model : models) {
    if (has_likelihood(*model)) sum += model->logLiklihood(data);
  }
  return sum;
}

arma::Col<double> Outcomes::computeLL(arma::Mat<double> const& data, int level) const {
  return logLiklihood(data, level);
}

double Outcomes::computeLL(arma::Mat<double> const& data) const {
  return logLiklihood(data);
}

void Outcomes::fill_marginal(arma::Cube<double>& out, arma::Mat<double> const& data, arma::uword slice,
                             estimator::Outcome const& model) const {
  if (!has_random_effects(model)) {  // nothing to integrate out
    out.slice(slice).col(0) = out.slice(slice).col(1);
    return;
  }
  try {
    out.slice(slice).col(0) = model.marginal_logLiklihood(data);
  } catch (numeric_error const&) {
    // A covariance matrix on the edge of positive definiteness: the fit statistics leave the marginal block
    // out, the run goes on.
    out.slice(slice).col(0).fill(arma::datum::nan);
  }
}

arma::Cube<double> Outcomes::likelihood(arma::Mat<double> const& data) const {
  const auto counted = std::count_if(models.begin(), models.end(),
                                     [](model_ptr const& model) { return has_likelihood(*model); });
  const arma::uword n_models = static_cast<arma::uword>(counted);
  const unsigned top = working_.n_levels() - 1;
  arma::Cube<double> out(working_.n_units(top), 2, n_models + 1);
  out.slice(n_models).zeros();
  arma::uword slice = 0;
  for (model_ptr const& model : models) {
    if (!has_likelihood(*model)) continue;
    out.slice(slice).col(1) = model->logLiklihood(data, static_cast<int>(top));
    fill_marginal(out, data, slice, *model);
    out.slice(n_models) += out.slice(slice);
    ++slice;
  }
  return out;
}

}  // namespace tovik::sem
