// Residual variances that differ between clusters. What they share has a flat prior, which is improper:
// together with a bound on the mean of the variances it is a distribution, from which the parameters come.

#include <cmath>
#include <random>

#include "calibration/dense_normal.hpp"
#include "calibration/random_draws.hpp"
#include "calibration/rank_models.hpp"
#include "sem/outcomes/normal_hev.hpp"
#include "sem/outcomes/variance_rows.hpp"

namespace tovik::tests::calibration {
namespace {

constexpr arma::uword clusters = 8, each = 4;
constexpr double largest_mean = 4;

/// Uniform s0 and t, with gamma precisions of mean 1 / s0 and squared coefficient of variation t, where the
/// mean variance keeps its bound. Beyond the ranges of s0 and t that is less than one study in a thousand.
arma::Col<double> draw_variances(std::mt19937_64& engine) {
  std::uniform_real_distribution<double> s0(0, 40), t(0, 8);
  arma::Col<double> v(clusters);
  do {
    const double mean = s0(engine), spread = t(engine);
    for (double& variance : v) variance = 1 / gamma(engine, 1 / spread, spread / mean);
  } while (!(arma::mean(v) <= largest_mean));
  return v;
}

study simulate(std::mt19937_64& engine) {
  study one{arma::Mat<double>(clusters * each, 3), {}};
  const double tau = prior1(engine), g0 = normal(engine), g1 = normal(engine);
  const arma::Col<double> v = draw_variances(engine);
  const arma::Col<double> spread = sem::variance_rows(v, sem::NormalHev::proportions);
  one.truth = arma::join_cols(arma::Col<double>{tau}, spread, arma::Col<double>{g0, g1});
  for (arma::uword c = 0; c < clusters; ++c) {
    const double u = normal(engine, tau);
    for (arma::uword i = 0; i < each; ++i) {
      const double x = normal(engine), y = g0 + g1 * x + u + normal(engine, v(c));
      one.data.row(c * each + i) =
          arma::Row<double>{static_cast<double>(c + 1), x, (c + i) % 4 == 0 ? missing : y};
    }
  }
  return one;
}

/// With one variance for all, the mean: ranks are uniform for every function of parameters and data.
double mean_likelihood(const arma::Col<double>& p, const arma::Mat<double>& data) {
  arma::Mat<double> V = p(0) * same_cluster(data.col(0));
  V.diag() += p(4);
  return dense_log_normal(data.col(2), p(6) + p(7) * data.col(1), V);
}

}  // namespace

rank_study cluster_variance_ranks() {
  rank_study model;
  model.title = "A residual variance for each cluster, random intercepts, incomplete outcome";
  model.design =
      "8 clusters of 4 rows, with a mean of the variances up to 4; y is missing in one row of four.";
  model.runs.names = {"id", "x", "y"};
  model.runs.commands =
      "CLUSTERID: id; FIXED: x;\n"
      "MODEL: y ~ Intercept@g0 x@g1 | 1;\n"
      "PARAMETERS: g0 ~ normal(0, 1); g1 ~ normal(0, 1);\n"
      "OPTIONS: hev prior1 disable_dic disable_corrs;\n";
  model.runs.simulate = simulate;
  model.runs.seed = 141;
  model.parameters = {"variance of intercepts", "heterogeneity", "25% quantile", "50% quantile",
                      "mean variance",          "75% quantile",  "intercept",    "y on x"};
  model.rows = {0, 1, 2, 3, 4, 5, 6, 7};
  model.log_likelihood = mean_likelihood;
  model.admits = [](const arma::Col<double>& p) { return p(4) <= largest_mean; };
  model.thin = 150;
  return model;
}

}  // namespace tovik::tests::calibration
