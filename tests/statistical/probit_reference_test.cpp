// Whole runs with binary and ordered outcomes against the walk on their joint density. Latent scores are
// integrated out of it, in closed form: with Phi the normal distribution function, category k of a score of
// mean eta has the probability Phi(tau(k) - eta) - Phi(tau(k-1) - eta), and a normal outcome that reads the
// score leaves it a normal one. Coefficients of the scores have the prior N(0, 5), thresholds a flat one; the
// walk is on the logs of the gaps between them.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "statistical/reference_run.hpp"

namespace tovik::tests::probit_reference_test {
namespace {

using namespace reference;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// The normal distribution function, accurate in its lower tail.
double cdf(double x) {
  return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

/// log(Phi(b) - Phi(a)), from the tails in which it keeps its digits.
double log_between(double a, double b) {
  return std::log(a > 0 ? cdf(-a) - cdf(-b) : cdf(b) - cdf(a));
}

/// log P(1) or log P(0) of a binary outcome whose score has the mean eta.
double log_binary(double outcome, double eta) {
  return std::log(cdf(outcome > 0 ? eta : -eta));
}

double coefficient_prior(double b) {
  return -0.5 * b * b / 5;
}

/// Thresholds 0, exp(s[first]), exp(s[first]) + exp(s[first + 1]), ..., with infinities at both ends.
std::vector<double> bounds(const state& s, std::size_t first, std::size_t n) {
  std::vector<double> out = {-infinity, 0};
  for (std::size_t k = 0; k < n; ++k) out.push_back(out.back() + std::exp(s[first + k]));
  out.push_back(infinity);
  return out;
}

/// Of the logs of the gaps; thresholds themselves are flat.
double log_jacobian(const state& s, std::size_t first, std::size_t n) {
  double sum = 0;
  for (std::size_t k = 0; k < n; ++k) sum += s[first + k];
  return sum;
}

/// The category of a score.
double cut(double score, const std::vector<double>& cuts) {
  double out = 0;
  for (double c : cuts) out += score > c;
  return out;
}

class ProbitReference : public Reference {
 protected:
  /// b ~ x with x and its coefficient in a unit of their own.
  void expect_simple_probit(const arma::Mat<double>& x_and_b, double unit) {
    arma::Mat<double> data = x_and_b;
    data.col(0) *= unit;
    const auto density = [&](const state& s) {
      double sum = coefficient_prior(s[0]) + coefficient_prior(s[1] / unit);
      for (arma::uword i = 0; i < data.n_rows; ++i)
        sum += log_binary(data(i, 1), s[0] + s[1] * x_and_b(i, 0));
      return sum;
    };
    SCOPED_TRACE("x in a unit of 1/" + std::to_string(unit));
    expect_agreement({"x", "b"}, data,
                     "ORDINAL: b; FIXED: x; MODEL: b ~ x; OPTIONS: disable_dic disable_corrs; "
                     "ITERATIONS: 60000;",
                     {1, 2}, {"b: 1", "b: x"}, density, {0.1, 0.1}, [unit](const state& s) {
                       return arma::Col<double>{s[0], s[1] / unit};
                     });
  }

  /// y ~ x, where y is in a unit of its own and its values make it go missing: y.missing ~ y. Of a row
  /// without y, only the indicator is known: Phi(g0 + g1 y) for y ~ N(m, v) has the mean
  /// Phi((g0 + g1 m) / sqrt(1 + g1^2 v)).
  void expect_selection(double unit, const char* iterations) {
    constexpr int n = 18;
    arma::Mat<double> data(n, 2);
    for (int i = 0; i < n; ++i) {
      const double x = number(i, 50), y = unit * (0.4 + 0.7 * x + 0.6 * number(i, 51));
      data.row(i) = arma::Row<double>{x, y + 0.7 * unit * number(i, 52) > 0.9 * unit ? missing : y};
    }
    // s: log v, intercept and slope of y, of the indicator's score; those of y and the last one in units
    // of y.
    const auto density = [&](const state& s) {
      const double v = std::exp(s[0]);
      double sum = unit_prior(v * unit * unit) + coefficient_prior(s[3]) + coefficient_prior(s[4] / unit);
      for (int i = 0; i < n; ++i) {
        const double m = s[1] + s[2] * data(i, 0), y = data(i, 1) / unit;
        sum += std::isnan(y) ? log_binary(1, (s[3] + s[4] * m) / std::sqrt(1 + s[4] * s[4] * v))
                             : normal(y, m, v) + log_binary(0, s[3] + s[4] * y);
      }
      return sum;
    };
    SCOPED_TRACE("y in a unit of 1/" + std::to_string(unit));
    expect_agreement(
        {"x", "y"}, data,
        std::string("FIXED: x; MODEL: y ~ x; y.missing ~ y; DEBUG: no_sort;\n"
                    "OPTIONS: prior1 disable_dic disable_corrs; ITERATIONS: ") +
            iterations + ";",
        {0, 1, 2, 7, 8}, {"v", "y: 1", "y: x", "y.missing: 1", "y.missing: y"}, density, state(5, 0.1),
        [unit](const state& s) {
          return arma::Col<double>{std::exp(s[0]) * unit * unit, s[1] * unit, s[2] * unit, s[3], s[4] / unit};
        },
        40000);
  }
};

TEST_F(ProbitReference, BinaryWithARandomIntercept) {
  constexpr int clusters = 8, each = 4, n = clusters * each;
  arma::Mat<double> data(n, 3);
  for (int i = 0; i < n; ++i) {
    const int c = i / each;
    const double x = number(i, 31), score = 0.2 + 0.6 * x + 0.8 * number(c, 32) + number(i, 33);
    data.row(i) = arma::Row<double>{c + 1.0, x, cut(score, {0})};
  }
  // s: log variance of the intercepts, betas (2), standardized intercepts.
  const auto density = [&](const state& s) {
    const double root = std::exp(0.5 * s[0]);
    double sum = unit_prior(root * root) + coefficient_prior(s[1]) + coefficient_prior(s[2]);
    for (int c = 0; c < clusters; ++c) sum += -0.5 * s[3 + c] * s[3 + c];
    for (int i = 0; i < n; ++i)
      sum += log_binary(data(i, 2), s[1] + s[2] * data(i, 1) + root * s[3 + i / each]);
    return sum;
  };
  expect_agreement({"id", "x", "b"}, data,
                   "CLUSTERID: id; ORDINAL: b; FIXED: x; MODEL: b ~ x;\n"
                   "OPTIONS: prior1 disable_dic disable_corrs; ITERATIONS: 100000;",
                   {0, 2, 3}, {"variance of intercepts", "b: 1", "b: x"}, density, state(3 + clusters, 0.1),
                   [](const state& s) {
                     return arma::Col<double>{std::exp(s[0]), s[1], s[2]};
                   });
}

/// A row without a category has any of them, as z tells.
TEST_F(ProbitReference, FiveCategoriesThatAnotherEquationReads) {
  constexpr int n = 24;
  arma::Mat<double> data(n, 3);
  for (int i = 0; i < n; ++i) {
    const double x = number(i, 34), o = cut(0.6 * x + number(i, 35), {-1.0, -0.4, 0.3, 1.1});
    data.row(i) = arma::Row<double>{x, i % 5 == 3 ? missing : o, 0.6 * o - 0.3 * x + 0.7 * number(i, 36)};
  }
  // s: betas of o (2), log gaps (3), log vz, deltas (3).
  const auto density = [&](const state& s) {
    const std::vector<double> tau = bounds(s, 2, 3);
    const double vz = std::exp(s[5]);
    double sum = coefficient_prior(s[0]) + coefficient_prior(s[1]) + log_jacobian(s, 2, 3) + unit_prior(vz);
    for (int i = 0; i < n; ++i) {
      const double x = data(i, 0), eta = s[0] + s[1] * x;
      double probability = 0;
      for (std::size_t k = 0; k < 5; ++k) {
        const double o = static_cast<double>(k);
        if (!std::isnan(data(i, 1)) && data(i, 1) != o) continue;
        probability += std::exp(log_between(tau[k] - eta, tau[k + 1] - eta) +
                                normal(data(i, 2), s[6] + s[7] * o + s[8] * x, vz));
      }
      sum += std::log(probability);
    }
    return sum;
  };
  expect_agreement(
      {"x", "o", "z"}, data,
      "ORDINAL: o; FIXED: x; MODEL: o ~ x; z ~ o x; DEBUG: no_sort;\n"
      "OPTIONS: prior1 disable_dic disable_corrs; ITERATIONS: 200000;",
      {1, 2, 3, 4, 5, 9, 10, 11, 12},
      {"o: 1", "o: x", "tau 1", "tau 2", "tau 3", "vz", "z: 1", "z: o", "z: x"}, density, state(9, 0.1),
      [](const state& s) {
        const double t1 = std::exp(s[2]), t2 = t1 + std::exp(s[3]);
        return arma::Col<double>{s[0], s[1], t1, t2, t2 + std::exp(s[4]), std::exp(s[5]), s[6], s[7], s[8]};
      },
      25000);
}

/// y = c0 + c1 M* + c2 x + e reads the propensity of m. Over M* ~ N(eta, 1), y has the mean c0 + c1 eta + c2
/// x and the variance v + c1^2; given y, M* is normal about eta + c1 (y - mean) / (v + c1^2) with the
/// variance v / (v + c1^2). Where m is missing, y alone is left.
TEST_F(ProbitReference, MediationThroughAPropensityOfFourCategories) {
  constexpr int n = 24;
  arma::Mat<double> data(n, 3);
  for (int i = 0; i < n; ++i) {
    const double x = number(i, 37), score = 0.5 * x + number(i, 38);
    data.row(i) = arma::Row<double>{x, i % 6 == 4 ? missing : cut(score, {-0.8, 0.0, 0.7}),
                                    0.6 * score + 0.3 * x + 0.6 * number(i, 39)};
  }
  // s: betas of m (2), log gaps (2), log v, c0, c1, c2.
  const auto density = [&](const state& s) {
    const std::vector<double> tau = bounds(s, 2, 2);
    const double v = std::exp(s[4]), c = s[6], total = v + c * c, sd = std::sqrt(v / total);
    double sum = coefficient_prior(s[0]) + coefficient_prior(s[1]) + log_jacobian(s, 2, 2) + unit_prior(v);
    for (int i = 0; i < n; ++i) {
      const double x = data(i, 0), eta = s[0] + s[1] * x, mean = s[5] + c * eta + s[7] * x;
      sum += normal(data(i, 2), mean, total);
      if (std::isnan(data(i, 1))) continue;
      const auto k = static_cast<std::size_t>(data(i, 1));
      const double given_y = eta + c * (data(i, 2) - mean) / total;
      sum += log_between((tau[k] - given_y) / sd, (tau[k + 1] - given_y) / sd);
    }
    return sum;
  };
  expect_agreement(
      {"x", "m", "y"}, data,
      "ORDINAL: m; FIXED: x; MODEL: m ~ x; y ~ m.latent x; DEBUG: no_sort;\n"
      "OPTIONS: prior1 disable_dic disable_corrs; ITERATIONS: 200000;",
      {1, 2, 3, 4, 8, 9, 10, 11}, {"m: 1", "m: x", "tau 1", "tau 2", "v", "y: 1", "y: m.latent", "y: x"},
      density, state(8, 0.1), [](const state& s) {
        const double t1 = std::exp(s[2]);
        return arma::Col<double>{s[0], s[1], t1, t1 + std::exp(s[3]), std::exp(s[4]), s[5], s[6], s[7]};
      });
}

TEST_F(ProbitReference, ValuesThatMakeThemselvesMissing) {
  expect_selection(1, "200000");
}

/// The variance of y is then large beside the unit of its prior, and the slope of the indicator small beside
/// that of its own.
TEST_F(ProbitReference, ValuesInCentsThatMakeThemselvesMissing) {
  expect_selection(100, "300000");
}

/// The prior of the slope rules where x is small, and is flat where x is large.
TEST_F(ProbitReference, TheUnitOfAPredictorBesideThePriorOfItsSlope) {
  arma::Mat<double> data(15, 2);
  for (int i = 0; i < 15; ++i) {
    const double x = number(i, 40);
    data.row(i) = arma::Row<double>{x, cut(0.3 + 0.8 * x + number(i, 41), {0})};
  }
  expect_simple_probit(data, 1000);
  expect_simple_probit(data, 1.0 / 1000);
}

/// Every 0 lies below every 1: without the prior of the slope the posterior would be improper.
TEST_F(ProbitReference, SeparatedData) {
  arma::Mat<double> data(12, 2);
  for (int i = 0; i < 12; ++i) data.row(i) = arma::Row<double>{0.3 * (i - 5.5), i < 6 ? 0.0 : 1.0};
  expect_simple_probit(data, 1);
}

/// Two rows lie between thresholds that are then close together.
TEST_F(ProbitReference, ACategoryOfTwoRows) {
  constexpr int n = 20;
  arma::Mat<double> data(n, 2);
  for (int i = 0; i < n; ++i) {
    const double x = number(i, 42), score = 0.5 * x + number(i, 43);
    data.row(i) = arma::Row<double>{x, i == 3 || i == 12 ? 1.0 : cut(score, {-0.3, -0.3, 0.8})};
  }
  // s: betas (2), log gaps (2).
  const auto density = [&](const state& s) {
    const std::vector<double> tau = bounds(s, 2, 2);
    double sum = coefficient_prior(s[0]) + coefficient_prior(s[1]) + log_jacobian(s, 2, 2);
    for (int i = 0; i < n; ++i) {
      const double eta = s[0] + s[1] * data(i, 0);
      const auto k = static_cast<std::size_t>(data(i, 1));
      sum += log_between(tau[k] - eta, tau[k + 1] - eta);
    }
    return sum;
  };
  expect_agreement({"x", "o"}, data,
                   "ORDINAL: o; FIXED: x; MODEL: o ~ x; OPTIONS: disable_dic disable_corrs; "
                   "ITERATIONS: 200000;",
                   {1, 2, 3, 4}, {"o: 1", "o: x", "tau 1", "tau 2"}, density, state(4, 0.1),
                   [](const state& s) {
                     const double t1 = std::exp(s[2]);
                     return arma::Col<double>{s[0], s[1], t1, t1 + std::exp(s[3])};
                   });
}

}  // namespace
}  // namespace tovik::tests::probit_reference_test
