// Outcomes of categories. Data that the program refuses (an outcome of one category, or one that varies
// between clusters alone, or nothing missing where an equation is about what is missing) are simulated again,
// with new parameters: what is done depends on the data alone, so that given the data the parameters are
// draws of their posterior as before.

#include <algorithm>
#include <cmath>
#include <random>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"
#include "calibration/two_effects.hpp"

namespace tovik::tests::calibration {
namespace {

/// The prior variance of coefficients in categorical models.
constexpr double ridge = 5;

/// log Phi(eta) or log Phi(-eta), kept finite where it vanishes.
double log_probit(bool one, double eta) {
  return std::log(0.5 * std::erfc(-(one ? eta : -eta) / std::sqrt(2.0)) + 1e-300);
}

/// The number of values in a column that equal this one.
arma::uword count(const arma::Mat<double>& data, arma::uword column, double value) {
  return arma::accu(data.col(column) == value);
}

study simulate_binary(std::mt19937_64& engine) {
  constexpr arma::uword clusters = 8, each = 4;
  study one{arma::Mat<double>(clusters * each, 3), {}};
  bool varies = false;
  do {
    const double tau = prior1(engine), b0 = normal(engine, ridge), b1 = normal(engine, ridge);
    one.truth = {tau, b0, b1};
    for (arma::uword c = 0; c < clusters; ++c) {
      const double u = normal(engine, tau);
      const arma::span rows(c * each, (c + 1) * each - 1);
      for (arma::uword i = 0; i < each; ++i) {
        const double x = normal(engine), score = b0 + b1 * x + u + normal(engine);
        one.data.row(c * each + i) = arma::Row<double>{c + 1.0, x, score > 0 ? 1.0 : 0.0};
      }
      varies = varies || arma::range(one.data(rows, arma::span(2)).as_col()) > 0;
    }
  } while (!varies);
  return one;
}

/// Random intercepts are integrated out by a sum over a grid. Ranks are uniform for every function of
/// parameters and data, so that what the grid leaves out does no harm.
double binary_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  constexpr arma::uword clusters = 8, each = 4;
  const double root = std::sqrt(p(0));
  double sum = 0;
  for (arma::uword c = 0; c < clusters; ++c) {
    double marginal = 0;
    for (double z = -5; z <= 5; z += 0.1) {
      double log_density = -0.5 * z * z;
      for (arma::uword i = c * each; i < (c + 1) * each; ++i)
        log_density += log_probit(data(i, 2) > 0, p(1) + p(2) * data(i, 1) + root * z);
      marginal += std::exp(log_density);
    }
    sum += std::log(marginal);
  }
  return sum;
}

study simulate_propensity(std::mt19937_64& engine) {
  constexpr arma::uword n = 25;
  study one{arma::Mat<double>(n, 3), {}};
  do {
    const double a0 = normal(engine, ridge), a = normal(engine, ridge);
    const double b0 = normal(engine), b = normal(engine, 0.5), c = normal(engine, 0.5);
    const double v = inverse_gamma(engine, 5, 4);
    one.truth = {a0, a, v, b0, b, c, a * b};
    for (arma::uword i = 0; i < n; ++i) {
      const double x = normal(engine), score = a0 + a * x + normal(engine);
      const double y = b0 + b * score + c * x + normal(engine, v);
      one.data.row(i) = arma::Row<double>{x,
                                          chance_of_odds(engine, x - 1.2) ? missing
                                          : score > 0                     ? 1.0
                                                                          : 0.0,
                                          y};
    }
  } while (count(one.data, 1, 0) == 0 || count(one.data, 1, 1) == 0);
  return one;
}

/// y is normal over the score; given y, so is the score.
double propensity_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const double v = p(2), b = p(4), total = v + b * b;
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double x = data(i, 0), eta = p(0) + p(1) * x, e = data(i, 2) - p(3) - b * eta - p(5) * x;
    sum += log_normal_density(e, 0, total);
    if (std::isnan(data(i, 1))) continue;
    sum += log_probit(data(i, 1) > 0, (eta + b * e / total) / std::sqrt(v / total));
  }
  return sum;
}

study simulate_selection(std::mt19937_64& engine) {
  constexpr arma::uword n = 15;
  study one{arma::Mat<double>(n, 2), {}};
  arma::uword lost = 0;
  do {
    const double a0 = normal(engine), a = normal(engine), v = inverse_gamma(engine, 5, 4);
    const double g0 = normal(engine, ridge), g = normal(engine, ridge);
    one.truth = {v, a0, a, g0, g};
    lost = 0;
    for (arma::uword i = 0; i < n; ++i) {
      const double x = normal(engine), y = a0 + a * x + normal(engine, v);
      const bool is_lost = g0 + g * y + normal(engine) > 0;
      lost += is_lost;
      one.data.row(i) = arma::Row<double>{x, is_lost ? missing : y};
    }
  } while (lost == 0 || lost + 2 > n);
  return one;
}

/// Of a row without y the mean of Phi(g0 + g y) is known.
double selection_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const double v = p(0), g0 = p(3), g = p(4);
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double y = data(i, 1), mean = p(1) + p(2) * data(i, 0);
    sum += std::isnan(y) ? log_probit(true, (g0 + g * mean) / std::sqrt(1 + g * g * v))
                         : log_normal_density(y, mean, v) + log_probit(false, g0 + g * y);
  }
  return sum;
}

