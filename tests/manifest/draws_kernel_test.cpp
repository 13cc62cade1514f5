// The draws of imputation models against closed forms.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "manifest/intercepts.hpp"
#include "manifest/manifest_world.hpp"
#include "manifest/var.hpp"
#include "sem/chain_posterior.hpp"
#include "sem/scan/cluster_variances.hpp"
#include "sem/scan/matrix_coefficients.hpp"

namespace tovik::tests::manifest_draws_kernel_test {
namespace {

using manifest::intercepts;
using manifest::intercepts_setup;
using manifest::Var;

constexpr double na = std::numeric_limits<double>::quiet_NaN();

/// Means and covariances of draws, against exact ones: five standard errors fail a right draw less than once
/// in a million comparisons.
void expect_moments(const arma::mat& draws, const arma::vec& mean, const arma::mat& cov) {
  const double n = static_cast<double>(draws.n_cols);
  const arma::vec m = arma::mean(draws, 1);
  const arma::mat S = arma::cov(draws.t());
  for (arma::uword i = 0; i < mean.n_elem; ++i) {
    EXPECT_NEAR(m(i), mean(i), 5 * std::sqrt(cov(i, i) / n)) << "mean " << i;
    for (arma::uword j = 0; j <= i; ++j) {
      const double error = std::sqrt((cov(i, i) * cov(j, j) + cov(i, j) * cov(i, j)) / n);
      EXPECT_NEAR(S(i, j), cov(i, j), 5 * error) << "covariance " << i << " " << j;
    }
  }
}

template <class Draw>
arma::mat repeat(arma::uword n, Draw draw) {
  arma::mat out;
  for (arma::uword t = 0; t < n; ++t) {
    const arma::vec one = draw();
    if (t == 0) out.set_size(one.n_elem, n);
    out.col(t) = one;
  }
  return out;
}

constexpr arma::uword n_draws = 40000;

/// Clusters of two, three and no telling units; two score columns.
struct two_scores {
  arma::Col<arma::uword> cluster = {0, 0, 1, 1, 1, 2};
  arma::Col<arma::uword> rows = {0, 1, 2, 3, 4};
  arma::mat Sigma = {{1.0, 0.5}, {0.5, 1.0}};
  arma::vec t2 = {0.4, 2.0};

