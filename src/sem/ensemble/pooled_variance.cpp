#include "sem/ensemble/pooled_variance.hpp"

#include <cmath>
#include <utility>

#include "random/random.hpp"
#include "sem/outcomes/parameter.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

struct inverse_gamma {
  double shape = 0.0, scale = 0.0;
};

/// The default prior with the pseudo sum of squares `unit` (see priors).
inverse_gamma default_prior(int code, double unit) {
  switch (code) {
    case 1:
      return {1.0, 0.5 * unit};
    case 2:
      return {-1.0, 0.0};
    case 3:
      return {0.0, 0.0};
    default:
      throw error_debug("Unknown prior for a variance.");
  }
}

}  // namespace

pooled_variance::pooled_variance(const estimator::constraint& parameter, std::vector<Normal*> equations,
                                 double shape, double scale)
    : constraint(parameter), equations_(std::move(equations)), shape_(shape), scale_(scale) {
  likelihoods.clear();
  refresh.clear();
}

std::shared_ptr<pooled_variance> pooled_variance::make(
    const planned_label& label, const std::vector<std::shared_ptr<estimator::Outcome>>& models, int code,
    const estimator::constraint& parameter) {
  if (!sampler_settings::draw_label_blocks || label.places.empty() || !label.followers.empty())
    return nullptr;
  std::vector<Normal*> equations;
  arma::uword n = 0;
  for (const model::constraint_info& info : label.places) {
    auto* equation = dynamic_cast<Normal*>(models.at(info.model).get());
    if (info.kind != model::constraint_info::place::variance || equation == nullptr ||
        equation->link != nullptr || !equation->part(0).empty())
      return nullptr;
    equations.push_back(equation);
    n += equation->n_units;
  }
  inverse_gamma prior;
  if (label.prior >= 0) {
    const auto& given = dynamic_cast<const Parameter&>(*models.at(static_cast<unsigned>(label.prior)));
    if (given.dist != distribution::invgamma || !(given.a > 0.0) || !(given.b > 0.0)) return nullptr;
    prior = {given.a, given.b};
  } else {
    prior = default_prior(code, equations.front()->residual_unit());
  }
  const double shape = prior.shape + 0.5 * static_cast<double>(n);
  if (!(shape > 0.0) || !std::isfinite(shape)) return nullptr;
  return std::shared_ptr<pooled_variance>(
      new pooled_variance(parameter, std::move(equations), shape, prior.scale));
}

void pooled_variance::draw(const arma::Mat<double>& data) {
  double scale = scale_;
  for (Normal* equation : equations_) scale += 0.5 * equation->squared_residuals(data);
  write(1.0 / rng->rgamma(shape_, 1.0 / scale));
}

}  // namespace tovik::sem
