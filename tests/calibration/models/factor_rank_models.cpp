#include <cmath>
#include <random>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"

namespace tovik::tests::calibration {
namespace {

/// Loadings stay away from 0, where the sign of a factor would be free.
double loading(std::mt19937_64& engine) {
  return 0.8 + normal(engine, 0.04);
}

// Parameters: v_f, v_g, g on f; then per indicator x1 x2 x3 z1 z2 z3 its variance, and the intercepts of x1
// and z1, the loadings of the others.
study simulate_two_factors(std::mt19937_64& engine) {
  constexpr arma::uword n = 40;
  study one{arma::Mat<double>(n, 6), arma::Col<double>(15)};
  arma::Col<double>& p = one.truth;
  p(0) = prior1(engine);
  p(1) = prior1(engine);
  p(2) = normal(engine, 0.5);
  for (arma::uword k = 0; k < 6; ++k) {
    p(3 + 2 * k) = prior1(engine);
    p(4 + 2 * k) = k % 3 == 0 ? normal(engine) : loading(engine);
  }
  for (arma::uword i = 0; i < n; ++i) {
    const double f = normal(engine, p(0)), g = p(2) * f + normal(engine, p(1));
    for (arma::uword k = 0; k < 6; ++k) {
      const double score = k < 3 ? f : g;
      const double mean = k % 3 == 0 ? p(4 + 2 * k) + score : p(4 + 2 * k) * score;
      const double value = mean + normal(engine, p(3 + 2 * k));
      one.data(i, k) = chance(engine, 0.15) ? missing : value;
    }
  }
  return one;
}

double two_factor_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  arma::Mat<double> L(6, 2, arma::fill::zeros), V(6, 6, arma::fill::zeros);
  arma::Col<double> mean(6, arma::fill::zeros);
  for (arma::uword k = 0; k < 6; ++k) {
    L(k, k / 3) = k % 3 == 0 ? 1.0 : p(4 + 2 * k);
    if (k % 3 == 0) mean(k) = p(4 + 2 * k);
    V(k, k) = p(3 + 2 * k);
  }
  const arma::Mat<double> F = {{p(0), p(2) * p(0)}, {p(2) * p(0), p(2) * p(2) * p(0) + p(1)}};
  V += L * F * L.t();
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) sum += dense_log_normal(data.row(i).t(), mean, V);
  return sum;
}

// Parameters: v_f, v_g; variance and loading (of x1 and z1: the variance alone) of x1 x2 z1 z2; of y its
// variance, intercept, and coefficients of f, g and their product.
study simulate_latent_interaction(std::mt19937_64& engine) {
  constexpr arma::uword n = 40;
  study one{arma::Mat<double>(n, 5), arma::Col<double>(13)};
  arma::Col<double>& p = one.truth;
  for (arma::uword k : {0, 1, 2, 3, 5, 6, 8}) p(k) = prior1(engine);
  p(4) = loading(engine);
  p(7) = loading(engine);
  p(9) = normal(engine);
  for (arma::uword k : {10, 11, 12}) p(k) = normal(engine, 0.5);
  for (arma::uword i = 0; i < n; ++i) {
    const double f = normal(engine, p(0)), g = normal(engine, p(1));
    const double x1 = f + normal(engine, p(2)), x2 = p(4) * f + normal(engine, p(3));
    const double z1 = g + normal(engine, p(5)), z2 = p(7) * g + normal(engine, p(6));
    const double y = p(9) + p(10) * f + p(11) * g + p(12) * f * g + normal(engine, p(8));
    one.data.row(i) = arma::Row<double>{x1, chance(engine, 0.15) ? missing : x2, z1, z2, y};
  }
  return one;
}

/// Of the indicators; of y with the first two moments that the model gives it, which will do for a quantity
/// that depends on parameters and data.
double latent_interaction_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  const arma::Mat<double> L = {{1, 0}, {p(4), 0}, {0, 1}, {0, p(7)}, {p(10), p(11)}};
  const arma::Mat<double> F = arma::diagmat(arma::Col<double>{p(0), p(1)});
  arma::Mat<double> V = L * F * L.t();
  V.diag() += arma::Col<double>{p(2), p(3), p(5), p(6), p(8) + p(12) * p(12) * p(0) * p(1)};
  double sum = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i)
    sum += dense_log_normal(data.row(i).t(), {0, 0, 0, 0, p(9)}, V);
  return sum;
}

// Parameters: v_f; of w its variance and loading; of y1 its variance and intercept; of y2 the variance of its
// random intercept, its variance, its loading.
study simulate_cross_level(std::mt19937_64& engine) {
  constexpr arma::uword clusters = 14, each = 3;
  study one{arma::Mat<double>(clusters * each, 4), arma::Col<double>(8)};
  arma::Col<double>& p = one.truth;
  for (arma::uword k : {0, 1, 3, 5, 6}) p(k) = prior1(engine);
  p(2) = loading(engine);
  p(4) = normal(engine);
  p(7) = loading(engine);
  for (arma::uword c = 0; c < clusters; ++c) {
    const double f = normal(engine, p(0)), w = p(2) * f + normal(engine, p(1)), u = normal(engine, p(5));
    for (arma::uword i = 0; i < each; ++i) {
      const double y1 = p(4) + f + normal(engine, p(3)), y2 = p(7) * f + u + normal(engine, p(6));
      one.data.row(c * each + i) =
          arma::Row<double>{static_cast<double>(c + 1), w, y1, chance(engine, 0.2) ? missing : y2};
    }
  }
  return one;
}

