// Whole runs against posteriors known in closed form or by quadrature. Bounds, so that all checks together
// fail for a right sampler less than once in 20,000: 6 Monte Carlo standard errors for a mean (t with the 49
// degrees of freedom of 50 batches: 2e-7), 2.7 for a Kolmogorov-Smirnov distance (1e-6).

#include <gtest/gtest.h>

#include <boost/math/distributions/inverse_gamma.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>

#include "sample_tests.hpp"
#include "sem/small_run.hpp"

namespace tovik::sem::mcmc_posterior_test {
namespace {

using tests::small_run;

constexpr double mc_bound = 6.0;
constexpr double ks_bound = 2.7;

/// Columns y, x1, x2.
arma::mat regression_data(arma::uword n) {
  Random rng(31, 4);
  arma::mat out(n, 3);
  for (arma::uword i = 0; i < n; ++i) {
    const double x1 = rng.rnorm();
    const double x2 = 0.5 * x1 + rng.rnorm();
    out.row(i) = arma::rowvec{2 + x1 - 0.5 * x2 + 1.5 * rng.rnorm(), x1, x2};
  }
  return out;
}

/// Least squares of y on the intercept, x1 and x2.
struct least_squares {
  arma::vec b;
  arma::mat inverse;
  double rss;

  explicit least_squares(const arma::mat& data) {
    const arma::mat X = arma::join_rows(arma::ones(data.n_rows), data.cols(1, 2));
    inverse = arma::inv_sympd(X.t() * X);
    b = inverse * X.t() * data.col(0);
    rss = arma::accu(arma::square(data.col(0) - X * b));
  }
};

std::vector<double> every_fourth(const arma::rowvec& row) {
  std::vector<double> out;
  for (arma::uword t = 0; t < row.n_elem; t += 4) out.push_back(row[t]);
  return out;
}

/// Integrating out the coefficients leaves s2 ~ inverse gamma((n - k + df) / 2, (RSS + ss) / 2) for a prior
/// of df and ss; each coefficient is then a scaled t with n - k + df degrees of freedom.
void expect_exact_regression(const arma::mat& draws, const least_squares& fit, double n, double df,
                             double ss) {
  const double nu = n - 3 + df;
  const boost::math::inverse_gamma_distribution<> variance(nu / 2, (fit.rss + ss) / 2);
  EXPECT_LT(tests::kolmogorov(every_fourth(draws.row(0)), [&](double v) { return cdf(variance, v); }),
            ks_bound);
  const boost::math::students_t_distribution<> t(nu);
  for (arma::uword j = 0; j < 3; ++j) {
    const double scale = std::sqrt((fit.rss + ss) / nu * fit.inverse(j, j));
    const auto F = [&](double b) { return cdf(t, (b - fit.b[j]) / scale); };
    EXPECT_LT(tests::kolmogorov(every_fourth(draws.row(j + 1)), F), ks_bound) << j;
  }
}

TEST(McmcPosterior, FlatRegressionIsExactlyT) {
  const arma::mat data = regression_data(25);
  const least_squares fit(data);
  const small_run run({"y", "x1", "x2"}, data, {}, {"y ~ x1 x2"});
  const double df[] = {2, -2, 0};
  const double ss[] = {1, 0, 0};
  for (int code = 1; code <= 3; ++code) {
    const auto chain = run.chain(Random(100 + static_cast<unsigned>(code), 1), {code, code});
    expect_exact_regression(tests::draws(*chain, 50, 20000), fit, 25, df[code - 1], ss[code - 1]);
  }
}

TEST(McmcPosterior, DispersedStartsDoNotMoveThePosterior) {
  const arma::mat data = regression_data(25);
  const small_run run({"y", "x1", "x2"}, data, {}, {"y ~ x1 x2"});
  Random rng(8, 2);
  rng.disperse(-3.0);
  const auto chain = run.chain(rng);
  expect_exact_regression(tests::draws(*chain, 50, 20000), least_squares(data), 25, -2, 0);
}

TEST(McmcPosterior, MissingOutcomesLeaveThePosteriorOfTheObservedRows) {
  arma::mat data = regression_data(30);
  const least_squares fit(arma::mat(data.head_rows(25)));
  data.submat(25, 0, 29, 0).fill(arma::datum::nan);
  const small_run run({"y", "x1", "x2"}, data, {}, {"y ~ x1 x2"});
  const auto chain = run.chain(Random(55, 1), {3, 3});
  for (int i = 0; i < 100; ++i) chain->oneRep();
  constexpr arma::uword n = 30000;
  arma::mat draws(4, n);
  arma::mat imputed(5, n);
  for (arma::uword t = 0; t < n; ++t) {
    chain->oneRep();
    draws.col(t) = chain->getParams(0);
    imputed.col(t) = chain->getData().submat(25, 0, 29, 0);
  }
  EXPECT_NEAR(arma::mean(draws.row(0)), fit.rss / 20.0, mc_bound * tests::mean_error(draws.row(0)));
  for (arma::uword j = 0; j < 3; ++j) {
    EXPECT_NEAR(arma::mean(draws.row(j + 1)), fit.b[j], mc_bound * tests::mean_error(draws.row(j + 1))) << j;
    const arma::rowvec squares = arma::square(draws.row(j + 1) - fit.b[j]);
    EXPECT_NEAR(arma::mean(squares), fit.rss / 20.0 * fit.inverse(j, j),
                mc_bound * tests::mean_error(squares))
        << j;
  }
  for (arma::uword i = 0; i < 5; ++i) {
    const arma::vec x = {1.0, data(25 + i, 1), data(25 + i, 2)};
    const double center = arma::dot(x, fit.b);
    EXPECT_NEAR(arma::mean(imputed.row(i)), center, mc_bound * tests::mean_error(imputed.row(i))) << i;
    const double variance = fit.rss / 20.0 * (1 + arma::as_scalar(x.t() * fit.inverse * x));
    const arma::rowvec squares = arma::square(imputed.row(i) - center);
    EXPECT_NEAR(arma::mean(squares), variance, mc_bound * tests::mean_error(squares)) << i;
  }
}

/// Columns id, y: eight clusters of one to five rows.
arma::mat clustered() {
  const std::vector<arma::uword> sizes = {3, 1, 5, 2, 4, 3, 2, 4};
  Random rng(77, 5);
  arma::mat out(24, 2);
  arma::uword row = 0;
  for (arma::uword c = 0; c < sizes.size(); ++c) {
    const double u = 1.2 * rng.rnorm();
    for (arma::uword k = 0; k < sizes[c]; ++k, ++row)
      out.row(row) = arma::rowvec{static_cast<double>(c), 3 + u + rng.rnorm()};
  }
  return out;
}

/// Posterior expectations of y_ij = b + u_j + e_ij by quadrature over the logs of both variances. Given them,
/// b is normal about the generalised least squares mean, and its flat prior integrates out of the likelihood.
/// Both variances have inverse gamma(1, 1/2) priors: df 2 and sum of squares 1.
struct quadrature {
  double mean_log_s2 = 0, mean_log_t2 = 0, mean_b = 0, second_b = 0, below = 0;

