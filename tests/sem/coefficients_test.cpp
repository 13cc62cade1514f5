// The coefficients of an equation under every form of prior, against their closed form.

#include "sem/scan/coefficients.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "support/error.hpp"

namespace tovik::sem::scan {
namespace {

/// Forty rows of four correlated columns and an outcome.
struct regression {
  arma::mat X;
  arma::vec y, weight;

  explicit regression(std::uint32_t seed) : X(40, 4), y(40), weight(40) {
    Random rng(seed, 9U);
    X = rng.randn(40, 4);
    X.col(0).ones();
    X.col(2) += 0.7 * X.col(1);
    X.col(3) += 1.0;
    y = X * arma::vec{1.0, -0.5, 0.3, 0.8} + arma::vec(rng.randn(40, 1));
    for (double& w : weight) w = 0.2 + 3.0 * rng.runif();
  }

  arma::mat G(const arma::vec& w) const { return X.t() * arma::diagmat(w) * X; }
  arma::vec h(const arma::vec& w) const { return X.t() * (w % y); }
};

/// N(m, inv(P)), in which root * (b - m) is standard normal.
struct posterior {
  arma::mat root;
  arma::vec mean;

  posterior(const arma::mat& G, const arma::vec& h, double v, const coefficient_prior& prior) {
    arma::mat P = G / v;
    arma::vec linear = h / v;
    for (arma::uword j = 0; j < linear.n_elem; ++j) {
      P(j, j) += prior.precision(j);
      linear[j] += prior.precision(j) * prior.mean(j);
    }
    root = arma::chol(P);
    mean = arma::solve(P, linear);
  }
};

/// Means and products of 20,000 whitened draws against 0 and those of independent standard normals, each in
/// its standard error. A mean of a correct program passes the bound of 5.5 with probability 4e-8, a product,
/// whose tails are heavier, with less than 1e-7: the 168 of all cases here fail less than once in 50,000
/// runs.
class moments {
 public:
  void add(const arma::vec& z) {
    if (n_ == 0) {
      sum_.zeros(z.n_elem);
      products_.zeros(z.n_elem, z.n_elem);
    }
    sum_ += z;
    products_ += z * z.t();
    n_ += 1.0;
  }
  void expect_standard_normal() const {
    for (arma::uword j = 0; j < sum_.n_elem; ++j) {
      EXPECT_LT(std::fabs(sum_[j]) / std::sqrt(n_), 5.5) << "mean " << j;
      EXPECT_LT(std::fabs(products_(j, j) - n_) / std::sqrt(2.0 * n_), 5.5) << "variance " << j;
      for (arma::uword i = 0; i < j; ++i)
        EXPECT_LT(std::fabs(products_(i, j)) / std::sqrt(n_), 5.5) << "covariance " << i << " " << j;
    }
  }

