#pragma once

#include <cmath>
#include <memory>
#include <vector>

#include "evaluate/functions.hpp"
#include "prior_states.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/yjt.hpp"

namespace tovik::tests {

/// Of a uniform prior of lambda; NaN for an outcome without a transformation.
struct lambda_bounds {
  double lower = arma::datum::nan, upper = arma::datum::nan;
  bool is_set() const { return !std::isnan(lower); }
  double middle() const { return 0.5 * (lower + upper); }
};

/// A normal regression of the transformed outcome, lambda uniform between bounds.
inline std::unique_ptr<sem::yjt<sem::Normal>> transformed_normal(LoneEstimator& estimator,
                                                                 sem::equation_setup setup, double lower,
                                                                 double upper) {
  setup.response_moves = true;
  auto out = std::make_unique<sem::yjt<sem::Normal>>(&estimator, data::type::continuous, setup, 1.0, true);
  out->take_lambda_prior(std::make_shared<sem::Parameter>(&estimator, sem::estimator::cluster(),
                                                          sem::distribution::uniform, lower, upper),
                         {});
  return out;
}

/// lambda from its prior, and y from what it is to transform. After the effects: those that are all zero
/// start anew.
inline void draw_lambda(sem::Regression& model, const lambda_bounds& bounds, arma::Col<double>& y,
                        Random& rng) {
  arma::Col<double> v = model.params();
  v.back() = bounds.lower + (bounds.upper - bounds.lower) * rng.runif();
  model.addStarts(v);
  for (double& value : y) value = evaluate::iyjt(value, v.back());
}

/// lambda as it is given; coefficients N(0, 1) unless `held`, covariance matrices and effects from their
/// priors.
inline void draw_state(sem::Regression& model, bool held, double lambda, Random& rng) {
  if (!held)
    for (double& b : model.betas_) b = rng.rnorm();
  for (unsigned L = 0; L < model.n_levels; ++L) {
    arma::uword const q = model.u[L].n_cols;
    if (q == 0) continue;
    model.iSigma[L] = q == 1 ? arma::Mat<double>{rng.rgamma(1.0, 2.0)}
                             : rng.rwish(static_cast<int>(q) + 1, arma::eye(q, q));
    model.Sigma[L] = arma::inv_sympd(model.iSigma[L]);
    model.u[L].fill(1.0);  // effects that are all zero start anew
  }
  model.addStarts(arma::join_cols(model.params().head(model.n_params() - 1), arma::Col<double>{lambda}));
  draw_effects(model, rng);
}

/// How these hang together with lambda, whose distance from the middle of its prior is `off`, and with a
/// value y of unit 0.
inline void add_state_functions(const sem::Regression& model, bool held, double lambda, double off, double y,
                                std::vector<double>& out) {
  const arma::Mat<double>& b = model.betas_;
  if (!held) out.insert(out.end(), {b(0), b(1), lambda * b(0), b(0) * y});
  for (unsigned L = 0; L < model.n_levels; ++L) {
    const arma::Mat<double>&u = model.u[L], &S = model.Sigma[L];
    arma::uword const q = u.n_cols;
    if (q == 0) continue;
    const double scale = std::sqrt(S(0, 0));
    out.insert(out.end(),
               {std::log(S(0, 0)), off * std::log(scale), std::log(arma::det(S)), u(0, 0),
                u(1, q - 1) / scale, u(0, 0) * y / scale, std::log(arma::accu(u % (u * model.iSigma[L])))});
  }
}

/// The random walk of lambda has this width, in units of its first proposal.
inline void set_first_step(sem::Regression& model, double step) {
  std::vector<sem::estimator::tune_obj*> proposals;
  model.addProposals(proposals);
  proposals.front()->value = step;
}

inline double lambda_of(const sem::Regression& model) {
  return dynamic_cast<const sem::yjt<sem::Normal>&>(model).lambda();
}

}  // namespace tovik::tests