  intercepts_setup setup() const {
    intercepts_setup out;
    out.level = 1;
    out.n_clusters = 3;
    out.of_unit = &cluster;
    out.first_unit = {0, 2, 5};
    out.dim = 2;
    return out;
  }
};

TEST(Intercepts, HaveTheirConditionalDistributionGivenScores) {
  const two_scores w;
  Random rng(3, 0u);
  const arma::mat e = rng.randn(6, 2), P = arma::inv_sympd(w.Sigma);
  intercepts u(w.setup(), 1.0);
  u.t2 = w.t2;
  const arma::mat draws = repeat(n_draws, [&] {
    u.draw(e, w.rows, P, nullptr, rng);
    return arma::vec(arma::vectorise(u.u.t()));
  });
  arma::vec mean(6);
  arma::mat cov(6, 6, arma::fill::zeros);
  for (arma::uword c = 0; c < 3; ++c) {
    arma::vec sum(2, arma::fill::zeros);
    double n = 0;
    for (arma::uword i : w.rows)
      if (w.cluster(i) == c) {
        sum += e.row(i).t();
        n += 1;
      }
    const arma::mat V = arma::inv_sympd(n * P + arma::diagmat(1 / w.t2));
    mean.subvec(2 * c, 2 * c + 1) = V * P * sum;
    cov.submat(2 * c, 2 * c, 2 * c + 1, 2 * c + 1) = V;
  }
  expect_moments(draws, mean, cov);
}

/// V = 1 / (sum of precisions + 1 / t2).
TEST(Intercepts, WeighUnitsByTheirPrecision) {
  two_scores w;
  intercepts_setup setup = w.setup();
  setup.dim = 1;
  intercepts u(std::move(setup), 0.5);
  Random rng(4, 0u);
  const arma::mat e = rng.randn(6, 1), one(1, 1, arma::fill::ones);
  const arma::vec weight = {2.0, 2.0, 0.3, 0.3, 0.3, 7.0};
  const arma::mat draws = repeat(n_draws, [&] {
    u.draw(e, w.rows, one, weight.memptr(), rng);
    return arma::vec(u.u.col(0));
  });
  const arma::vec V = {1 / (4.0 + 2.0), 1 / (0.9 + 2.0), 0.5};
  const arma::vec mean = {V(0) * 2.0 * (e(0) + e(1)), V(1) * 0.3 * (e(2) + e(3) + e(4)), 0.0};
  expect_moments(draws, mean, arma::diagmat(V));
}

/// b given the sums T = Z b + u has the mean of least squares and the covariance t2 inv(Z'Z); T stays.
TEST(Intercepts, RecentringRegressesTheSumsOnWhatIsConstantInClusters) {
  constexpr arma::uword J = 8;
  Random rng(6, 0u);
  arma::Col<arma::uword> cluster(2 * J), first(J);
  arma::mat X(2 * J, 3);
  for (arma::uword i = 0; i < 2 * J; ++i) {
    cluster(i) = i / 2;
    if (i % 2 == 0) first(i / 2) = i;
    X(i, 0) = rng.rnorm();
    X(i, 1) = 1.0;
    X(i, 2) = i % 2 == 0 ? rng.rnorm() : X(i - 1, 2);
  }
  intercepts_setup setup;
  setup.level = 1;
  setup.n_clusters = J;
  setup.of_unit = &cluster;
  setup.first_unit = first;
  setup.between = {1, 2};
  intercepts u(std::move(setup), 0.7);
  u.u = rng.randn(J, 1);
  arma::mat b = arma::vec{0.3, 1.0, -2.0};
  const arma::mat Z = X.rows(first).eval().cols(1, 2);
  const arma::vec T = Z * b.rows(1, 2) + u.u;
  const arma::mat draws = repeat(n_draws, [&] {
    u.recentre(X, {0, 1, 2}, rng, b);
    return arma::vec(b.rows(1, 2));
  });
  EXPECT_DOUBLE_EQ(b(0), 0.3);
  EXPECT_LT(arma::abs(Z * b.rows(1, 2) + u.u - T).max(), 1e-9);
  const arma::mat inverse = arma::inv_sympd(Z.t() * Z);
  expect_moments(draws, inverse * Z.t() * T, 0.7 * inverse);
}

TEST(MatrixCoefficients, HaveTheConditionalOfSeveralColumns) {
  Random rng(8, 0u);
  const arma::mat X = rng.randn(30, 2), Y = rng.randn(30, 2), Sigma = {{1.0, 0.5}, {0.5, 1.0}};
  sem::scan::matrix_coefficient_step step(2, sem::scan::coefficient_prior::ridge(0.05));
  const arma::mat G = X.t() * X;
  arma::mat B(2, 2, arma::fill::zeros);
  const arma::mat draws = repeat(n_draws, [&] {
    arma::mat H = X.t() * Y;
    step.draw(G, H, 30, Sigma, rng, B);
    return arma::vec(arma::vectorise(B));
  });
  const arma::mat P = arma::inv_sympd(Sigma);
  const arma::mat V = arma::inv_sympd(arma::kron(P, G) + arma::mat(4, 4, arma::fill::eye) / 0.05);
  expect_moments(draws, V * arma::vectorise(X.t() * Y * P), V);
}

TEST(ClusterVariances, HaveInverseGammaConditionals) {
  Random rng(9, 0u);
  const arma::vec n = {0, 1, 12}, ss = {0, 3.0, 40.0};
  const arma::mat draws = repeat(n_draws, [&] {
    sem::scan::cluster_variances v(3, 1.5);
    v.t = 0.25;
    v.draw(n, ss, rng);
    return arma::vec(1 / v.v);
  });
  const arma::vec shape = n / 2 + 4.0, rate = ss / 2 + 4.0 * 1.5;
  expect_moments(draws, shape / rate, arma::diagmat(shape / arma::square(rate)));
}

/// With so many residuals that the variances are known, s0 and nu have the density of a gamma sample's
/// parameters under priors flat on s0 and 1 / nu, which a grid sums.
TEST(ClusterVariances, DrawTheirCommonDistribution) {
  const arma::vec w = {0.5, 0.9, 1.4, 0.7, 2.2, 1.1, 0.8, 1.9};
  const double J = static_cast<double>(w.n_elem), W = arma::accu(w), L = arma::accu(arma::log(w));
  double mass = 0, log_nu = 0, log_s0 = 0;
  for (double a = -5; a < 9; a += 0.01) {
    for (double c = -4; c < 4; c += 0.01) {
      const double nu = std::exp(a), s0 = std::exp(c);
      // Jacobians: d nu = nu da, d s0 = s0 dc; flat on t is nu^-2 on nu.
      const double l = J * (nu * std::log(nu * s0) - std::lgamma(nu)) + nu * (L - s0 * W) - a + c;
      const double p = std::exp(l + 20);
      mass += p;
      log_nu += p * a;
      log_s0 += p * c;
    }
  }
  Random rng(10, 0u);
  sem::scan::cluster_variances v(w.n_elem, 1.0);
  const arma::vec n(w.n_elem, arma::fill::value(1e10)), ss = 1e10 / w;
  const ChainPosterior chain(
      [&] {
        v.draw(n, ss, rng);
        return arma::rowvec{-std::log(v.t), std::log(v.s0)};
      },
      50, 1000);
  EXPECT_NEAR(chain.mean(0), log_nu / mass, 5 * chain.error(0));
  EXPECT_NEAR(chain.mean(1), log_s0 / mass, 5 * chain.error(1));
  EXPECT_LT(chain.error(0), 0.05);
}

/// One incomplete variable and complete predictors: the posterior is that of the regression among the rows
/// in which it is observed, whichever rows the parameters are drawn from. Residual variance
/// InverseGamma((n - p + 2) / 2, (SS + 1) / 2).
TEST(ManifestVar, HasThePosteriorOfARegressionOfWhatIsObserved) {
  constexpr arma::uword n = 25;
  Random rng(12, 0u);
  arma::mat data(n, 3);
  for (arma::uword i = 0; i < n; ++i) {
    const double z = 5 + 2 * rng.rnorm(), w = rng.rnorm();
    data.row(i) = arma::rowvec{i % 4 == 1 ? na : 1 + 0.5 * z - w + rng.rnorm(), z, w};
  }
  const arma::uvec seen = arma::find_finite(data.col(0));
  const arma::mat X = arma::join_rows(arma::ones(seen.n_elem), arma::mat(data.rows(seen)).cols(1, 2));
  const arma::vec y = arma::vec(data.col(0)).elem(seen);
  const arma::mat inverse = arma::inv_sympd(X.t() * X);
  const arma::vec b = inverse * X.t() * y;
  const double df = static_cast<double>(seen.n_elem) - 3 + 2;
  const double scale = arma::accu(arma::square(y - X * b)) + 1;
  const arma::rowvec missing_x = {1, data(1, 1), data(1, 2)};
  for (const bool mice : {false, true}) {
    SCOPED_TRACE(mice ? "observed rows" : "all rows");
    const manifest_world world({"x", "z", "w"}, data);
    manifest::options how;
    how.mice = mice;
    const auto mi = world.make(how, 21);
    const ChainPosterior chain(
        [&] {
          mi->impute();
          return arma::rowvec(arma::join_cols(mi->getParams(), arma::vec{mi->getData()(1, 0)}).t());
        },
        50, 1000);
    const double s2 = scale / (df - 2);
    for (arma::uword j = 0; j < 3; ++j) {
      EXPECT_NEAR(chain.mean(j), b(j), 5 * chain.error(j)) << j;
      EXPECT_NEAR(chain.sd(j), std::sqrt(s2 * inverse(j, j)), 5 * chain.sd_error(j)) << j;
    }
    EXPECT_NEAR(chain.mean(3), s2, 5 * chain.error(3));
    EXPECT_NEAR(chain.sd(3), s2 * std::sqrt(2 / (df - 4)), 6 * chain.sd_error(3));
    EXPECT_NEAR(chain.mean(4), arma::as_scalar(missing_x * b), 5 * chain.error(4));
    const double spread = s2 * (1 + arma::as_scalar(missing_x * inverse * missing_x.t()));
    EXPECT_NEAR(chain.sd(4), std::sqrt(spread), 5 * chain.sd_error(4));
  }
}

}  // namespace
}  // namespace tovik::tests::manifest_draws_kernel_test
