#include "sem/phantom_world.hpp"

#include <cmath>

namespace tovik::tests {

arma::Mat<double> draw_prior_covariance(arma::uword q, Random& rng) {
  if (q == 1) return arma::Mat<double>{1.0 / rng.rgamma(1.0, 2.0)};
  return arma::inv_sympd(rng.rwish(static_cast<int>(q) + 1, arma::eye(q, q)));
}

void draw_parameters(sem::Regression& model, double variance, Random& rng) {
  for (unsigned L = 0; L < model.n_levels; ++L) {
    arma::uword const q = model.u[L].n_cols;
    if (q == 0) continue;
    model.Sigma[L] = draw_prior_covariance(q, rng);
    model.iSigma[L] = arma::inv_sympd(model.Sigma[L]);
    model.u[L] =
        rng.randn(static_cast<int>(model.u[L].n_rows), static_cast<int>(q)) * arma::chol(model.Sigma[L]);
  }
  for (arma::uword j : model.free) model.betas_(j) = std::sqrt(variance) * rng.rnorm();
}

bool leaves_variance(arma::Mat<double> S, const std::vector<sem::phantom_term>& terms,
                     const std::vector<double>& rhos) {
  const arma::Col<double> diagonal = S.diag();
  for (std::size_t k = 0; k < terms.size(); ++k)
    S(terms[k].effect, terms[k].effect) -= std::fabs(rhos[k]) * diagonal(terms[k].effect);
  arma::Mat<double> root;
  return arma::chol(root, S);
}

arma::Mat<double> dense_loadings(const arma::Mat<double>& S, const std::vector<sem::phantom_term>& terms,
                                 const std::vector<double>& rhos) {
  arma::Mat<double> out(S.n_rows, terms.size(), arma::fill::zeros);
  for (std::size_t k = 0; k < terms.size(); ++k) {
    const double sign = terms[k].signed_side && rhos[k] < 0.0 ? -1.0 : rhos[k] == 0.0 ? 0.0 : 1.0;
    out(terms[k].effect, k) = sign * std::sqrt(std::fabs(rhos[k]) * S(terms[k].effect, terms[k].effect));
  }
  return out;
}

}  // namespace tovik::tests
