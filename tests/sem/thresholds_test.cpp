// Thresholds of ordered categories, the scores integrated out, against posteriors found by integration.

#include "sem/scan/thresholds.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/scan/category_sets.hpp"
#include "sem/scan/normal_tail.hpp"
#include "support/error.hpp"
#include "threshold_posterior.hpp"

namespace tovik::tests::thresholds_test {
namespace {

using sem::scan::thresholds;

TEST(Thresholds, StartAtNormalQuantilesOfCumulativeShares) {
  const thresholds t(units{30, 20, 40, 10});
  ASSERT_EQ(t.tau.n_elem, 3u);
  EXPECT_EQ(t.tau[0], 0.0);
  EXPECT_NEAR(t.tau[1], iPhi(0.5) - iPhi(0.3), 1e-12);
  EXPECT_NEAR(t.tau[2], iPhi(0.9) - iPhi(0.3), 1e-12);
  EXPECT_EQ(thresholds(units{4, 5}).tau[0], 0.0);
  const thresholds gap(units{0, 5, 0, 5, 0});
  for (arma::uword k = 1; k < 4; ++k) EXPECT_GT(gap.tau[k], gap.tau[k - 1]);
  EXPECT_THROW(thresholds(units{4}), error_debug);
}

TEST(Thresholds, WeightsCountAsRepeatedUnits) {
  Random rng(8, 1);
  const arma::vec mean = rng.randn(60, 1), sd = 0.5 + arma::abs(rng.randn(60, 1));
  arma::vec weights(60);
  std::vector<arma::uvec> plain(4), repeated(4);
  std::vector<std::vector<arma::uword>> lists(4), often(4);
  for (arma::uword i = 0; i < 60; ++i) {
    weights(i) = static_cast<double>(1 + i % 3);
    lists[i % 4].push_back(i);
    for (arma::uword k = 0; k <= i % 3; ++k) often[i % 4].push_back(i);
  }
  for (std::size_t k = 0; k < 4; ++k) {
    plain[k] = arma::uvec(lists[k]);
    repeated[k] = arma::uvec(often[k]);
  }
  thresholds a(units{15, 15, 15, 15}), b = a;
  a.weights = weights.memptr();
  Random first(9, 1), second(9, 1);
  int moved = 0;
  for (int t = 0; t < 200; ++t) {
    const bool leapt = a.leap(plain, mean.memptr(), first, sd.memptr());
    EXPECT_EQ(b.leap(repeated, mean.memptr(), second, sd.memptr()), leapt);
    const bool walked = a.move(plain, mean.memptr(), 60, first, sd.memptr(), a.newton.log_likelihood);
    EXPECT_EQ(b.move(repeated, mean.memptr(), 60, second, sd.memptr()), walked);
    moved += leapt || walked ? 1 : 0;
    ASSERT_TRUE(arma::approx_equal(a.tau, b.tau, "absdiff", 1e-9)) << "step " << t;
  }
  EXPECT_GT(moved, 100);
}

TEST(Thresholds, CutScoresIntoCategories) {
  thresholds t(units{1, 1, 1});
  t.tau = {0.0, 1.0};
  EXPECT_EQ(t.categorize(-0.1), 0u);
  EXPECT_EQ(t.categorize(0.0), 0u);
  EXPECT_EQ(t.categorize(0.5), 1u);
  EXPECT_EQ(t.categorize(1.0), 1u);
  EXPECT_EQ(t.categorize(1.5), 2u);
  EXPECT_THROW(t.categorize(NAN), error_debug);
}

TEST(Thresholds, IntervalsKeepTheirDigitsInTheTails) {
  EXPECT_NEAR(sem::scan::log_interval(-1.0, 1.0), std::log(phi(1.0) - phi(-1.0)), 1e-14);
  // Phi(-10) = 7.619853024160526e-24, by its continued fraction.
  EXPECT_NEAR(sem::scan::log_interval(10.0, INFINITY), std::log(7.619853024160526e-24), 1e-10);
  EXPECT_DOUBLE_EQ(sem::scan::log_interval(9.0, 10.0), sem::scan::log_interval(-10.0, -9.0));
  EXPECT_EQ(sem::scan::log_interval(1.0, 1.0), -INFINITY);
}

TEST(Thresholds, TailsFromOneExponentialAreThoseOfTheErrorFunction) {
  for (double z = 0.0; z < 12.0; z += 0.01) {
    const sem::scan::normal_tail tail(z);
    const double exact = 0.5 * std::erfc(z / std::sqrt(2.0));
    EXPECT_NEAR(tail.mass, exact, 3e-13 * exact) << z;
    EXPECT_DOUBLE_EQ(tail.kernel, std::exp(-0.5 * z * z));
  }
}

TEST(Thresholds, ProposalsFromTheNormalApproximationAreNearlyAllAcceptedWithManyUnits) {
  Random rng(10, 1U);
  thresholds t(units{250, 250, 250, 250});
  units categories(1000);
  for (arma::uword i = 0; i < 1000; ++i) categories[i] = i % 4;
  const auto sets = sem::scan::category_sets(categories, 4, {});
  arma::vec const mean(1000, arma::fill::value(0.6745));
  for (int scan = 0; scan < 200; ++scan) t.leap(sets.observed(), mean.memptr(), rng);
  EXPECT_EQ(t.newton.total, 200u);
  EXPECT_GT(t.newton.accepted, 170u);
}

TEST(Thresholds, TruncatedDrawsStayInsideAndFollowTheirNormal) {
  Random rng(5, 1U);
  arma::vec z(20000, arma::fill::value(0.4));
  sem::scan::drawMid(z, -0.3, 0.9, rng);
  const double a = phi(-0.7), b = phi(0.5);
  EXPECT_LT(kolmogorov({z.begin(), z.end()}, [&](double v) { return (phi(v - 0.4) - a) / (b - a); }), 2.5);
  z.fill(0.4);
  sem::scan::drawTail(z, 0.0, true, rng);
  EXPECT_LT(kolmogorov({z.begin(), z.end()}, [&](double v) { return phi(v - 0.4) / phi(-0.4); }), 2.5);
  z.fill(0.4);
  sem::scan::drawTail(z, 1.0, false, rng);
  EXPECT_LT(kolmogorov({z.begin(), z.end()},
                       [&](double v) { return (phi(v - 0.4) - phi(0.6)) / (1.0 - phi(0.6)); }),
            2.5);
}

std::vector<units> members_of(const units& categories, arma::uword n_categories) {
  std::vector<units> out;
  for (arma::uword k = 0; k < n_categories; ++k) out.push_back(arma::find(categories == k));
  return out;
}

TEST(Thresholds, TwoThresholdsHaveTheirPosterior) {
  Random rng(6, 1U);
  arma::vec const mean = 0.5 + 0.6 * arma::vec(rng.randn(14, 1));
  thresholds t(units{4, 6, 4});
  const auto sets = members_of(categories_of_14, 3);
  const auto sample = chain(
      20000, 25, [&] { t.move(sets, mean.memptr(), 14, rng); }, [&] { return t.tau[1]; });
  EXPECT_LT(kolmogorov(sample, threshold_posterior(categories_of_14, mean, {}, unweighted)), 2.5);
}

TEST(Thresholds, OfScoresWithStandardDeviationsHaveTheirPosterior) {
  Random rng(9, 1U);
  arma::vec const mean = 0.5 + 0.6 * arma::vec(rng.randn(14, 1));
  arma::vec const sd = arma::linspace(0.4, 2.5, 14);
  thresholds t(units{4, 6, 4});
  const auto sets = members_of(categories_of_14, 3);
  const auto sample = chain(
      20000, 25, [&] { t.move(sets, mean.memptr(), 14, rng, sd.memptr()); }, [&] { return t.tau[1]; });
  // The likelihood of all units stands in the weight.
  const auto likelihood = [&](const arma::vec& tau) {
    double product = 1.0;
    for (arma::uword i = 0; i < 14; ++i) {
      arma::uword const k = categories_of_14[i];
      double const lower = k == 0 ? 0.0 : phi((tau[k - 1] - mean[i]) / sd[i]);
      product *= (k == 2 ? 1.0 : phi((tau[k] - mean[i]) / sd[i])) - lower;
    }
    return product;
  };
  EXPECT_LT(
      kolmogorov(sample, threshold_posterior(categories_of_14, mean, std::vector<char>(14, 1), likelihood)),
      2.5);
}

TEST(Thresholds, ScoresFollowNormalsWithTheirStandardDeviationsWithinCategories) {
  thresholds t(units{1, 1, 1});
  t.tau = {0.0, 1.0};
  const std::vector<units> sets = {{0}, {1}, {2}};
  const double mean[] = {0.3, -0.2, 0.4}, sd[] = {2.0, 0.5, 3.0};
  Random rng(10, 1U);
  std::vector<double> sample[3];
  for (int i = 0; i < 20000; ++i) {
    double scores[3];
    t.draw(sets, mean, scores, rng, sd);
    for (int k = 0; k < 3; ++k) sample[k].push_back(scores[k]);
  }
  const double below[] = {0.0, phi(0.4), phi(0.2)}, above[] = {phi(-0.15), phi(2.4), 1.0};
  for (int k = 0; k < 3; ++k) {
    const auto cdf = [&](double x) {
      return (phi((x - mean[k]) / sd[k]) - below[k]) / (above[k] - below[k]);
    };
    EXPECT_LT(kolmogorov(sample[k], cdf), 2.5) << k;
  }
}

TEST(Thresholds, StandardDeviationsOfOneAreTheDefault) {
  arma::vec const mean = arma::linspace(-0.5, 1.5, 14), ones(14, arma::fill::ones);
  const auto sets = members_of(categories_of_14, 3);
  thresholds given(units{4, 6, 4}), left(units{4, 6, 4});
  Random rng(11, 1U), same(11, 1U);
  arma::vec a(14), b(14);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(given.move(sets, mean.memptr(), 14, rng, ones.memptr()),
              left.move(sets, mean.memptr(), 14, same));
    given.draw(sets, mean.memptr(), a.memptr(), rng, ones.memptr());
    left.draw(sets, mean.memptr(), b.memptr(), same);
    EXPECT_EQ(given.tau[1], left.tau[1]);
    EXPECT_TRUE(arma::all(a == b));
  }
}

TEST(Thresholds, ThreeThresholdsHaveTheirJointPosterior) {
  // Few units and a small category: proposals are wide against the gaps, and thresholds pass each other.
  Random rng(7, 1U);
  const units categories = {0, 3, 1, 2, 0, 1, 3, 3, 1, 0};
  arma::vec const mean = 0.3 + 0.5 * arma::vec(rng.randn(10, 1));
  const double step = 0.02;
  arma::uword const n = 350;
  arma::mat density(n, n, arma::fill::zeros);
  for (arma::uword a = 0; a < n; ++a)
    for (arma::uword b = a; b < n; ++b) {
      const double first = (static_cast<double>(a) + 0.5) * step;
      // The diagonal cells hold half of their mass, on average at a third of the distance.
      const double second = a == b ? first + step / 3.0 : (static_cast<double>(b) + 0.5) * step;
      density(a, b) = std::exp(log_likelihood({0.0, first, second}, categories, mean)) * (a == b ? 0.5 : 1.0);
    }
  thresholds t(units{3, 3, 1, 3});
  t.tuning.value = 12.0;
  const auto sets = members_of(categories, 4);
  std::vector<double> second, gap;
  const auto first = chain(
      8000, 80, [&] { t.move(sets, mean.memptr(), 10, rng); },
      [&] {
        EXPECT_TRUE(0.0 < t.tau[1] && t.tau[1] < t.tau[2]);
        second.push_back(t.tau[2]);
        return t.tau[1];
      });
  EXPECT_LT(kolmogorov(first, GridCdf(0.0, step, arma::sum(density, 1))), 2.5);
  EXPECT_LT(kolmogorov(second, GridCdf(0.0, step, arma::sum(density, 0).t())), 2.5);
}

TEST(Thresholds, OneThresholdDoesNotMove) {
  Random rng(8, 1U);
  thresholds t(units{3, 3});
  const double mean[] = {0, 0, 0, 0, 0, 0};
  EXPECT_FALSE(t.move({{0, 1, 2}, {3, 4, 5}}, mean, 6, rng));
  EXPECT_EQ(t.tuning.total, 0u);
  t.tuning.total = 10;
  t.adapt();
  EXPECT_EQ(t.tuning.value, 5.8);
}

TEST(Thresholds, ProposalsAdaptToTheirTarget) {
  thresholds t(units{3, 3, 3});
  EXPECT_EQ(t.tuning.upper, 0.4);
  EXPECT_EQ(t.tuning.lower, 0.3);
  EXPECT_EQ(t.tuning.target, 0.35);
  t.tuning.total = 100;
  t.tuning.accepted = 61;
  t.adapt();
  EXPECT_NEAR(t.tuning.value, 5.8 * (2.0 - 0.39 / 0.65), 1e-12);
  EXPECT_EQ(t.tuning.total, 0u);
}

}  // namespace
}  // namespace tovik::tests::thresholds_test
