#include "calibration/rank_models.hpp"

#include <cmath>
#include <random>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"

namespace tovik::tests::calibration {
namespace {

study simulate_mediation(std::mt19937_64& engine) {
  constexpr arma::uword n = 20;
  study one{arma::Mat<double>(n, 3), arma::Col<double>(8)};
  const double a0 = normal(engine), a = normal(engine, 0.5);
  const double b0 = normal(engine), b = normal(engine, 0.5), c = normal(engine, 0.5);
  const double vm = inverse_gamma(engine, 5, 4), vy = gamma(engine, 4, 0.25);
  one.truth = {vm, a0, a, vy, b0, b, c, a * b};
  for (arma::uword i = 0; i < n; ++i) {
    const double x = normal(engine);
    const double m = a0 + a * x + normal(engine, vm);
    const double y = b0 + b * m + c * x + normal(engine, vy);
    one.data.row(i) =
        arma::Row<double>{x, chance_of_odds(engine, 1.5 * x - 0.6) ? missing : m, i % 7 == 3 ? missing : y};
  }
  return one;
}

double mediation_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const double vm = p(0), a0 = p(1), a = p(2), vy = p(3), b0 = p(4), b = p(5), c = p(6);
  const arma::Mat<double> V = {{vm, b * vm}, {b * vm, b * b * vm + vy}};
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double x = data(i, 0), m = a0 + a * x;
    sum += dense_log_normal({data(i, 1), data(i, 2)}, {m, b0 + b * m + c * x}, V);
  }
  return sum;
}

study simulate_random_slope(std::mt19937_64& engine) {
  constexpr arma::uword clusters = 8, each = 4;
  study one{arma::Mat<double>(clusters * each, 3), arma::Col<double>(6)};
  const arma::Mat<double> Sigma = prior1(engine, 2);
  const double v = prior1(engine), g0 = normal(engine), g1 = normal(engine);
  one.truth = {Sigma(0, 0), Sigma(1, 0), Sigma(1, 1), v, g0, g1};
  const arma::Mat<double> root = arma::chol(Sigma, "lower");
  for (arma::uword c = 0; c < clusters; ++c) {
    const arma::Col<double> z{normal(engine), normal(engine)};
    const arma::Col<double> u = root * z;
    for (arma::uword i = 0; i < each; ++i) {
      const double x = normal(engine);
      const double y = g0 + g1 * x + u(0) + u(1) * x + normal(engine, v);
      one.data.row(c * each + i) =
          arma::Row<double>{static_cast<double>(c + 1), x, (c + i) % 4 == 0 ? missing : y};
    }
  }
  return one;
}

double random_slope_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const arma::Mat<double> Z = arma::join_rows(arma::Col<double>(data.n_rows, arma::fill::ones), data.col(1));
  const arma::Mat<double> Sigma = {{p(0), p(1)}, {p(1), p(2)}};
  arma::Mat<double> V = (Z * Sigma * Z.t()) % same_cluster(data.col(0));
  V.diag() += p(3);
  return dense_log_normal(data.col(2), Z * p.subvec(4, 5), V);
}

study simulate_phantom(std::mt19937_64& engine) {
  constexpr arma::uword tops = 6, middles = 3, each = 2;
  study one{arma::Mat<double>(tops * middles * each, 5), arma::Col<double>(11)};
  arma::Col<double>& p = one.truth;
  for (arma::uword k : {0, 1, 2, 5, 6, 7}) p(k) = prior1(engine);
  for (arma::uword k : {3, 4, 8, 9}) p(k) = normal(engine);
  p(10) = std::uniform_real_distribution<double>(-1, 1)(engine);
  arma::uword row = 0;
  for (arma::uword t = 0; t < tops; ++t) {
    const double t1 = normal(engine, p(0)), t2 = normal(engine, p(5));
    for (arma::uword m = 0; m < middles; ++m) {
      const double m1 = normal(engine, p(1)), m2 = normal(engine, p(6));
      for (arma::uword i = 0; i < each; ++i, ++row) {
        const double x = normal(engine), z1 = normal(engine), z2 = normal(engine);
        const double e1 = std::sqrt(p(2)) * z1;
        const double e2 = std::sqrt(p(7)) * (p(10) * z1 + std::sqrt(1 - p(10) * p(10)) * z2);
        one.data.row(row) = arma::Row<double>{
            static_cast<double>(t + 1), static_cast<double>(t * middles + m + 1), x,
            p(3) + p(4) * x + t1 + m1 + e1, row % 5 == 2 ? missing : p(8) + p(9) * x + t2 + m2 + e2};
      }
    }
  }
  return one;
}

