// The families of solved distributions, and the draws from them.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "fault_message.hpp"
#include "sample_tests.hpp"
#include "sem/autosolver/auto_constraint.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/outcomes/parameter.hpp"
#include "sem/scan_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::solver_families_test {
namespace {

using sem::autosolver::inv_gamma;
using sem::autosolver::normal_1D;
using sem::autosolver::solver;
using values = sem::autosolver::normal;

const arma::mat no_data;

TEST(NormalOfUnits, RefusesAMeanAndAVarianceOfDifferentLengths) {
  EXPECT_EQ(message([] {
              values({1.0, 2.0}, arma::vec{1.0});
            }),
            "Distribution Mean and Variance not same elements");
}

TEST(NormalOfUnits, AFactorIsMultipliedInByPrecision) {
  values x({1.0, -2.0}, arma::vec{4.0, 0.5});
  const double q[] = {0.75, 2.0}, d[] = {3.0, 1.0};
  x.multiply(q, d, 2);
  for (int k = 0; k < 2; ++k) {
    const double v = k == 0 ? 4.0 : 0.5, m = k == 0 ? 1.0 : -2.0;
    EXPECT_DOUBLE_EQ(x.variance[k], 1.0 / (1.0 / v + q[k]));
    EXPECT_DOUBLE_EQ(x.mean[k], (m / v + d[k]) / (1.0 / v + q[k]));
  }
}

TEST(NormalOfUnits, AnEmptyOneTakesTheFactorAsItIs) {
  values x;
  EXPECT_TRUE(x.is_empty());
  const double q[] = {4.0, 0.0}, d[] = {2.0, 0.0};
  x.multiply(q, d, 2);
  EXPECT_EQ(x.mean[0], 0.5);
  EXPECT_EQ(x.variance[0], 0.25);
  EXPECT_TRUE(std::isinf(x.variance[1]));
  const double more[] = {0.0, 2.0};
  x.multiply(more, more, 2);  // the second unit gets its first information
  EXPECT_EQ(x.variance[1], 0.5);
  EXPECT_EQ(x.mean[1], 1.0);
  EXPECT_EQ(x.variance[0], 0.25);
}

TEST(NormalOfUnits, RefusesAFactorOfOtherUnits) {
  values x({1.0}, 1.0);
  const double q[] = {1.0, 1.0};
  EXPECT_THROW(x.multiply(q, q, 2), error_debug);
}

TEST(NormalOfUnits, IsDrawnWithOneNormalEachInOrder) {
  const values x({1.0, 5.0, -3.0}, arma::vec{4.0, 9.0, 0.25});
  Random a(3, 1), b(3, 1), c(3, 1);
  const arma::vec z = c.randn(3, 1), all = x.draw(&a);
  for (arma::uword k = 0; k < 3; ++k) EXPECT_DOUBLE_EQ(all[k], x.mean[k] + std::sqrt(x.variance[k]) * z[k]);
  const arma::vec some = x.draw({2, 0}, &b);
  EXPECT_DOUBLE_EQ(some[0], -3.0 + 0.5 * z[0]);
  EXPECT_DOUBLE_EQ(some[1], 1.0 + 2.0 * z[1]);
}

TEST(NormalOfAParameter, ProductsAreWeightedByPrecision) {
  const normal_1D x = normal_1D(1.0, 2.0) * normal_1D(4.0, 1.0);
  EXPECT_DOUBLE_EQ(x.variance, 2.0 / 3.0);
  EXPECT_DOUBLE_EQ(x.mean, (1.0 * 1.0 + 4.0 * 2.0) / 3.0);
  const normal_1D right = normal_1D() * normal_1D(4.0, 1.0), left = normal_1D(4.0, 1.0) * normal_1D();
  for (const normal_1D& one : {right, left}) {
    EXPECT_EQ(one.mean, 4.0);
    EXPECT_EQ(one.variance, 1.0);
  }
  const normal_1D none = normal_1D() * normal_1D(0.0, INFINITY);
  EXPECT_TRUE(std::isnan(none.mean) && std::isnan(none.variance));
}

TEST(NormalOfAParameter, BoundsAreCodedAndStayThroughAllProducts) {
  EXPECT_EQ(normal_1D::between(-INFINITY, INFINITY).truncation, 0);
  EXPECT_EQ(normal_1D::between(0.0, INFINITY).truncation, 1);
  EXPECT_EQ(normal_1D::between(-INFINITY, 0.0).truncation, 2);
  EXPECT_EQ(normal_1D::between(0.0, 1.0).truncation, 3);
  normal_1D x = normal_1D(2.0, 1.0) * normal_1D::between(0.0, 1.0);
  x.multiply(3.0, 1.0);
  x = x * normal_1D(0.0, 4.0);
  ASSERT_EQ(x.truncation, 3);
  EXPECT_EQ(x.bounds->lower, 0.0);
  EXPECT_EQ(x.bounds->upper, 1.0);
  EXPECT_EQ(message([] { (void)(normal_1D::between(0.0, 1.0) * normal_1D::between(0.0, INFINITY)); }),
            "Cannot truncate an already truncated distribution.");
}

TEST(NormalOfAParameter, AFactorWithoutInformationChangesNothing) {
  normal_1D x = normal_1D::between(0.0, 1.0);
  x.multiply(0.0, 0.0);
  EXPECT_FALSE(x.is_informed());
  x.multiply(4.0, 2.0);
  EXPECT_EQ(x.mean, 0.5);
  EXPECT_EQ(x.variance, 0.25);
  EXPECT_EQ(x.truncation, 3);
}

/// Phi, for distribution functions of truncated normals.
double phi(double x) {
  return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

TEST(NormalOfAParameter, DrawsHaveItsDistributionWithinTheBounds) {
  Random rng(5, 1);
  const struct {
    double lower, upper, mean, variance;
  } cases[] = {{-INFINITY, INFINITY, 0.4, 2.0},
               {0.0, INFINITY, -0.5, 1.0},
               {-INFINITY, 1.0, 3.0, 0.5},
               {0.0, 1.0, 0.2, 0.09},
               {-1000.0, 1000.0, 2.0, 0.0025}};
  for (const auto& c : cases) {
    normal_1D x = normal_1D::between(c.lower, c.upper) * normal_1D(c.mean, c.variance);
    const double sd = std::sqrt(c.variance);
    const double from = phi((c.lower - c.mean) / sd), to = phi((c.upper - c.mean) / sd);
    const auto drawn = sample(20000, [&] { return x.draw(rng); });
    EXPECT_LT(kolmogorov(drawn, [&](double v) { return (phi((v - c.mean) / sd) - from) / (to - from); }), 2.5)
        << c.lower << " to " << c.upper;
  }
}

TEST(InverseGamma, TheFirstLinkIsThePriorWhateverCameBefore) {
  const inv_gamma x = inv_gamma::_prior(no_data, {7.0, 8.0}, 1.0, 0.5);
  EXPECT_EQ(x.shape, 1.0);
  EXPECT_EQ(x.scale, 0.5);
}

TEST(InverseGamma, DrawsAreReciprocalsOfGammas) {
  Random a(3, 1), b(3, 1);
  EXPECT_EQ(inv_gamma(3.0, 2.0).draw(a), 1.0 / b.rgamma(3.0, 0.5));
  EXPECT_THROW(inv_gamma(0.0, 1.0).draw(a), numeric_error);
  EXPECT_THROW(inv_gamma(-1.0, 1.0).draw(a), numeric_error);
  EXPECT_THROW(inv_gamma(1.0, 0.0).draw(a), numeric_error);
}

TEST(Solver, FoldsItsContributionsInOrder) {
  solver<inv_gamma> s;
  s.functions.push_back(
      [](const arma::mat& data, const inv_gamma& p) { return inv_gamma::_prior(data, p, 1.0, 2.0); });
  s.functions.push_back(
      [](const arma::mat&, const inv_gamma& p) { return inv_gamma(2.0 * p.shape + 1.0, p.scale + 5.0); });
  EXPECT_EQ(s.distribution(no_data).shape, 3.0);
  EXPECT_EQ(s.distribution(no_data).scale, 7.0);
}

TEST(Solver, AnEmptyContributionIsAFault) {
  solver<normal_1D> s;
  s.functions.emplace_back();
  EXPECT_THROW(s.distribution(no_data), error_debug);
}

TEST(Solver, EachFoldBeginsWithoutInformation) {
  solver<values> s;
  s.functions.push_back([](const arma::mat&, values p) {
    const double q[] = {2.0}, d[] = {3.0};
    p.multiply(q, d, 1);
    return p;
  });
  for (int t = 0; t < 3; ++t) {
    EXPECT_EQ(s.fold(no_data).mean[0], 1.5);
    EXPECT_EQ(s.distribution(no_data).variance[0], 0.5);
  }
}

TEST(SolvedConstraint, WritesItsDrawToEveryPlace) {
  LoneEstimator estimator(4);
  double a = 0.0, b = 0.0;
  sem::estimator::parameterT<double> places;
  places.links = {&a, &b};
  auto s = std::make_shared<solver<normal_1D>>();
  s->rng = &estimator.random;
  s->functions.push_back([](const arma::mat&, const normal_1D&) { return normal_1D(5.0, 1e-12); });
  sem::estimator::auto_constraint<normal_1D> x(sem::estimator::constraint(&estimator.random, places), s);
  int refreshed = 0;
  x.refresh.emplace_back([&] { ++refreshed; });
  x.draw(no_data);
  EXPECT_NEAR(x.value, 5.0, 1e-4);
  EXPECT_EQ(a, x.value);
  EXPECT_EQ(b, x.value);
  EXPECT_EQ(refreshed, 1);
  EXPECT_EQ(x.tune.total, 0U);
}

TEST(SolvedConstraint, KeepsItsValueWithoutInformation) {
  LoneEstimator estimator(4);
  double a = 3.0;
  sem::estimator::parameterT<double> places;
  places.links = {&a};
  places.value = 3.0;
  auto s = std::make_shared<solver<normal_1D>>();
  s->rng = &estimator.random;
  s->functions.push_back([](const arma::mat&, const normal_1D&) { return normal_1D::between(0.0, 9.0); });
  sem::estimator::auto_constraint<normal_1D> x(sem::estimator::constraint(&estimator.random, places), s);
  x.draw(no_data);
  EXPECT_EQ(x.value, 3.0);
  EXPECT_EQ(a, 3.0);
}

TEST(SolvedConstraint, IsAConstraintThatCanBeHeldAsOne) {
  LoneEstimator estimator(4);
  double v = 1.0;
  sem::estimator::parameterT<double> places;
  places.links = {&v};
  auto s = std::make_shared<solver<inv_gamma>>();
  s->rng = &estimator.random;
  s->functions.push_back([](const arma::mat&, const inv_gamma&) { return inv_gamma(1e8, 2e8); });
  std::shared_ptr<sem::estimator::constraint> x =
      std::make_shared<sem::estimator::auto_constraint<inv_gamma>>(
          sem::estimator::constraint(&estimator.random, places), s);
  x->draw(no_data);
  EXPECT_NEAR(v, 2.0, 1e-2);
}

TEST(Prior, OfAParameterIsALinkOfItsSolver) {
  LoneEstimator estimator(4);
  using sem::distribution;
  const auto prior = [&](distribution family, double a, double b) {
    return std::make_unique<sem::Parameter>(&estimator, sem::estimator::cluster(), family, a, b);
  };
  const normal_1D x(1.0, 2.0);
  const normal_1D product = prior(distribution::normal, 4.0, 1.0)->dist_param(no_data, x);
  EXPECT_DOUBLE_EQ(product.variance, 2.0 / 3.0);
  EXPECT_DOUBLE_EQ(product.mean, 3.0);
  const normal_1D bounded = prior(distribution::uniform, 0.0, 1.0)->dist_param(no_data, x);
  EXPECT_EQ(bounded.mean, 1.0);
  EXPECT_EQ(bounded.truncation, 3);
  EXPECT_EQ(prior(distribution::truncate, 0.0, INFINITY)->dist_param(no_data, x).truncation, 1);
  EXPECT_THROW(prior(distribution::beta, 1.0, 1.0)->dist_param(no_data, x), error_debug);
  const inv_gamma v = prior(distribution::invgamma, 2.0, 3.0)->dist_variance(no_data, {1.0, 0.5});
  EXPECT_EQ(v.shape, 3.0);
  EXPECT_EQ(v.scale, 3.5);
  EXPECT_THROW(prior(distribution::normal, 2.0, 3.0)->dist_variance(no_data, v), error_debug);
}

}  // namespace
}  // namespace tovik::tests::solver_families_test
