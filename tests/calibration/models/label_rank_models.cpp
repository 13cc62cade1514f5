// Parameters that several equations share, for rank statistics.

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

}  // namespace

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