double phantom_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const arma::Mat<double> top = same_cluster(data.col(0)), middle = same_cluster(data.col(1));
  const arma::Mat<double> I = arma::eye(data.n_rows, data.n_rows);
  const arma::Mat<double> V1 = p(0) * top + p(1) * middle + p(2) * I;
  const arma::Mat<double> V2 = p(5) * top + p(6) * middle + p(7) * I;
  const arma::Mat<double> C = p(10) * std::sqrt(p(2) * p(7)) * I;
  return dense_log_normal(arma::join_cols(data.col(3), data.col(4)),
                          arma::join_cols(p(3) + p(4) * data.col(2), p(8) + p(9) * data.col(2)),
                          arma::join_cols(arma::join_rows(V1, C), arma::join_rows(C, V2)));
}

}  // namespace

rank_study mediation_ranks() {
  rank_study model;
  model.title = "Single-level mediation with an incomplete mediator";
  model.design =
      "20 rows; m is missing at random given x, in one row of three on average, and y in every seventh row.";
  model.runs.names = {"x", "m", "y"};
  model.runs.commands =
      "FIXED: x;\n"
      "MODEL: m ~ Intercept@a0 x@a; y ~ Intercept@b0 m@b x@c; m ~~ m@vm; y ~~ y@vy;\n"
      "PARAMETERS: a0 ~ normal(0, 1); a ~ normal(0, 0.5);\n"
      "  b0 ~ normal(0, 1); b ~ normal(0, 0.5); c ~ normal(0, 0.5);\n"
      "  vm ~ invgamma(5, 4); vy ~ gamma(4, 0.25); ab = a * b;\n"
      "OPTIONS: disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_mediation;
  model.runs.seed = 101;
  model.parameters = {"residual variance of m", "intercept of m", "m on x", "residual variance of y",
                      "intercept of y",         "y on m",         "y on x", "product a b"};
  model.rows = {0, 1, 2, 6, 7, 8, 9, 21};
  model.log_likelihood = mediation_likelihood;
  model.thin = 300;
  return model;
}

rank_study random_slope_ranks() {
  rank_study model;
  model.title = "Two levels, random slope, incomplete outcome";
  model.design = "8 clusters of 4 rows; y is missing in one row of four.";
  model.runs.names = {"id", "x", "y"};
  model.runs.commands =
      "CLUSTERID: id;\n"
      "MODEL: y ~ Intercept@g0 x@g1 | x;\n"
      "PARAMETERS: g0 ~ normal(0, 1); g1 ~ normal(0, 1);\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_random_slope;
  model.runs.seed = 102;
  model.parameters = {"variance of intercepts", "covariance", "variance of slopes",
                      "residual variance",      "intercept",  "y on x"};
  model.rows = {0, 1, 2, 3, 4, 5};
  model.log_likelihood = random_slope_likelihood;
  model.thin = 500;
  return model;
}

rank_study phantom_ranks() {
  rank_study model;
  model.title = "Three levels, two outcomes with a residual correlation";
  model.design =
      "6 units of level 3 with 3 units of level 2 each and 2 rows in each; y2 is missing in every fifth row. "
      "A phantom "
      "variable carries the correlation.";
  model.runs.names = {"top", "mid", "x", "y1", "y2"};
  model.runs.commands =
      "CLUSTERID: mid top;\n"
      "MODEL: y1 ~ Intercept@a1 x@b1; y2 ~ Intercept@a2 x@b2; y1 <-> y2;\n"
      "PARAMETERS: a1 ~ normal(0, 1); a2 ~ normal(0, 1); b1 ~ normal(0, 1); b2 ~ normal(0, 1);\n"
      "OPTIONS: prior1 use_phantom disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_phantom;
  model.runs.seed = 103;
  model.parameters = {"level-3 variance of y1",
                      "level-2 variance of y1",
                      "residual variance of y1",
                      "intercept of y1",
                      "y1 on x",
                      "level-3 variance of y2",
                      "level-2 variance of y2",
                      "residual variance of y2",
                      "intercept of y2",
                      "y2 on x",
                      "correlation"};
  model.rows = {0, 1, 2, 3, 4, 10, 11, 12, 13, 14, 20};
  model.log_likelihood = phantom_likelihood;
  model.burn = 2000;
  model.thin = 400;
  return model;
}

}  // namespace tovik::tests::calibration
