// A block of outcomes for rank statistics.

#include <cmath>
#include <random>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"

namespace tovik::tests::calibration {
namespace {

constexpr double held = 0.3;  ///< the correlation of the first and the third outcome

arma::Mat<double> correlations(double r12, double r23) {
  return {{1, r12, held}, {r12, 1, r23}, {held, r23, 1}};
}

// In the variances and the two free correlations the prior is |R|^-4 prod_j v_j^(q_j / 2 - 4) exp(-w_j / (2
// v_j)) with w the diagonal of inv(R) and q = (1, 2, 1): inverse gammas given R, and R with the density
// |R|^-4 prod_j w_j^(q_j / 2 - 3), which is at most (1 - held^2)^-2 because |R| is at most (1 - r12^2)(1 -
// r23^2).
arma::Mat<double> covariance_of_prior(std::mt19937_64& engine) {
  std::uniform_real_distribution<double> uniform(-1, 1);
  const arma::Col<double> shapes = {2.5, 2, 2.5};
  for (;;) {
    const arma::Mat<double> R = correlations(uniform(engine), uniform(engine));
    const double det = arma::det(R);
    if (!(det > 0)) continue;
    const arma::Col<double> w = arma::inv(R).eval().diag();
    double mass = std::pow(det, -4);
    for (arma::uword j = 0; j < 3; ++j) mass *= std::pow(w(j), -shapes(j));
    if (!chance(engine, mass * std::pow(1 - held * held, 2))) continue;
    arma::Col<double> sd(3);
    for (arma::uword j = 0; j < 3; ++j) sd(j) = std::sqrt(inverse_gamma(engine, shapes(j), 0.5 * w(j)));
    return arma::diagmat(sd) * R * arma::diagmat(sd);
  }
}

study simulate_block(std::mt19937_64& engine) {
  constexpr arma::uword n = 18;
  study one{arma::Mat<double>(n, 3), arma::Col<double>(8)};
  const arma::Mat<double> Sigma = covariance_of_prior(engine), root = arma::chol(Sigma, "lower");
  arma::Col<double>& p = one.truth;
  for (arma::uword j = 0; j < 3; ++j) {
    p(2 * j) = Sigma(j, j);
    p(2 * j + 1) = normal(engine);
  }
  p(6) = Sigma(0, 1) / std::sqrt(Sigma(0, 0) * Sigma(1, 1));
  p(7) = Sigma(1, 2) / std::sqrt(Sigma(1, 1) * Sigma(2, 2));
  for (arma::uword i = 0; i < n; ++i) {
    arma::Col<double> z(3);
    for (double& value : z) value = normal(engine);
    const arma::Col<double> y = arma::Col<double>{p(1), p(3), p(5)} + root * z;
    one.data.row(i) = y.t();
    // At random: what is missing of the others depends on the first.
    if (y(0) > 0 && i % 3 == 0) one.data(i, 1) = missing;
    if (i % 5 == 4) one.data(i, 2) = missing;
  }
  return one;
}

double block_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const arma::Col<double> sd = {std::sqrt(p(0)), std::sqrt(p(2)), std::sqrt(p(4))};
  const arma::Mat<double> Sigma = arma::diagmat(sd) * correlations(p(6), p(7)) * arma::diagmat(sd);
  const arma::Mat<double> I = arma::eye(data.n_rows, data.n_rows);
  const arma::Col<double> means = {p(1), p(3), p(5)}, ones(data.n_rows, arma::fill::ones);
  return dense_log_normal(arma::vectorise(data), arma::kron(means, ones), arma::kron(Sigma, I));
}

}  // namespace

rank_study block_ranks() {
  rank_study model;
  model.title = "Three outcomes with correlated residuals";
  model.design =
      "18 rows; one correlation is held at 0.3, the second outcome is missing at random given the first and "
      "the "
      "third by design.";
  model.runs.names = {"y1", "y2", "y3"};
  model.runs.commands =
      "MODEL: y1 ~ Intercept@a1; y2 ~ Intercept@a2; y3 ~ Intercept@a3; y1 y3 <-> y2; y1 <-> y3@0.3;\n"
      "PARAMETERS: a1 ~ normal(0, 1); a2 ~ normal(0, 1); a3 ~ normal(0, 1);\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_block;
  model.runs.seed = 108;
  model.parameters = {"variance of y1",         "intercept of y1",       "variance of y2",
                      "intercept of y2",        "variance of y3",        "intercept of y3",
                      "correlation of 1 and 2", "correlation of 2 and 3"};
  model.rows = {0, 1, 4, 5, 8, 9, 19, 22};
  model.log_likelihood = block_likelihood;
  model.burn = 2000;
  model.thin = 300;
  return model;
}

}  // namespace tovik::tests::calibration
