// Parameters at the coefficients of several equations: the draw has the moments of the stacked regression,
// whatever the units and wherever the parameters stand.

#include "sem/scan/coefficient_block.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "random/random.hpp"
#include "support/error.hpp"

namespace tovik::tests::coefficient_block_test {
namespace {

using sem::scan::coefficient_block;
using sem::scan::parameter_prior;

constexpr arma::uword none = coefficient_block::none;

/// Two equations: of the first, coefficients 0 and 2 are the same parameter and 1 is known; of the second,
/// the first coefficient is that parameter too.
struct stacked {
  arma::mat X1, X2;
  arma::vec y1, y2, b1{0.3, 0.7, 0.3}, b2{0.3, -0.4};
  double v1 = 0.5, v2 = 2.0;
  parameter_prior shared{3.0, 0.2}, own{};
  arma::Col<arma::uword> of1{0, none, 0}, of2{0, 1};

  explicit stacked(double unit = 1.0) {
    Random rng(3, 1);
    X1 = rng.randn(20, 3);
    X2 = rng.randn(15, 2);
    y1 = unit * arma::vec(rng.randn(20, 1));
    y2 = unit * arma::vec(rng.randn(15, 1));
    b1 *= unit;
    b2 *= unit;
    v1 *= unit * unit;
    v2 *= unit * unit;
    shared.precision /= unit * unit;
    shared.mean *= unit;
  }

  arma::mat precision() const {
    const arma::vec sum = X1.col(0) + X1.col(2);
    arma::mat P = X2.t() * X2 / v2;
    P(0, 0) += arma::dot(sum, sum) / v1 + shared.precision;
    return P;
  }
  arma::vec mean() const {
    const arma::vec sum = X1.col(0) + X1.col(2);
    arma::vec p = X2.t() * y2 / v2;
    p(0) += arma::dot(sum, y1 - X1.col(1) * b1(1)) / v1 + shared.precision * shared.mean;
    return arma::solve(precision(), p);
  }

  coefficient_block block() { return coefficient_block({{shared, &b1(0)}, {own, &b2(1)}}); }

  arma::vec draw(coefficient_block& block, Random& rng) {
    const arma::mat G1 = X1.t() * X1, G2 = X2.t() * X2;
    const arma::vec h1 = X1.t() * y1, h2 = X2.t() * y2;
    block.clear();
    block.add(of1, G1, h1.memptr(), v1, b1.memptr(), 20);
    block.add(of2, G2, h2.memptr(), v2, b2.memptr(), 15);
    return arma::vec{b1(0), b2(1)} + block.draw(rng);
  }
};

TEST(CoefficientBlock, HasTheMomentsOfTheStackedRegression) {
  stacked s;
  coefficient_block block = s.block();
  Random rng(5, 1);
  constexpr arma::uword n = 40000;
  arma::mat draws(2, n);
  for (arma::uword t = 0; t < n; ++t) draws.col(t) = s.draw(block, rng);
  const arma::mat V = arma::inv_sympd(s.precision());
  const arma::vec m = s.mean();
  const arma::mat C = arma::cov(draws.t());
  for (arma::uword j = 0; j < 2; ++j) {
    EXPECT_NEAR(arma::mean(draws.row(j)), m(j), 5.0 * std::sqrt(V(j, j) / n));
    for (arma::uword i = 0; i < 2; ++i)
      EXPECT_NEAR(C(i, j), V(i, j), 5.0 * std::sqrt((V(i, i) * V(j, j) + V(i, j) * V(i, j)) / n));
  }
}

TEST(CoefficientBlock, DrawsDoNotDependOnWhereTheParametersStand) {
  stacked here, there;
  there.b1(0) = there.b1(2) = there.b2(0) = 40.0;
  there.b2(1) = -300.0;
  coefficient_block from_here = here.block(), from_there = there.block();
  Random a(5, 1), b(5, 1);
  for (int t = 0; t < 20; ++t) {
    const arma::vec first = here.draw(from_here, a), second = there.draw(from_there, b);
    EXPECT_LT(arma::abs(first - second).max(), 1e-11);
  }
}

TEST(CoefficientBlock, DrawsFollowTheUnits) {
  for (double unit : {1e-6, 1e6}) {
    stacked plain, scaled(unit);
    coefficient_block one = plain.block(), other = scaled.block();
    Random a(5, 1), b(5, 1);
    for (int t = 0; t < 20; ++t) {
      const arma::vec first = plain.draw(one, a), second = scaled.draw(other, b);
      EXPECT_LT(arma::abs(second / unit - first).max(), 1e-11);
    }
  }
}

TEST(CoefficientBlock, ABoundFarFromTheDataHolds) {
  stacked s;
  s.shared = {0.0, 0.0, 5.0, 6.0};
  coefficient_block block = s.block();
  Random rng(5, 1);
  for (int t = 0; t < 200; ++t) {
    const double a = s.draw(block, rng)(0);
    EXPECT_GE(a, 5.0);
    EXPECT_LE(a, 6.0);
  }
}

TEST(CoefficientBlock, APriorKeepsDependentColumnsApartAndAFlatOneDoesNot) {
  stacked s;
  s.X2.col(1) = 2.0 * s.X2.col(0);
  s.of1.fill(none);
  Random rng(5, 1);
  coefficient_block apart = s.block();
  EXPECT_NO_THROW(s.draw(apart, rng));
  s.shared.precision = 0.0;
  coefficient_block dependent = s.block();
  EXPECT_THROW(s.draw(dependent, rng), numeric_error);
}

TEST(CoefficientBlock, BoundedParametersComeFirst) {
  double a = 0.0, b = 0.0;
  EXPECT_THROW(coefficient_block({{{1.0, 0.0}, &a}, {{0.0, 0.0, 0.0, 1.0}, &b}}), error_debug);
}

}  // namespace
}  // namespace tovik::tests::coefficient_block_test