study simulate_logistic(std::mt19937_64& engine) {
  constexpr arma::uword clusters = 8, each = 4;
  study one{arma::Mat<double>(clusters * each, 3), {}};
  bool varies = false;
  do {
    const arma::Mat<double> Sigma = prior1(engine, 2), root = arma::chol(Sigma, "lower");
    const double b0 = normal(engine, ridge), b1 = normal(engine, ridge);
    one.truth = {Sigma(0, 0), Sigma(1, 0), Sigma(1, 1), b0, b1};
    for (arma::uword c = 0; c < clusters; ++c) {
      const arma::Col<double> z{normal(engine), normal(engine)}, u = root * z;
      const arma::span rows(c * each, (c + 1) * each - 1);
      for (arma::uword i = 0; i < each; ++i) {
        const double x = normal(engine);
        const bool is_one = chance_of_odds(engine, b0 + u(0) + (b1 + u(1)) * x);
        one.data.row(c * each + i) = arma::Row<double>{c + 1.0, x, is_one ? 1.0 : 0.0};
      }
      varies = varies || arma::range(one.data(rows, arma::span(2)).as_col()) > 0;
    }
  } while (!varies);
  return one;
}

double logistic_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  constexpr arma::uword clusters = 8, each = 4;
  const double l1 = std::sqrt(p(0)), k = p(1) / l1, l2 = std::sqrt(std::max(0.0, p(2) - k * k));
  return without_two_effects(clusters, [&](arma::uword c, double z0, double z1) {
    double product = 1;
    for (arma::uword i = c * each; i < (c + 1) * each; ++i) {
      const double eta = p(3) + l1 * z0 + (p(4) + k * z0 + l2 * z1) * data(i, 1);
      product /= 1 + std::exp(data(i, 2) > 0 ? -eta : eta);
    }
    return product;
  });
}

}  // namespace

rank_study binary_ranks() {
  rank_study model;
  model.title = "Binary outcome with random intercepts";
  model.design = "8 clusters of 4 rows; coefficients have the prior of the program, N(0, 5).";
  model.runs.names = {"id", "x", "b"};
  model.runs.commands =
      "CLUSTERID: id; ORDINAL: b; FIXED: x;\n"
      "MODEL: b ~ x;\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_binary;
  model.runs.seed = 104;
  model.parameters = {"variance of intercepts", "intercept", "b on x"};
  model.rows = {0, 2, 3};
  model.log_likelihood = binary_likelihood;
  model.thin = 300;
  return model;
}

rank_study propensity_ranks() {
  rank_study model;
  model.title = "Mediation through the propensity of an incomplete binary mediator";
  model.design =
      "25 rows; m is missing at random given x, in one row of four on average. Coefficients of m have the "
      "prior "
      "of the program, N(0, 5).";
  model.runs.names = {"x", "m", "y"};
  model.runs.commands =
      "ORDINAL: m; FIXED: x;\n"
      "MODEL: m ~ Intercept x@a; y ~ Intercept@b0 m.latent@b x@c; y ~~ y@v;\n"
      "PARAMETERS: b0 ~ normal(0, 1); b ~ normal(0, 0.5); c ~ normal(0, 0.5); v ~ invgamma(5, 4);\n"
      "  ab = a * b;\n"
      "OPTIONS: disable_dic disable_corrs; DEBUG: no_sort;\n";
  model.runs.simulate = simulate_propensity;
  model.runs.seed = 105;
  model.parameters = {"intercept of m", "m on x",          "residual variance of y",
                      "intercept of y", "y on propensity", "y on x",
                      "product a b"};
  model.rows = {1, 2, 6, 7, 8, 9, 18};
  model.log_likelihood = propensity_likelihood;
  model.thin = 250;
  model.burn = 500;
  return model;
}

rank_study selection_ranks() {
  rank_study model;
  model.title = "Values that make themselves missing";
  model.design =
      "15 rows; y is missing with a probability that y itself decides. Coefficients of the indicator have "
      "the "
      "prior of the program, N(0, 5).";
  model.runs.names = {"x", "y"};
  model.runs.commands =
      "FIXED: x;\n"
      "MODEL: y ~ Intercept@a0 x@a; y ~~ y@v; y.missing ~ y;\n"
      "PARAMETERS: a0 ~ normal(0, 1); a ~ normal(0, 1); v ~ invgamma(5, 4);\n"
      "OPTIONS: disable_dic disable_corrs; DEBUG: no_sort;\n";
  model.runs.simulate = simulate_selection;
  model.runs.seed = 106;
  model.parameters = {"residual variance of y", "intercept of y", "y on x", "intercept of y.missing",
                      "y.missing on y"};
  model.rows = {0, 1, 2, 7, 8};
  model.log_likelihood = selection_likelihood;
  model.thin = 350;
  return model;
}

rank_study logistic_ranks() {
  rank_study model;
  model.title = "Binary outcome under the logit link, random slope";
  model.design = "8 clusters of 4 rows; coefficients have the prior of the program, N(0, 5).";
  model.runs.names = {"id", "x", "b"};
  model.runs.commands =
      "CLUSTERID: id; ORDINAL: b; FIXED: x;\n"
      "MODEL: logit(b) ~ x | x;\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_logistic;
  model.runs.seed = 108;
  model.parameters = {"variance of intercepts", "covariance", "variance of slopes", "intercept", "b on x"};
  model.rows = {0, 1, 2, 3, 4};
  model.log_likelihood = logistic_likelihood;
  model.thin = 200;
  return model;
}

}  // namespace tovik::tests::calibration
