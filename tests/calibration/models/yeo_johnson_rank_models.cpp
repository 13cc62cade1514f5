// Outcomes under a Yeo-Johnson transformation whose parameter is drawn.

#include <cmath>
#include <random>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"
#include "evaluate/functions.hpp"

namespace tovik::tests::calibration {
namespace {

study simulate_transformed(std::mt19937_64& engine) {
  constexpr arma::uword n = 24;
  study one{arma::Mat<double>(n, 3), arma::Col<double>(8)};
  const double lambda = std::uniform_real_distribution<double>(0.2, 1.8)(engine);
  const double b0 = normal(engine), b = normal(engine, 0.5), vy = inverse_gamma(engine, 4, 2);
  const double c0 = normal(engine), c = normal(engine, 0.5), vz = inverse_gamma(engine, 4, 2);
  one.truth = {vy, b0, b, lambda, vz, c0, c, lambda * b0};
  for (arma::uword i = 0; i < n; ++i) {
    const double x = normal(engine);
    const double y = evaluate::iyjt(b0 + b * x + normal(engine, vy), lambda);
    const double z = c0 + c * y + normal(engine, vz);
    one.data.row(i) =
        arma::Row<double>{x, chance_of_odds(engine, 1.5 * x - 1.0) ? missing : y, i % 6 == 3 ? missing : z};
  }
  return one;
}

/// Where y is missing it is integrated out by a sum over a grid of its transformed values. Ranks are uniform
/// for every function of parameters and data, so that what the grid leaves out does no harm.
double transformed_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  constexpr int points = 60;
  const double vy = p(0), lambda = p(3), vz = p(4);
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double mean = p(1) + p(2) * data(i, 0), y = data(i, 1), z = data(i, 2);
    if (!std::isnan(y)) {
      sum += log_normal_density(evaluate::yjt(y, lambda), mean, vy) +
             (lambda - 1) * std::copysign(std::log1p(std::fabs(y)), y);
      if (!std::isnan(z)) sum += log_normal_density(z, p(5) + p(6) * y, vz);
    } else if (!std::isnan(z)) {
      double density = 0;
      for (int k = 0; k <= points; ++k) {
        const double at = mean + 5 * std::sqrt(vy) * (2.0 * k / points - 1);
        density += std::exp(log_normal_density(at, mean, vy) +
                            log_normal_density(z, p(5) + p(6) * evaluate::iyjt(at, lambda), vz));
      }
      sum += std::log(density * 10 * std::sqrt(vy) / points + 1e-300);
    }
  }
  return sum;
}

}  // namespace

rank_study yeo_johnson_ranks() {
  rank_study model;
  model.title = "Yeo-Johnson outcome with missing values, a predictor elsewhere";
  model.design =
      "24 rows; y, whose transformation is regressed on x, is missing at random given x, and z, regressed on "
      "y, in "
      "every sixth row. The parameter of the transformation is uniform from 0.2 to 1.8.";
  model.runs.names = {"x", "y", "z"};
  model.runs.commands =
      "FIXED: x;\n"
      "MODEL: yjt(y, lambda) ~ Intercept@b0 x@b; z ~ Intercept@c0 y@c; y ~~ y@vy; z ~~ z@vz;\n"
      "PARAMETERS: lambda ~ uniform(0.2, 1.8); b0 ~ normal(0, 1); b ~ normal(0, 0.5);\n"
      "  c0 ~ normal(0, 1); c ~ normal(0, 0.5); vy ~ invgamma(4, 2); vz ~ invgamma(4, 2);\n"
      "  product = lambda * b0;\n"
      "OPTIONS: disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_transformed;
  model.runs.seed = 117;
  model.parameters = {
      "residual variance of y", "intercept of y", "y on x", "lambda",
      "residual variance of z", "intercept of z", "z on y", "product of lambda and intercept"};
  model.rows = {0, 1, 2, 3, 7, 8, 9, 20};
  model.log_likelihood = transformed_likelihood;
  model.thin = 80;
  return model;
}

}  // namespace tovik::tests::calibration