  quadrature(const arma::mat& data, double limit) {
    double total = 0;
    const arma::vec grid = arma::linspace(-5.0, 5.0, 401);
    const double largest = log_density(data, 0.0, 0.0).log_p;
    for (double log_s2 : grid) {
      for (double log_t2 : grid) {
        const point p = log_density(data, log_s2, log_t2);
        const double w = std::exp(p.log_p - largest);
        total += w;
        mean_log_s2 += w * log_s2;
        mean_log_t2 += w * log_t2;
        mean_b += w * p.b;
        second_b += w * (p.b * p.b + p.var_b);
        below += w * (log_t2 < limit ? 1.0 : log_t2 == limit ? 0.5 : 0.0);
      }
    }
    for (double* value : {&mean_log_s2, &mean_log_t2, &mean_b, &second_b, &below}) *value /= total;
  }

 private:
  struct point {
    double log_p, b, var_b;
  };

  /// Cluster means have variance t2 + s2 / n; deviations from them carry the rest.
  static point log_density(const arma::mat& data, double log_s2, double log_t2) {
    const double s2 = std::exp(log_s2);
    const double t2 = std::exp(log_t2);
    double log_p = -log_s2 - 0.5 / s2 - log_t2 - 0.5 / t2;  // priors, with the Jacobian of the logs
    double w_sum = 0, wy_sum = 0, wyy_sum = 0;
    for (arma::uword first = 0; first < data.n_rows;) {
      arma::uword end = first;
      double sum = 0, squares = 0;
      for (; end < data.n_rows && data(end, 0) == data(first, 0); ++end) {
        sum += data(end, 1);
        squares += data(end, 1) * data(end, 1);
      }
      const double n = static_cast<double>(end - first);
      const double mean = sum / n;
      const double w = n / (s2 + n * t2);
      log_p += -0.5 * (n - 1) * log_s2 - 0.5 * (squares - n * mean * mean) / s2 - 0.5 * std::log(s2 + n * t2);
      w_sum += w;
      wy_sum += w * mean;
      wyy_sum += w * mean * mean;
      first = end;
    }
    const double b = wy_sum / w_sum;
    log_p += -0.5 * (wyy_sum - b * wy_sum) - 0.5 * std::log(w_sum);
    return {log_p, b, 1 / w_sum};
  }
};

TEST(McmcPosterior, TwoLevelRandomInterceptsAgreeWithQuadrature) {
  const arma::mat sorted = clustered();
  const double limit = 0.5;
  const quadrature exact(sorted, limit);
  arma::uvec order(24);
  for (arma::uword i = 0; i < 24; ++i) order[i] = (i * 7) % 24;  // clusters apart
  const small_run run({"id", "y"}, sorted.rows(order), {"id"}, {"y ~ 1"});
  const auto chain = run.chain(Random(91, 1), {1, 1});
  const arma::mat draws = tests::draws(*chain, 200, 60000);
  const arma::rowvec log_t2 = arma::log(draws.row(0));
  const arma::rowvec log_s2 = arma::log(draws.row(1));
  const arma::rowvec b = draws.row(2);
  const arma::rowvec below = arma::conv_to<arma::rowvec>::from(log_t2 < limit);
  const auto expect = [](const arma::rowvec& series, double value) {
    EXPECT_NEAR(arma::mean(series), value, mc_bound * tests::mean_error(series));
  };
  expect(log_t2, exact.mean_log_t2);
  expect(log_s2, exact.mean_log_s2);
  expect(b, exact.mean_b);
  expect(arma::square(b - exact.mean_b), exact.second_b - exact.mean_b * exact.mean_b);
  expect(below, exact.below);
}

}  // namespace
}  // namespace tovik::sem::mcmc_posterior_test
