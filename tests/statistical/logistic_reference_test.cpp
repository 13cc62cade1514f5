// Whole runs with binary outcomes under the logit link against the walk on their joint density, which has the
// Bernoulli probabilities themselves and no latent weights. Coefficients have the prior N(0, 5).

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "statistical/reference_run.hpp"

namespace tovik::tests::logistic_reference_test {
namespace {

using namespace reference;

/// log P(1) or log P(0) where the log odds are eta.
double log_bernoulli(double outcome, double eta) {
  const double e = outcome > 0 ? eta : -eta;
  return e > 0 ? -std::log1p(std::exp(-e)) : e - std::log1p(std::exp(e));
}

double coefficient_prior(double b) {
  return -0.5 * b * b / 5;
}

class LogisticReference : public Reference {};

TEST_F(LogisticReference, RandomSlope) {
  constexpr int clusters = 8, each = 5, n = clusters * each;
  arma::Mat<double> data(n, 3);
  for (int i = 0; i < n; ++i) {
    const int c = i / each;
    const double x = number(i, 60), slope = 0.7 + 0.9 * number(c, 61);
    const double eta = 0.2 + slope * x + 0.8 * number(c, 62) + 1.5 * number(i, 63);
    data.row(i) = arma::Row<double>{c + 1.0, x, eta > 0 ? 1.0 : 0.0};
  }
  // s: betas (2); Sigma = L L' with L = [l1 0; k l2] as log l1, log l2, k; standardized effects (2 a
  // cluster). prior1: |Sigma|^-3 exp(-tr(inv Sigma)/2); the Jacobian of (log l1, k, log l2) is 4 l1^3 l2^2.
  const auto density = [&](const state& s) {
    const double l1 = std::exp(s[2]), l2 = std::exp(s[3]), k = s[4], det = l1 * l1 * l2 * l2;
    double sum = coefficient_prior(s[0]) + coefficient_prior(s[1]) - 3 * std::log(det) -
                 0.5 * (l1 * l1 + k * k + l2 * l2) / det + 3 * s[2] + 2 * s[3];
    for (int j = 0; j < 2 * clusters; ++j) sum -= 0.5 * s[5 + j] * s[5 + j];
    for (int i = 0; i < n; ++i) {
      const double z0 = s[5 + 2 * (i / each)], z1 = s[6 + 2 * (i / each)];
      sum += log_bernoulli(data(i, 2), s[0] + l1 * z0 + (s[1] + k * z0 + l2 * z1) * data(i, 1));
    }
    return sum;
  };
  expect_agreement(
      {"id", "x", "b"}, data,
      "CLUSTERID: id; ORDINAL: b; FIXED: x; MODEL: logit(b) ~ x | x;\n"
      "OPTIONS: prior1 disable_dic disable_corrs; ITERATIONS: 60000;",
      {0, 1, 2, 3, 4}, {"variance of intercepts", "covariance", "variance of slopes", "b: 1", "b: x"},
      density, state(5 + 2 * clusters, 0.1),
      [](const state& s) {
        const double l1 = std::exp(s[2]), l2 = std::exp(s[3]), k = s[4];
        return arma::Col<double>{l1 * l1, l1 * k, k * k + l2 * l2, s[0], s[1]};
      },
      25000);
}

/// A row without m has either value, as y tells.
TEST_F(LogisticReference, IncompleteMediator) {
  constexpr int n = 22;
  arma::Mat<double> data(n, 3);
  for (int i = 0; i < n; ++i) {
    const double x = number(i, 64), m = 0.8 * x + 1.4 * number(i, 65) > 0.1 ? 1 : 0;
    data.row(i) = arma::Row<double>{x, i % 4 == 1 ? missing : m, 0.9 * m - 0.3 * x + 0.6 * number(i, 66)};
  }
  // s: betas of m (2), log v, deltas (3).
  const auto density = [&](const state& s) {
    const double v = std::exp(s[2]);
    double sum = coefficient_prior(s[0]) + coefficient_prior(s[1]) + unit_prior(v);
    for (int i = 0; i < n; ++i) {
      double probability = 0;
      for (double m : {0.0, 1.0}) {
        if (!std::isnan(data(i, 1)) && data(i, 1) != m) continue;
        probability += std::exp(log_bernoulli(m, s[0] + s[1] * data(i, 0)) +
                                normal(data(i, 2), s[3] + s[4] * m + s[5] * data(i, 0), v));
      }
      sum += std::log(probability);
    }
    return sum;
  };
  expect_agreement(
      {"x", "m", "y"}, data,
      "ORDINAL: m; FIXED: x; MODEL: y ~ m x; logit(m) ~ x; DEBUG: no_sort;\n"
      "OPTIONS: prior1 disable_dic disable_corrs; ITERATIONS: 60000;",
      {8, 9, 0, 1, 2, 3}, {"m: 1", "m: x", "v", "y: 1", "y: m", "y: x"}, density, state(6, 0.1),
      [](const state& s) { return arma::Col<double>{s[0], s[1], std::exp(s[2]), s[3], s[4], s[5]}; });
}

/// Every 0 lies below every 1, so that the prior keeps the posterior proper, but where x is in so small a
/// unit that the prior of its slope is as good as flat.
TEST_F(LogisticReference, SeparatedDataInSeveralUnits) {
  for (const double unit : {1.0, 0.001, 1000.0}) {
    arma::Mat<double> data(12, 2);
    for (int i = 0; i < 12; ++i) data.row(i) = arma::Row<double>{0.3 * unit * (i - 5.5), i < 6 ? 0.0 : 1.0};
    if (unit == 1000) std::swap(data(4, 1), data(8, 1));  // the prior, wide then, needs their help
    const auto density = [&](const state& s) {
      double sum = coefficient_prior(s[0]) + coefficient_prior(s[1] / unit);
      for (arma::uword i = 0; i < data.n_rows; ++i)
        sum += log_bernoulli(data(i, 1), s[0] + s[1] * data(i, 0) / unit);
      return sum;
    };
    SCOPED_TRACE("x in a unit of 1/" + std::to_string(unit));
    expect_agreement({"x", "b"}, data,
                     "ORDINAL: b; FIXED: x; MODEL: logit(b) ~ x; OPTIONS: disable_dic disable_corrs; "
                     "ITERATIONS: 40000;",
                     {0, 1}, {"b: 1", "b: x"}, density, {0.1, 0.1}, [unit](const state& s) {
                       return arma::Col<double>{s[0], s[1] / unit};
                     });
  }
}

}  // namespace
}  // namespace tovik::tests::logistic_reference_test
