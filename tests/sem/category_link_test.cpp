// From means of latent scores to expected codes and proportions.

#include "sem/predictors/category_link.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "random/densities.hpp"
#include "random/random.hpp"

namespace tovik::tests::category_link_test {
namespace {

TEST(CategoryLink, ExpectedCodesAreThoseOfDraws) {
  sem::expected_code link({1, 2, 5});
  const arma::Col<double> tau = {0.0, 0.7};
  link.set(1.7 * arma::eye(1, 1), tau);
  const arma::Mat<double> means = arma::Col<double>{-1.0, 0.2, 1.5};
  arma::Mat<double> out;
  link.map(means, out);
  Random random(5, 5U);
  constexpr int draws = 200000;
  for (arma::uword j = 0; j < 3; ++j) {
    double sum = 0;
    for (int i = 0; i < draws; ++i) {
      const double z = means(j, 0) + std::sqrt(1.7) * random.rnorm();
      sum += z <= 0 ? 1 : z <= 0.7 ? 2 : 5;
    }
    EXPECT_NEAR(out(j, 0), sum / draws, 4.5 * 2.0 / std::sqrt(draws));  // codes spread by less than 2
  }
}

TEST(CategoryLink, TwoCategoriesAreANormalProbability) {
  sem::category_proportions link;
  link.set(2.5 * arma::eye(1, 1), {});
  const arma::Mat<double> means = arma::Col<double>{-1.0, 0.2};
  arma::Mat<double> out;
  link.map(means, out);
  for (arma::uword j = 0; j < 2; ++j) EXPECT_NEAR(out(j, 0), phi(means(j, 0) / std::sqrt(2.5)), 1e-15);
}

TEST(CategoryLink, ProportionsAreThoseOfDrawsAndRiseWithTheirScore) {
  sem::category_proportions link;
  const arma::Mat<double> omega = {{1.4, 0.6}, {0.6, 1.1}};
  link.set(omega, {});
  arma::Mat<double> means = {{0.3, -0.2}, {-1.0, 0.4}};
  arma::Mat<double> out, more;
  link.map(means, out);
  Random random(6, 6U);
  constexpr int draws = 200000;
  const arma::Mat<double> root = arma::chol(omega);
  for (arma::uword j = 0; j < 2; ++j) {
    arma::Row<double> count(3, arma::fill::zeros);
    for (int i = 0; i < draws; ++i) {
      const arma::Row<double> z = means.row(j) + arma::Row<double>(random.randn(1, 2)) * root;
      count(z.max() > 0 ? 1 + z.index_max() : 0) += 1.0 / draws;
    }
    // 256 points are good to about 0.003, draws to 0.001.
    EXPECT_NEAR(out(j, 0), count(1), 0.01);
    EXPECT_NEAR(out(j, 1), count(2), 0.01);
    const double none = sem::normal_rectangle(omega)(arma::Col<double>(-means.row(j).t()));
    EXPECT_NEAR(out(j, 0) + out(j, 1) + none, 1.0, 0.015);
  }
  means.col(0) += 0.05;
  link.map(means, more);
  for (arma::uword j = 0; j < 2; ++j) {
    EXPECT_GT(more(j, 0), out(j, 0));
    EXPECT_LT(more(j, 1), out(j, 1));
  }
}

}  // namespace
}  // namespace tovik::tests::category_link_test
