// Outcomes whose residual variance has a model.

#include <cmath>
#include <random>

#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"

namespace tovik::tests::calibration {
namespace {

double log_density_of(double e, double log_variance) {
  return -0.5 * (std::log(2 * arma::datum::pi) + log_variance + e * e * std::exp(-log_variance));
}

study simulate_location_scale(std::mt19937_64& engine) {
  constexpr arma::uword n = 30;
  study one{arma::Mat<double>(n, 4), {}};
  const double a0 = normal(engine), a = normal(engine, 0.5), va = inverse_gamma(engine, 5, 4);
  const double b0 = normal(engine), b = normal(engine, 0.5), g0 = normal(engine, 0.5),
               g = normal(engine, 0.3), h = normal(engine, 0.3);
  const double c0 = normal(engine), c = normal(engine, 0.5), vc = inverse_gamma(engine, 5, 4);
  one.truth = {va, a0, a, b0, b, g0, g, h, vc, c0, c};
  for (arma::uword i = 0; i < n; ++i) {
    const double x = normal(engine), m = a0 + a * x + normal(engine, va);
    const double y = b0 + b * x + normal(engine, std::exp(g0 + g * x + h * m));
    const double z = c0 + c * y + normal(engine, vc);
    one.data.row(i) = arma::Row<double>{x, chance_of_odds(engine, x - 1) ? missing : m,
                                        chance_of_odds(engine, x - 1) ? missing : y, z};
  }
  return one;
}

/// Missing values of m, which the variance reads, and of y, which z reads, are summed out over grids of their
/// distribution.
double location_scale_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const double va = p(0), a0 = p(1), a = p(2), b0 = p(3), b = p(4), g0 = p(5), g = p(6), h = p(7), vc = p(8),
               c0 = p(9), c = p(10);
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double x = data(i, 0), m = data(i, 1), y = data(i, 2), z = data(i, 3), center = a0 + a * x;
    // Of y and z, or of z alone, given m.
    const auto rest = [&](double of_m) {
      const double l = g0 + g * x + h * of_m, mean = b0 + b * x;
      if (std::isnan(y)) return log_density_of(z - c0 - c * mean, std::log(vc + c * c * std::exp(l)));
      return log_density_of(y - mean, l) + log_density_of(z - c0 - c * y, std::log(vc));
    };
    if (!std::isnan(m)) {
      sum += log_density_of(m - center, std::log(va)) + rest(m);
      continue;
    }
    double mass = 0;
    for (double t = -6; t <= 6; t += 0.1) mass += std::exp(-0.5 * t * t + rest(center + std::sqrt(va) * t));
    sum += std::log(mass);
  }
  return sum;
}

}  // namespace

rank_study variance_model_ranks() {
  rank_study model;
  model.title = "Location and scale, with incomplete outcome and predictors of the variance";
  model.design =
      "30 rows; m, on which the variance of y depends, and y, which z reads, are missing at random given x.";
  model.runs.names = {"x", "m", "y", "z"};
  model.runs.commands =
      "FIXED: x;\n"
      "MODEL: m ~ Intercept@a0 x@a; m ~~ m@va; y ~ Intercept@b0 x@b; var(y) ~ Intercept@g0 x@g m@h;\n"
      "  z ~ Intercept@c0 y@c; z ~~ z@vc;\n"
      "PARAMETERS: a0 ~ normal(0, 1); a ~ normal(0, 0.5); va ~ invgamma(5, 4);\n"
      "  b0 ~ normal(0, 1); b ~ normal(0, 0.5); g0 ~ normal(0, 0.5); g ~ normal(0, 0.3); h ~ normal(0, "
      "0.3);\n"
      "  c0 ~ normal(0, 1); c ~ normal(0, 0.5); vc ~ invgamma(5, 4);\n"
      "OPTIONS: disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_location_scale;
  model.runs.seed = 117;
  model.parameters = {"residual variance of m",
                      "intercept of m",
                      "m on x",
                      "intercept of y",
                      "y on x",
                      "intercept of the log variance",
                      "log variance on x",
                      "log variance on m",
                      "residual variance of z",
                      "intercept of z",
                      "z on y"};
  model.rows = {0, 1, 2, 11, 12, 16, 17, 18, 19, 20, 21};
  model.log_likelihood = location_scale_likelihood;
  model.thin = 100;
  return model;
}

}  // namespace tovik::tests::calibration
