// Parameters that several equations share, for rank statistics.

#include <cmath>
#include <random>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"

namespace tovik::tests::calibration {
namespace {

double between(std::mt19937_64& engine, double low, double high) {
  return std::uniform_real_distribution<double>(low, high)(engine);
}

/// Means of the outcomes of a row; `p`: residual variance of y1 and y2, a, b, c, d, residual variance of y3.
arma::Col<double> means(const arma::Col<double>& p, double x, double z, double w) {
  return {p(1) + p(2) * x + p(3) * z, p(1) + p(2) * x + p(4) * w, p(1) + p(3) * z + p(4) * w};
}

study simulate_shared_labels(std::mt19937_64& engine) {
  constexpr arma::uword n = 20;
  study one{arma::Mat<double>(n, 6), arma::Col<double>(6)};
  arma::Col<double>& p = one.truth;
  p(0) = prior1(engine);
  p(1) = normal(engine);
  p(2) = normal(engine, 0.5);
  p(3) = between(engine, -0.5, 0.5);
  p(4) = between(engine, 0, 1);
  p(5) = prior1(engine);
  for (arma::uword i = 0; i < n; ++i) {
    const double x = normal(engine), z = normal(engine), w = normal(engine);
    const arma::Col<double> mean = means(p, x, z, w);
    for (arma::uword j = 0; j < 3; ++j) {
      const double y = mean(j) + normal(engine, j < 2 ? p(0) : p(5));
      one.data(i, j) = j == 1 && chance_of_odds(engine, x - 1.0) ? missing : y;
    }
    one.data.submat(i, 3, i, 5) = arma::Row<double>{x, z, w};
  }
  return one;
}

double shared_label_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const arma::Mat<double> V = arma::diagmat(arma::Col<double>{p(0), p(0), p(5)});
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i)
    sum += dense_log_normal(data.row(i).head(3).t(), means(p, data(i, 3), data(i, 4), data(i, 5)), V);
  return sum;
}

// Parameters: residual variance and intercept of y1, the shared slope, residual variance and intercept of y2,
// the correlation r of the residuals. Under an inverse Wishart with 3 degrees of freedom and the scale I, r
// is uniform and the variances are inverse gamma given r.
study simulate_member_label(std::mt19937_64& engine) {
  constexpr arma::uword n = 18;
  study one{arma::Mat<double>(n, 4), arma::Col<double>(6)};
  arma::Col<double>& p = one.truth;
  p(5) = between(engine, -1, 1);
  const double left = 1.0 - p(5) * p(5);
  p(0) = inverse_gamma(engine, 1.5, 0.5 / left);
  p(3) = inverse_gamma(engine, 1.5, 0.5 / left);
  p(1) = normal(engine);
  p(2) = normal(engine, 0.5);
  p(4) = normal(engine);
  for (arma::uword i = 0; i < n; ++i) {
    const double x = 3.0 + normal(engine), z = -2.0 + normal(engine), e = normal(engine);
    const double y1 = p(1) + p(2) * x + std::sqrt(p(0)) * e;
    const double y2 = p(4) + p(2) * z + std::sqrt(p(3)) * (p(5) * e + normal(engine, left));
    one.data.row(i) = arma::Row<double>{y1, i % 6 == 5 ? missing : y2, x, z};
  }
  return one;
}

double member_label_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const double c = p(5) * std::sqrt(p(0) * p(3));
  const arma::Mat<double> V = {{p(0), c}, {c, p(3)}};
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i)
    sum += dense_log_normal(data.row(i).head(2).t(), {p(1) + p(2) * data(i, 2), p(4) + p(2) * data(i, 3)}, V);
  return sum;
}

}  // namespace

rank_study member_label_ranks() {
  rank_study model;
  model.title = "Two outcomes with correlated residuals and a slope in common";
  model.design = "18 rows; predictors far from 0; every sixth value of the second outcome is missing.";
  model.runs.names = {"y1", "y2", "x", "z"};
  model.runs.commands =
      "FIXED: x z;\n"
      "MODEL: y1 ~ Intercept@a x@b; y2 ~ Intercept@c z@b; y1 <-> y2;\n"
      "PARAMETERS: a ~ normal(0, 1); b ~ normal(0, 0.5); c ~ normal(0, 1);\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_member_label;
  model.runs.seed = 151;
  model.parameters = {"variance of y1", "intercept of y1", "shared slope",
                      "variance of y2", "intercept of y2", "correlation"};
  model.rows = {0, 1, 2, 6, 7, 16};
  model.log_likelihood = member_label_likelihood;
  return model;
}

rank_study shared_label_ranks() {
  rank_study model;
  model.title = "Three outcomes with coefficients and a residual variance in common";
  model.design = "20 rows; the second outcome is missing at random, by x.";
  model.runs.names = {"y1", "y2", "y3", "x", "z", "w"};
  model.runs.commands =
      "FIXED: x z w;\n"
      "MODEL: y1 ~ Intercept@a x@b z@c; y2 ~ Intercept@a x@b w@d; y3 ~ Intercept@a z@c w@d;\n"
      "  y1 ~~ y1@s; y2 ~~ y2@s;\n"
      "PARAMETERS: a ~ normal(0, 1); b ~ normal(0, 0.5); c ~ uniform(-0.5, 0.5); d ~ truncate(0, 1);\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_shared_labels;
  model.runs.seed = 124;
  model.parameters = {"shared residual variance",           "shared intercept",
                      "coefficient with a normal prior",    "coefficient with a uniform prior",
                      "coefficient with a truncated prior", "residual variance of y3"};
  model.rows = {0, 1, 2, 3, 11, 16};
  model.log_likelihood = shared_label_likelihood;
  return model;
}

}  // namespace tovik::tests::calibration
