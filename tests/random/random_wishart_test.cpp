#include <gtest/gtest.h>

#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <stdexcept>
#include <string>

#include "random/random.hpp"
#include "sample_tests.hpp"
#include "support/error.hpp"

namespace tovik::random_wishart_test {
namespace {

using tests::kolmogorov;
using tests::sample;

const arma::Mat<double> scale = {{2.0, 0.6, -0.3}, {0.6, 1.0, 0.2}, {-0.3, 0.2, 0.5}};

arma::Mat<double> spread_scale(arma::uword p) {
  arma::Mat<double> S(p, p, arma::fill::none);
  for (arma::uword i = 0; i < p; ++i)
    for (arma::uword j = 0; j < p; ++j)
      S(i, j) = std::pow(0.5, std::fabs(static_cast<double>(i) - static_cast<double>(j)));
  return S;
}

TEST(Wishart, IsTheCrossProductOfScaledNormals) {
  for (arma::uword p : {1U, 2U, 3U, 7U, 12U}) {
    const arma::Mat<double> S = spread_scale(p);
    Random random(51), plain(51);
    const arma::Mat<double> W = random.rwish(20, S);
    const arma::Mat<double> X = plain.randn(20, static_cast<int>(p)) * arma::chol(S);
    EXPECT_TRUE(arma::approx_equal(W, X.t() * X, "reldiff", 1e-11)) << p;
    EXPECT_TRUE(arma::approx_equal(W, W.t(), "absdiff", 0.0));
    EXPECT_TRUE(random.engine == plain.engine);
  }
}

TEST(Wishart, HasItsMoments) {
  // Var W_ij = df (S_ij^2 + S_ii S_jj); each mean within 4.5 of its standard errors.
  constexpr int n = 20000;
  constexpr int df = 6;
  Random random(52);
  arma::Mat<double> mean(3, 3, arma::fill::zeros), square(3, 3, arma::fill::zeros), W;
  WishartScratch scratch;
  for (int i = 0; i < n; ++i) {
    random.rwish(df, scale, W, scratch);
    mean += W / n;
    square += arma::square(W - df * scale) / n;
  }
  const arma::Mat<double> variance = df * (arma::square(scale) + scale.diag() * scale.diag().t());
  EXPECT_LT(arma::abs((mean - df * scale) / arma::sqrt(variance / n)).max(), 4.5);
  // The kurtosis of these elements stays below 3 + 12 / df + 6: 8 % is over 5 standard errors of the
  // variance.
  EXPECT_LT(arma::abs(square / variance - 1).max(), 0.08);
}

TEST(Wishart, DiagonalIsAScaledChiSquare) {
  Random random(53);
  EXPECT_LT(kolmogorov(sample(20000, [&] { return random.rwish(5, scale)(1, 1); }),
                       [](double x) { return boost::math::gamma_p(2.5, x / 2); }),
            2.5);
}

TEST(Wishart, InPlaceFormDrawsTheSameAndKeepsItsMemory) {
  Random a(54), b(54);
  WishartScratch scratch;
  arma::Mat<double> W;
  a.rwish(40, scale, W, scratch);
  EXPECT_TRUE(arma::approx_equal(W, b.rwish(40, scale), "absdiff", 0.0));
  const double* memory = W.memptr();
  const double* normals = scratch.Z.memptr();
  for (int i = 0; i < 10; ++i) {
    a.rwish(40, scale, W, scratch);
    ASSERT_TRUE(arma::approx_equal(W, b.rwish(40, scale), "absdiff", 0.0));
  }
  EXPECT_EQ(W.memptr(), memory);
  EXPECT_EQ(scratch.Z.memptr(), normals);
}

TEST(Wishart, RejectsTooFewDegreesOfFreedomBeforeDrawing) {
  Random random(55), plain(55);
  for (int df : {2, 0, -1, -2147483647}) EXPECT_THROW(random.rwish(df, scale), numeric_error) << df;
  EXPECT_TRUE(random.engine == plain.engine);
  EXPECT_NO_THROW(random.rwish(3, scale));
}

template <typename Call>
std::string message_of(Call call) {
  try {
    call();
  } catch (const numeric_error& e) {
    return e.what();
  }
  return "nothing thrown";
}

TEST(Wishart, NeedsAPositiveDefiniteScale) {
  Random random(56);
  const arma::Mat<double> indefinite = {{1.0, 2.0}, {2.0, 1.0}};
  const arma::Mat<double> singular(2, 2, arma::fill::zeros);
  EXPECT_EQ(message_of([&] { random.rwish(5, indefinite); }), "chol(): decomposition failed");
  EXPECT_EQ(message_of([&] { random.riwish(5, indefinite); }), "chol(): decomposition failed");
  EXPECT_EQ(message_of([&] { random.riwish(5, singular); }), "inv(): matrix is singular");
  EXPECT_EQ(message_of([&] { random.riwish(5, arma::Mat<double>(9, 9, arma::fill::ones)); }).substr(0, 3),
            "inv");
  EXPECT_THROW(random.rwish(5, arma::Mat<double>(3, 2, arma::fill::ones)), error_debug);
  EXPECT_THROW(random.riwish(5, arma::Mat<double>(3, 2, arma::fill::ones)), error_debug);
}

TEST(Wishart, AcceptsAnEmptyScale) {
  Random random(57);
  EXPECT_EQ(random.rwish(4, arma::Mat<double>()).n_elem, 0U);
  EXPECT_EQ(random.riwish(4, arma::Mat<double>()).n_elem, 0U);
}

TEST(InverseWishart, IsTheInverseOfAWishartWithTheInverseScale) {
  for (arma::uword p : {1U, 2U, 3U, 7U}) {
    const arma::Mat<double> S = spread_scale(p);
    Random a(58), b(58);
    arma::Mat<double> out = S;
    WishartScratch scratch;
    a.riwish(30, out, out, scratch);  // the result may replace the scale
    const arma::Mat<double> reference = arma::inv(b.rwish(30, arma::inv(S)));
    EXPECT_TRUE(arma::approx_equal(out, reference, "reldiff", 1e-10)) << p;
    EXPECT_TRUE(arma::approx_equal(out, out.t(), "absdiff", 0.0));
    EXPECT_TRUE(a.engine == b.engine);
  }
}

TEST(InverseWishart, HasItsMean) {
  // Mean S / (df - p - 1). Var of a diagonal element is 2 S_ii^2 / ((df-p-1)^2 (df-p-3)).
  constexpr int n = 20000;
  constexpr int df = 14;
  Random random(59);
  arma::Mat<double> mean(3, 3, arma::fill::zeros), W;
  WishartScratch scratch;
  for (int i = 0; i < n; ++i) {
    random.riwish(df, scale, W, scratch);
    mean += W / n;
  }
  for (arma::uword i = 0; i < 3; ++i) {
    const double sd = scale(i, i) / 10 * std::sqrt(2.0 / 8.0);
    EXPECT_NEAR(mean(i, i), scale(i, i) / 10, 4.5 * sd / std::sqrt(n));
  }
  // Off the diagonal: ((df-p+1) S_ij^2 + (df-p-1) S_ii S_jj) / ((df-p) (df-p-1)^2 (df-p-3)).
  const double variance = (12 * 0.36 + 10 * 2.0) / (11.0 * 100 * 8);
  EXPECT_NEAR(mean(0, 1), 0.06, 4.5 * std::sqrt(variance / n));
}

}  // namespace
}  // namespace tovik::random_wishart_test
