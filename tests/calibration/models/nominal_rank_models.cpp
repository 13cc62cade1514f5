// Outcomes of unordered categories. Data without one of the categories are simulated again, with new
// parameters: given the data the parameters are draws of their posterior as before.

#include <algorithm>
#include <cmath>
#include <random>

#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"
#include "calibration/two_effects.hpp"

namespace tovik::tests::calibration {
namespace {

/// The prior variance of coefficients in categorical models.
constexpr double ridge_of_codes = 5;

/// One of the categories 1, 2, 3, with the predictors a and b of the last two.
double choose(std::mt19937_64& engine, double a, double b) {
  const double top = std::max({0.0, a, b}), odds[] = {std::exp(-top), std::exp(a - top), std::exp(b - top)};
  return 1.0 + static_cast<double>(std::discrete_distribution<int>(odds, odds + 3)(engine));
}

double log_choice(double category, double a, double b) {
  const double top = std::max({0.0, a, b});
  const double total = top + std::log(std::exp(-top) + std::exp(a - top) + std::exp(b - top));
  return (category == 1 ? 0.0 : category == 2 ? a : b) - total;
}

bool has_all(const arma::Col<double>& categories) {
  return arma::any(categories == 1) && arma::any(categories == 2) && arma::any(categories == 3);
}

study simulate_choice(std::mt19937_64& engine) {
  constexpr arma::uword n = 30;
  study one{arma::Mat<double>(n, 3), {}};
  do {
    const double a0 = normal(engine, ridge_of_codes), a1 = normal(engine, ridge_of_codes);
    const double b0 = normal(engine, ridge_of_codes), b1 = normal(engine, ridge_of_codes);
    const double v = inverse_gamma(engine, 5, 4), d0 = normal(engine), d2 = normal(engine),
                 d3 = normal(engine);
    one.truth = {a0, a1, b0, b1, v, d0, d2, d3};
    for (arma::uword i = 0; i < n; ++i) {
      const double x = normal(engine), g = choose(engine, a0 + a1 * x, b0 + b1 * x);
      const double y = d0 + d2 * (g == 2) + d3 * (g == 3) + normal(engine, v);
      one.data.row(i) = arma::Row<double>{x, chance_of_odds(engine, x - 1.2) ? missing : g, y};
    }
  } while (!has_all(one.data.col(1)));
  return one;
}

/// Over a missing category the density of y is a mixture.
double choice_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double x = data(i, 0), a = p(0) + p(1) * x, b = p(2) + p(3) * x;
    double of_row = 0;
    for (double g : {1.0, 2.0, 3.0}) {
      if (!std::isnan(data(i, 1)) && data(i, 1) != g) continue;
      const double e = data(i, 2) - p(5) - p(6) * (g == 2) - p(7) * (g == 3);
      of_row += std::exp(log_choice(g, a, b) - 0.5 * e * e / p(4) - 0.5 * std::log(p(4)));
    }
    sum += std::log(of_row + 1e-300);
  }
  return sum;
}

study simulate_clusters_of_choices(std::mt19937_64& engine) {
  constexpr arma::uword clusters = 8, each = 4;
  study one{arma::Mat<double>(clusters * each, 3), {}};
  do {
    const double va = prior1(engine), vb = prior1(engine);
    const double a0 = normal(engine, ridge_of_codes), a1 = normal(engine, ridge_of_codes);
    const double b0 = normal(engine, ridge_of_codes), b1 = normal(engine, ridge_of_codes);
    one.truth = {va, a0, a1, vb, b0, b1};
    for (arma::uword c = 0; c < clusters; ++c) {
      const double ua = normal(engine, va), ub = normal(engine, vb);
      for (arma::uword i = 0; i < each; ++i) {
        const double x = normal(engine);
        one.data.row(c * each + i) =
            arma::Row<double>{c + 1.0, x, choose(engine, a0 + a1 * x + ua, b0 + b1 * x + ub)};
      }
    }
  } while (!has_all(one.data.col(2)));
  return one;
}

double clusters_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  constexpr arma::uword clusters = 8, each = 4;
  const double ra = std::sqrt(p(0)), rb = std::sqrt(p(3));
  return without_two_effects(clusters, [&](arma::uword c, double za, double zb) {
    double log_density = 0;
    for (arma::uword i = c * each; i < (c + 1) * each; ++i) {
      const double x = data(i, 1);
      log_density += log_choice(data(i, 2), p(1) + p(2) * x + ra * za, p(4) + p(5) * x + rb * zb);
    }
    return std::exp(log_density);
  });
}

}  // namespace

rank_study nominal_ranks() {
  rank_study model;
  model.title = "Nominal outcome, incomplete, that predicts another outcome";
  model.design =
      "30 rows; g is missing at random given x, in one row of four on average. Coefficients of g have the "
      "prior of the program, N(0, 5).";
  model.runs.names = {"x", "g", "y"};
  model.runs.commands =
      "NOMINAL: g(1); FIXED: x;\n"
      "MODEL: g ~ x; y ~ Intercept@d0 g.2@d2 g.3@d3; y ~~ y@v;\n"
      "PARAMETERS: d0 ~ normal(0, 1); d2 ~ normal(0, 1); d3 ~ normal(0, 1); v ~ invgamma(5, 4);\n"
      "OPTIONS: disable_dic disable_corrs; DEBUG: no_sort;\n";
  model.runs.simulate = simulate_choice;
  model.runs.seed = 131;
  model.parameters = {"intercept of g.2",       "g.2 on x",       "intercept of g.3", "g.3 on x",
                      "residual variance of y", "intercept of y", "y on g.2",         "y on g.3"};
  model.rows = {0, 1, 4, 5, 8, 9, 10, 11};
  model.log_likelihood = choice_likelihood;
  model.thin = 60;
  model.burn = 500;
  return model;
}

rank_study nominal_cluster_ranks() {
  rank_study model;
  model.title = "Nominal outcome with random intercepts";
  model.design = "8 clusters of 4 rows; coefficients have the prior of the program, N(0, 5).";
  model.runs.names = {"id", "x", "g"};
  model.runs.commands =
      "CLUSTERID: id; NOMINAL: g(1); FIXED: x;\n"
      "MODEL: g ~ x;\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_clusters_of_choices;
  model.runs.seed = 132;
  model.parameters = {"variance of intercepts of g.2", "intercept of g.2", "g.2 on x",
                      "variance of intercepts of g.3", "intercept of g.3", "g.3 on x"};
  model.rows = {0, 1, 2, 5, 6, 7};
  model.log_likelihood = clusters_likelihood;
  model.thin = 100;
  model.burn = 500;
  return model;
}

}  // namespace tovik::tests::calibration
