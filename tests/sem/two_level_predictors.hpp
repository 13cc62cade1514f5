#pragma once

#include "sem/predictor_run.hpp"

namespace tovik::tests {

/// y ~ x - T and T in clusters, where T is the cluster's part of x; x is missing more often where y is large.
struct two_level {
  arma::mat data;  ///< id, y, x, w (of the cluster, some missing), a (with x at both levels, some missing)
  arma::vec T;

  static std::vector<std::string> names() { return {"id", "y", "x", "w", "a"}; }

  two_level(arma::uword J, arma::uword n, std::uint64_t seed, double within, double between) : T(J) {
    Random rng(static_cast<int>(seed), 1);
    data.set_size(J * n, 5);
    for (arma::uword j = 0; j < J; ++j) {
      T[j] = 2.0 + 0.7 * rng.rnorm();
      const double u = 0.5 * rng.rnorm();
      const double w = 0.5 * T[j] + rng.rnorm();
      const double a2 = 0.4 * T[j] + 0.5 * rng.rnorm();
      for (arma::uword i = 0; i < n; ++i) {
        const double d = rng.rnorm();
        const double y = 1.0 + within * d + between * T[j] + u + 0.8 * rng.rnorm();
        const double a = a2 + 0.5 * d + rng.rnorm();
        data.row(j * n + i) = arma::rowvec{static_cast<double>(j), y, T[j] + d, w, a};
      }
    }
    const double typical = arma::mean(data.col(1));
    for (arma::uword r = 0; r < data.n_rows; ++r) {
      const double chance = data(r, 1) > typical ? 0.4 : 0.1;
      if (rng.runif() < chance) data(r, 2) = arma::datum::nan;
      if (rng.runif() < 0.2) data(r, 4) = arma::datum::nan;
    }
    for (arma::uword j = 0; j < J; j += 5) data.submat(j * n, 3, (j + 1) * n - 1, 3).fill(arma::datum::nan);
  }
};

/// A plan with the identifier "id".
inline predictor_run::plan clustered() {
  predictor_run::plan p;
  p.ids = {"id"};
  return p;
}

/// The report columns of n scans after tuned burn-in.
inline arma::mat tuned_draws(sem::Mcmc& chain, int burn, arma::uword n) {
  for (int i = 1; i <= burn; ++i) {
    chain.oneRep();
    if (i <= burn / 2 && i % 25 == 0) chain.tune();
  }
  arma::mat out(chain.getTotalParams(), n);
  for (arma::uword t = 0; t < n; ++t) {
    chain.oneRep();
    out.col(t) = chain.getParams();
  }
  return out;
}

}  // namespace tovik::tests