 private:
  arma::vec sum_;
  arma::mat products_;
  double n_ = 0.0;
};

/// Draws at two residual variances in turn, as a chain has another in every scan.
void expect_closed_form(const coefficient_prior& prior, const arma::vec& weight, std::uint32_t seed) {
  const regression data(seed);
  arma::mat const G = data.G(weight);
  arma::vec const h = data.h(weight);
  coefficient_step step({0, 1, 2, 3}, {}, prior);
  step.factor(G, 40);
  Random rng(seed, 1U);
  for (double v : {0.3, 6.0}) {
    SCOPED_TRACE(v);
    const posterior expected(G, h, v, prior);
    arma::vec b(4, arma::fill::zeros);
    step.mean(G, h.memptr(), v, b.memptr());
    EXPECT_LT(arma::abs(b - expected.mean).max(), 1e-10);
    moments at_v;
    for (int i = 0; i < 20000; ++i) {
      step.draw(G, h.memptr(), v, rng, b.memptr());
      at_v.add(expected.root * (b - expected.mean));
      step.draw(G, h.memptr(), 1.7 * v, rng, b.memptr());
    }
    at_v.expect_standard_normal();
  }
}

arma::vec const unweighted(40, arma::fill::ones);
const coefficient_prior mixed = coefficient_prior::of_each({0.0, 4.0, 0.0, 25.0}, {0.0, 1.0, 0.0, -2.0});

TEST(Coefficients, HaveTheirClosedFormUnderAFlatPrior) {
  expect_closed_form({}, unweighted, 81);
}

TEST(Coefficients, HaveTheirClosedFormUnderARidge) {
  expect_closed_form(coefficient_prior::ridge(0.05), unweighted, 82);
}

TEST(Coefficients, HaveTheirClosedFormWhenSomeHaveAPriorWithAMean) {
  expect_closed_form(mixed, unweighted, 83);
}

TEST(Coefficients, HaveTheirClosedFormWithAPrecisionForEachRow) {
  const regression data(84);
  expect_closed_form({}, data.weight, 84);
  expect_closed_form(coefficient_prior::ridge(0.05), data.weight, 84);
  expect_closed_form(mixed, data.weight, 84);
}

TEST(Coefficients, FixedOnesEnterTheMeanUnderAPrior) {
  const regression data(85);
  arma::mat const G = data.G(unweighted);
  arma::vec const h = data.h(unweighted);
  coefficient_step step({1, 3}, {0, 2}, mixed);
  step.factor(G, 40);
  arma::vec b = {0.9, 7.0, -0.4, 7.0};
  step.mean(G, h.memptr(), 2.0, b.memptr());
  arma::uvec const drawn = {1, 3};
  arma::vec const left = data.y - 0.9 * data.X.col(0) + 0.4 * data.X.col(2);
  arma::mat const X = data.X.cols(drawn);
  const posterior expected(X.t() * X, X.t() * left, 2.0,
                           coefficient_prior::of_each({4.0, 25.0}, {1.0, -2.0}));
  EXPECT_LT(arma::abs(b.elem(drawn) - expected.mean).max(), 1e-10);
  EXPECT_EQ(b[0], 0.9);
  EXPECT_EQ(b[2], -0.4);
}

TEST(Coefficients, RelativeToABaseAreTheSameDraw) {
  const regression data(86);
  arma::mat const G = data.G(unweighted);
  arma::vec const base = {1.3, -0.2, 0.6, 0.1}, h = data.h(unweighted);
  arma::vec const relative = data.X.t() * (data.y - data.X * base);
  for (const coefficient_prior& prior : {coefficient_prior(), coefficient_prior::ridge(0.3), mixed}) {
    coefficient_step step({0, 1, 2, 3}, {}, prior);
    step.factor(G, 40);
    arma::vec b(4, arma::fill::zeros), shift(4, arma::fill::zeros);
    Random rng(5, 1U), same(5, 1U);
    step.draw(G, h.memptr(), 0.8, rng, b.memptr());
    step.draw(G, relative.memptr(), 0.8, same, shift.memptr(), base.memptr());
    EXPECT_LT(arma::abs(b - base - shift).max(), 1e-10);
  }
}

TEST(Coefficients, PriorsThatTellNothingAreTheFlatOne) {
  const regression data(87);
  arma::mat const G = data.G(unweighted);
  arma::vec const h = data.h(unweighted), none(4, arma::fill::zeros);
  const auto draw = [&](const coefficient_prior& prior) {
    coefficient_step step({0, 1, 2, 3}, {}, prior);
    step.factor(G, 40);
    Random rng(5, 1U);
    arma::vec b(4);
    step.draw(G, h.memptr(), 0.8, rng, b.memptr());
    return b;
  };
  EXPECT_TRUE(arma::all(draw({}) == draw(coefficient_prior::ridge(INFINITY))));
  EXPECT_TRUE(arma::all(draw({}) == draw(coefficient_prior::of_each(none, none))));
}

TEST(Coefficients, FollowANewGUnderAPrior) {
  const regression data(88);
  arma::vec const h = data.h(unweighted);
  coefficient_step step({0, 1, 2, 3}, {}, mixed);
  arma::vec b(4);
  for (const arma::vec& w : {unweighted, data.weight}) {
    arma::mat const G = data.G(w);
    step.factor(G, 40);
    step.mean(G, h.memptr(), 1.0, b.memptr());
    EXPECT_LT(arma::abs(b - posterior(G, h, 1.0, mixed).mean).max(), 1e-10);
  }
}

TEST(Coefficients, DependentColumnsAreSingularUnlessAPriorTellsThemApart) {
  regression data(89);
  data.X.col(3) = data.X.col(1) - 2.0 * data.X.col(2);
  arma::mat const G = data.G(unweighted);
  arma::vec const h = data.h(unweighted);
  const auto draw = [&](const coefficient_prior& prior) {
    coefficient_step step({0, 1, 2, 3}, {}, prior);
    step.factor(G, 40);
    Random rng(5, 1U);
    arma::vec b(4);
    step.draw(G, h.memptr(), 0.8, rng, b.memptr());
    EXPECT_TRUE(b.is_finite());
  };
  EXPECT_THROW(draw({}), numeric_error);
  EXPECT_THROW(draw(coefficient_prior::of_each({1.0, 0.0, 0.0, 0.0}, {0.0, 0.0, 0.0, 0.0})), numeric_error);
  for (arma::uword told : {1u, 2u, 3u}) {
    arma::vec precision(4, arma::fill::zeros);
    precision[told] = 1.0;
    EXPECT_NO_THROW(draw(coefficient_prior::of_each(precision, arma::vec(4, arma::fill::zeros)))) << told;
  }
  EXPECT_NO_THROW(draw(coefficient_prior::ridge(1.0)));
}

TEST(Coefficients, RefuseAPriorOfOtherCoefficients) {
  EXPECT_THROW(coefficient_step({0, 1}, {2}, mixed), error_debug);
}

}  // namespace
}  // namespace tovik::sem::scan
