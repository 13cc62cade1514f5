// Counts. Data with few counts above 0, with large values or without a missing one are simulated again, with
// new parameters: what is done depends on the data alone, so that given the data the parameters are draws of
// their posterior as before.

#include <algorithm>
#include <cmath>
#include <random>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"
#include "sem/scan/dispersion_step.hpp"

namespace tovik::tests::calibration {
namespace {

using sem::scan::dispersion_step;

constexpr arma::uword n = 20;

/// The density of log r is r^shape exp(-rate r), at most that of r = shape / rate.
double prior_dispersion(std::mt19937_64& engine) {
  const double low = std::log(dispersion_step::least), high = std::log(dispersion_step::most);
  const double peak = dispersion_step::log_prior(dispersion_step::shape / dispersion_step::rate);
  for (;;) {
    const double r = std::exp(std::uniform_real_distribution<double>(low, high)(engine));
    if (chance(engine, std::exp(dispersion_step::log_prior(r) - peak))) return r;
  }
}

/// -1 where the rate is beyond what a Poisson count is drawn of: then z has large values too.
double draw_count(std::mt19937_64& engine, double mean, double r) {
  const double rate = gamma(engine, r, mean / r);
  if (!(rate < 1e6)) return -1;
  return rate > 0 ? static_cast<double>(std::poisson_distribution<long>(rate)(engine)) : 0;
}

study simulate_mediating_counts(std::mt19937_64& engine) {
  study one{arma::Mat<double>(n, 3), {}};
  bool usual = false;
  while (!usual) {
    const double r = prior_dispersion(engine), b0 = normal(engine, 5), b = normal(engine, 5);
    const double v = inverse_gamma(engine, 5, 4), c0 = normal(engine), c = normal(engine, 0.1);
    one.truth = {r, b0, b, v, c0, c};
    arma::uword positive = 0, lost = 0;
    usual = true;
    for (arma::uword i = 0; i < n; ++i) {
      const double x = normal(engine), y = draw_count(engine, std::exp(b0 + b * x), r);
      const double z = c0 + c * y + normal(engine, v);
      const bool is_lost = chance_of_odds(engine, x - 1.2);
      usual = usual && y >= 0 && (is_lost || y <= 25) && std::fabs(z) < 8;
      positive += !is_lost && y > 0;
      lost += is_lost;
      one.data.row(i) = arma::Row<double>{x, is_lost ? missing : y, z};
    }
    usual = usual && positive >= 4 && lost > 0;
  }
  return one;
}

/// A missing count is summed out, as far as numbers reach that z leaves any share to. Ranks are uniform for
/// every function of parameters and data, so that what the sum leaves out does no harm.
double mediating_counts_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const sem::scan::negative_binomial law(p(0));
    const double eta = p(1) + p(2) * data(i, 0), y = data(i, 1);
    const auto joint = [&](double value) {
      return law.log_probability(value, eta) + log_normal_density(data(i, 2), p(4) + p(5) * value, p(3));
    };
    if (!std::isnan(y)) {
      sum += joint(y);
      continue;
    }
    double total = 0;
    for (int value = 0; value <= 60; ++value) total += std::exp(joint(value));
    sum += std::log(total + 1e-300);
  }
  return sum;
}

}  // namespace

rank_study count_ranks() {
  rank_study model;
  model.title = "A count that predicts a continuous outcome";
  model.design =
      "20 rows; counts are missing at random, by the predictor, in one row of four on average. Coefficients "
      "of "
      "the count have the prior of the program, N(0, 5), and so has the dispersion. Weights are drawn from "
      "20 "
      "terms.";
  model.runs.names = {"x", "y", "z"};
  model.runs.commands =
      "COUNT: y; FIXED: x;\n"
      "MODEL: y ~ x; z ~ Intercept@c0 y@c; z ~~ z@v;\n"
      "PARAMETERS: c0 ~ normal(0, 1); c ~ normal(0, 0.1); v ~ invgamma(5, 4);\n"
      "OPTIONS: disable_dic disable_corrs; DEBUG: no_sort; DEBUG: pg_n_gamma = 20;\n";
  model.runs.simulate = simulate_mediating_counts;
  model.runs.seed = 113;
  model.parameters = {"dispersion",     "intercept of y", "y on x", "residual variance of z",
                      "intercept of z", "z on y"};
  model.rows = {0, 1, 2, 5, 6, 7};
  model.log_likelihood = mediating_counts_likelihood;
  model.thin = 80;
  return model;
}

}  // namespace tovik::tests::calibration