double cross_level_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  arma::uword const n = data.n_rows;
  const arma::Mat<double> same = same_cluster(data.col(0)), I = arma::eye(n, n);
  arma::Col<double> w = data.col(1);
  for (arma::uword i = 1; i < n; ++i)
    if (data(i, 0) == data(i - 1, 0)) w(i) = missing;  // one value for each cluster
  const arma::Mat<double> F = p(0) * same;
  const arma::Mat<double> top = arma::join_rows(p(2) * p(2) * F + p(1) * same, p(2) * F, p(2) * p(7) * F);
  const arma::Mat<double> mid = arma::join_rows(p(2) * F, F + p(3) * I, p(7) * F);
  const arma::Mat<double> low =
      arma::join_rows(p(2) * p(7) * F, p(7) * F, p(7) * p(7) * F + p(5) * same + p(6) * I);
  // A cluster's value stands in every row of it: the matrix of all is singular, that of the observed is not.
  arma::Mat<double> V = arma::join_cols(top, mid, low);
  const arma::Col<double> y = arma::join_cols(w, data.col(2), data.col(3));
  arma::Col<double> mean(3 * n, arma::fill::zeros);
  mean.subvec(n, 2 * n - 1).fill(p(4));
  const arma::Col<arma::uword> known = arma::find_finite(y);
  return dense_log_normal(y.elem(known), mean.elem(known), V.submat(known, known));
}

}  // namespace

rank_study two_factor_ranks() {
  rank_study model;
  model.title = "Two factors with incomplete indicators, one on the other";
  model.design = "40 rows; each of the six indicators is missing completely at random in 15% of them.";
  model.runs.names = {"x1", "x2", "x3", "z1", "z2", "z3"};
  model.runs.commands =
      "LATENT: f g;\n"
      "MODEL: f ~ 0; g ~ 0 f@b; x1 ~ Intercept@a f@1; x2 ~ 0 f@l2; x3 ~ 0 f@l3;\n"
      "  z1 ~ Intercept@c g@1; z2 ~ 0 g@m2; z3 ~ 0 g@m3;\n"
      "PARAMETERS: b ~ normal(0, 0.5); a c ~ normal(0, 1); l2 l3 m2 m3 ~ normal(0.8, 0.04);\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_two_factors;
  model.runs.seed = 121;
  model.parameters = {"variance of f",   "residual variance of g", "g on f",          "variance of x1",
                      "intercept of x1", "variance of x2",         "loading of x2",   "variance of x3",
                      "loading of x3",   "variance of z1",         "intercept of z1", "variance of z2",
                      "loading of z2",   "variance of z3",         "loading of z3"};
  model.rows = {0, 3, 4, 8, 9, 14, 15, 19, 20, 24, 25, 30, 31, 35, 36};
  model.log_likelihood = two_factor_likelihood;
  model.thin = 200;
  return model;
}

rank_study latent_interaction_ranks() {
  rank_study model;
  model.title = "An outcome of two factors and their product";
  model.design = "40 rows; an indicator is missing completely at random in 15% of them.";
  model.runs.names = {"x1", "x2", "z1", "z2", "y"};
  model.runs.commands =
      "LATENT: f g;\n"
      "MODEL: f ~ 0; g ~ 0; x1 ~ 0 f@1; x2 ~ 0 f@l; z1 ~ 0 g@1; z2 ~ 0 g@m;\n"
      "  y ~ Intercept@c0 f@b1 g@b2 (f*g)@b3;\n"
      "PARAMETERS: l m ~ normal(0.8, 0.04); c0 ~ normal(0, 1); b1 b2 b3 ~ normal(0, 0.5);\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_latent_interaction;
  model.runs.seed = 122;
  model.parameters = {"variance of f", "variance of g",  "variance of x1", "variance of x2",
                      "loading of x2", "variance of z1", "variance of z2", "loading of z2",
                      "variance of y", "intercept of y", "y on f",         "y on g",
                      "y on f g"};
  model.rows = {0, 3, 6, 11, 12, 26, 31, 32, 16, 17, 18, 19, 20};
  model.log_likelihood = latent_interaction_likelihood;
  model.thin = 200;
  return model;
}

rank_study cross_level_factor_ranks() {
  rank_study model;
  model.title = "A factor of clusters with indicators at both levels";
  model.design =
      "14 clusters of 3 rows; one indicator is a value of the cluster, one of the others is missing "
      "completely "
      "at random in 20% of the rows and has a random intercept.";
  model.runs.names = {"id", "w", "y1", "y2"};
  model.runs.commands =
      "CLUSTERID: id;\n"
      "LATENT: id = f;\n"
      "MODEL: f ~ 0; w ~ 0 f@k; y1 ~ Intercept@a f@1 | 0; y2 ~ 0 f@l | 1;\n"
      "PARAMETERS: a ~ normal(0, 1); k l ~ normal(0.8, 0.04);\n"
      "OPTIONS: prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate_cross_level;
  model.runs.seed = 123;
  model.parameters = {"variance of f",  "variance of w",   "loading of w",
                      "variance of y1", "intercept of y1", "variance of the random intercepts of y2",
                      "variance of y2", "loading of y2"};
  model.rows = {0, 3, 4, 8, 9, 14, 15, 16};
  model.log_likelihood = cross_level_likelihood;
  model.thin = 200;
  return model;
}

}  // namespace tovik::tests::calibration
