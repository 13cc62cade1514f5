#include "sem/prior_states.hpp"

#include <cmath>

#include "sem/count_world.hpp"
#include "sem/outcomes/nbinomial.hpp"
#include "sem/outcomes/normal.hpp"

namespace tovik::tests {
namespace {

void draw_effects_of(sem::Regression& model, unsigned L, Random& rng) {
  const auto n = static_cast<int>(model.u[L].n_rows), q = static_cast<int>(model.u[L].n_cols);
  if (q > 0) model.u[L] = rng.randn(n, q) * arma::chol(model.Sigma[L]);
}

}  // namespace

arma::Mat<double> draw_prior_covariance(arma::uword q, Random& rng) {
  if (q == 1) return arma::Mat<double>{1.0 / rng.rgamma(1.0, 2.0)};
  return arma::inv_sympd(rng.rwish(static_cast<int>(q) + 1, arma::eye(q, q)));
}

void draw_effects(sem::Regression& model, Random& rng) {
  for (unsigned L = 0; L < model.n_levels; ++L) draw_effects_of(model, L, rng);
}

void draw_covariances_and_effects(sem::Regression& model, Random& rng) {
  for (unsigned L = 0; L < model.n_levels; ++L) {
    if (model.u[L].n_cols == 0) continue;
    model.Sigma[L] = draw_prior_covariance(model.u[L].n_cols, rng);
    model.iSigma[L] = arma::inv_sympd(model.Sigma[L]);
    draw_effects_of(model, L, rng);
  }
}

void draw_parameters(sem::Regression& model, double variance, Random& rng) {
  draw_covariances_and_effects(model, rng);
  for (arma::uword j : model.free) model.betas_(j) = std::sqrt(variance) * rng.rnorm();
}

void draw_starts(sem::Regression& model, double prior_variance, Random& rng) {
  arma::Col<double> starts = model.params();
  arma::uword at = 0;
  for (unsigned L = model.n_levels; L-- > 0;) {
    arma::uword const q = model.u[L].n_cols;
    const arma::Mat<double> S = q == 0 ? arma::Mat<double>() : draw_prior_covariance(q, rng);
    for (arma::uword j = 0; j < q; ++j)
      for (arma::uword i = j; i < q; ++i) starts(at++) = S(i, j);
  }
  if (dynamic_cast<sem::Normal*>(&model) != nullptr) starts(at++) = draw_prior_covariance(1, rng)(0, 0);
  if (dynamic_cast<sem::NBinomial*>(&model) != nullptr) starts(at++) = draw_prior_dispersion(rng);
  if (model.fixed.is_empty())
    for (; at < starts.n_elem; ++at) starts(at) = std::sqrt(prior_variance) * rng.rnorm();
  model.addStarts(starts);
}

void add_effect_functions(const sem::Regression& model, double y, std::vector<double>& out) {
  for (unsigned L = 0; L < model.n_levels; ++L) {
    const arma::Mat<double>&u = model.u[L], &S = model.Sigma[L];
    if (u.n_cols == 0) continue;
    const double scale = std::sqrt(S(0, 0));
    out.insert(out.end(), {std::log(S(0, 0)), std::log(arma::det(S)), u(0, 0) / scale, u(1, u.n_cols - 1),
                           u(0, 0) * y / scale, u(0, 0) * model.betas()(0) / scale,
                           std::log(arma::accu(u % (u * model.iSigma[L])))});
  }
}

}  // namespace tovik::tests
