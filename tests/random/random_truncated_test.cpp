#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "random/densities.hpp"
#include "random/random.hpp"
#include "sample_tests.hpp"

namespace tovik::random_truncated_test {
namespace {

using tests::kolmogorov;
using tests::sample;
using tests::Setting;

constexpr double inf = INFINITY;

/// log of the standard normal mass above x: by erfc, and by the asymptotic series where erfc underflows.
double log_upper(double x) {
  if (x < 20) return std::log(std::erfc(x / M_SQRT2) / 2);
  const double w = 1 / (x * x);
  return -x * x / 2 - std::log(x) - 0.5 * std::log(2 * M_PI) + std::log1p(-w * (1 - 3 * w * (1 - 5 * w)));
}

/// P(Z <= x | a <= Z <= b) for standard normal Z, computed in the nearer tail.
double cdf_between(double x, double a, double b) {
  if (a + b < 0) return 1 - cdf_between(-x, -b, -a);
  const double above_a = log_upper(a);
  const double rest = b == inf ? 0.0 : std::exp(log_upper(b) - above_a);
  return (1 - std::exp(log_upper(x) - above_a)) / (1 - rest);
}

TEST(OneSided, HasItsDistribution) {
  // From far tail to a bound that hardly cuts, and past the change of method at -10.
  for (double z : {40.0, 8.0, 2.0, 0.0, -1.5, -9.5, -10.5, -1e4, -inf}) {
    Random random(31);
    const double mean = 3, sd = 2;
    const double bound = mean + z * sd;
    const auto draws = sample(30000, [&] { return random.trNorm(mean, bound, sd, false); });
    EXPECT_GE(*std::min_element(draws.begin(), draws.end()), bound - 1e-13 * std::fabs(bound));
    EXPECT_LT(kolmogorov(draws, [&](double x) { return cdf_between((x - mean) / sd, z, inf); }), 2.5) << z;
  }
}

TEST(OneSided, UpperIsTheMirrorImage) {
  for (double z : {3.0, 0.0, -4.0, -50.0}) {
    Random a(32), b(32);
    for (int i = 0; i < 500; ++i) ASSERT_EQ(a.trNorm(1, 1 + z, 1, false), -b.trNorm(-1, -1 - z, 1, true));
  }
}

TEST(OneSided, FarTailsAcceptQuickly) {
  const Setting<std::uint32_t> limit(Random::trunc_norm_max_niter, 30U);
  Random random(33);
  for (int i = 0; i < 20000; ++i) {
    const double x = random.trNorm(0, 40, 1, false);
    ASSERT_GE(x, 40.0);
    ASSERT_NE(x, 40.01);
  }
}

TEST(OneSided, InactiveBoundsNeverEscape) {
  const Setting<std::uint32_t> limit(Random::trunc_norm_max_niter, 1U);
  Random random(34), plain(34);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(random.trNorm(5, -1e4, 1, false), 5 + plain.rnorm());
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(random.trNorm(5, 1e4, 1, true), -(-5 + plain.rnorm()));
}

/// The loop as the literature writes it, one uniform for the proposal and one for its acceptance.
double plain_one_sided(Random& random, double mean, double bound, double sd) {
  const double z = (bound - mean) / sd;
  const double lambda = (z + std::sqrt(z * z + 4)) / 2;
  for (;;) {
    const double c = z - std::log(1 - random.runif()) / lambda;
    const double accept = std::exp(-(lambda - c) * (lambda - c) / 2);
    if (random.runif() < accept) return mean + sd * c;
  }
}

double plain_interval(Random& random, double mean, double lower, double upper, double sd) {
  const double a = (lower - mean) / sd;
  const double b = (upper - mean) / sd;
  for (;;) {
    const double z = a + random.runif() * (b - a);
    const double accept = b < 0   ? std::exp((b * b - z * z) / 2)
                          : a > 0 ? std::exp((a * a - z * z) / 2)
                                  : std::exp(-z * z / 2);
    if (random.runif() < accept) return mean + sd * z;
  }
}

TEST(OneSided, ConsumesTwoUniformsForEachProposal) {
  for (double bound : {-6.0, -1.0, 0.5, 6.0}) {
    Random a(35), b(35);
    for (int i = 0; i < 500; ++i)
      ASSERT_DOUBLE_EQ(a.trNorm(0.5, bound, 0.7, false), plain_one_sided(b, 0.5, bound, 0.7));
    EXPECT_TRUE(a.engine == b.engine);
  }
}

TEST(Interval, ConsumesTwoUniformsForEachProposal) {
  const double bounds[][2] = {{-1, 1}, {0, 6}, {2, 3}, {-4, -3}, {-10, 9}};
  for (const auto& bound : bounds) {
    Random a(36), b(36);
    for (int i = 0; i < 500; ++i)
      ASSERT_DOUBLE_EQ(a.trNorm(0.2, bound[0], bound[1], 1.1),
                       plain_interval(b, 0.2, bound[0], bound[1], 1.1));
    EXPECT_TRUE(a.engine == b.engine);
  }
}

TEST(Interval, HasItsDistribution) {
  const double bounds[][2] = {{-1, 1},    {0, 3},       {2, 2.5},    {-7, -6},    {-9, 9},     {-1, 25},
                              {-25, 1},   {-1e4, 1e4},  {5, 60},     {-60, -5},   {30, 31},    {-31, -30},
                              {0.1, 100}, {-100, -0.1}, {-inf, inf}, {-inf, 0.5}, {-0.5, inf}, {4, inf},
                              {-inf, -4}, {0, inf},     {-inf, 0}};
  for (const auto& bound : bounds) {
    Random random(37);
    const double a = bound[0], b = bound[1];
    const double mean = -2, sd = 0.5;
    const auto draws = sample(20000, [&] { return random.trNorm(mean, mean + sd * a, mean + sd * b, sd); });
    const auto [least, most] = std::minmax_element(draws.begin(), draws.end());
    EXPECT_GE(*least, mean + sd * a - 1e-12);
    EXPECT_LE(*most, mean + sd * b + 1e-12);
    EXPECT_LT(kolmogorov(draws, [&](double x) { return cdf_between((x - mean) / sd, a, b); }), 2.5)
        << a << " " << b;
  }
}

TEST(Interval, WideOnesHardlyReject) {
  const Setting<std::uint32_t> limit(Random::trunc_norm_max_niter, 1U);
  Random random(38), plain(38);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(random.trNorm(1, -1e4, 1e4, 1.0), 1 + plain.rnorm());
}

TEST(Interval, EqualBoundsAreAcceptedAtOnce) {
  Random random(39), plain(39);
  EXPECT_DOUBLE_EQ(random.trNorm(0.3, 1.5, 1.5, 2.0), 1.5);
  EXPECT_DOUBLE_EQ(random.trNorm(0.3, -1.5, -1.5, 2.0), -1.5);
  EXPECT_DOUBLE_EQ(random.trNorm(0, 0, 0, 1.0), 0);
  plain.runif(6);
  EXPECT_TRUE(random.engine == plain.engine);
}

TEST(Escape, IsTestedBeforeTheLastProposalCouldBeAccepted) {
  const Setting<std::uint32_t> limit(Random::trunc_norm_max_niter, 0U);
  Random random(40), plain(40);
  EXPECT_EQ(random.trNorm(0, 1, 1, false), 1.01);
  EXPECT_EQ(random.trNorm(0, 1, 1, true), -(-1 + 0.01));
  EXPECT_EQ(random.trNorm(0, 1, 2, 1.0), 2) << "a mean below both bounds gets the upper one";
  EXPECT_EQ(random.trNorm(1.5, 1, 2, 1.0), 2);
  EXPECT_EQ(random.trNorm(3, 1, 2, 1.0), 1);
  EXPECT_EQ(random.trNorm(0, 5, 500, 1.0), 500);
  EXPECT_EQ(random.trNorm(0, -500, -5, 1.0), -500);
  plain.runif(14);
  EXPECT_TRUE(random.engine == plain.engine);
}

TEST(Escape, OfTrNormTIsAnUntruncatedDrawWithUnitVariance) {
  const Setting<std::uint32_t> limit(Random::trunc_norm_max_niter, 0U);
  Random random(41), plain(41);
  double value = 2;
  random.trNormT(value, 3, 0.1, false);
  plain.runif(2);
  EXPECT_EQ(value, 2 + plain.rnorm());
  value = 2;
  random.trNormT(value, 1, 0.1, true);
  plain.runif(2);
  EXPECT_EQ(value, -(-2 + plain.rnorm()));
}

TEST(InPlaceForms, DrawWhatTheOthersReturn) {
  Random a(42), b(42);
  for (double bound : {-30.0, -1.0, 0.0, 2.0})
    for (bool upper : {false, true}) {
      double value = 0.5;
      a.trNormT(value, bound, 1.5, upper);
      EXPECT_EQ(value, b.trNorm(0.5, bound, 1.5, upper));
    }
  double value = 0.5;
  a.trNormM(value, 1, 2, 1.5);
  EXPECT_EQ(value, b.trNorm(0.5, 1, 2, 1.5));
}

TEST(NoVariance, GivesTheMeanClampedToTheBounds) {
  Random random(43), plain(43);
  for (double sd : {0.0, -1.0}) {
    EXPECT_EQ(random.trNorm(2, 1, sd, false), 2);
    EXPECT_EQ(random.trNorm(0, 1, sd, false), 1);
    EXPECT_EQ(random.trNorm(2, 1, sd, true), 1);
    EXPECT_EQ(random.trNorm(0, 1, sd, true), 0);
    EXPECT_EQ(random.trNorm(0, 1, 2, sd), 1);
    EXPECT_EQ(random.trNorm(1.5, 1, 2, sd), 1.5);
    EXPECT_EQ(random.trNorm(3, 1, 2, sd), 2);
    double value = 3;
    random.trNormM(value, 1, 2, sd);
    EXPECT_EQ(value, 2);
    random.trNormT(value, 5, sd, false);
    EXPECT_EQ(value, 5);
    random.trNormT(value, 4, sd, true);
    EXPECT_EQ(value, 4);
  }
  EXPECT_TRUE(random.engine == plain.engine);
}

TEST(NotANumber, EndsInTheEscapeInsteadOfLoopingForEver) {
  Random random(44);
  EXPECT_EQ(random.trNorm(NAN, 1, 1, false), 1.01);
  EXPECT_EQ(random.trNorm(0, 1, NAN, true), -(-1 + 0.01));
  EXPECT_EQ(random.trNorm(NAN, 1, 2, 1.0), 1);
  EXPECT_EQ(random.trNorm(0, 1, 2, double{NAN}), 2);
}

/// Distribution function of the inverse Gaussian with mean mu and shape 1.
double inverse_gaussian(double x, double mu) {
  const double root = 1 / std::sqrt(x);
  return phi(root * (x / mu - 1)) + std::exp(2 / mu) * 0.5 * std::erfc(root * (x / mu + 1) / M_SQRT2);
}

TEST(InverseGaussian, HasItsTruncatedDistributionOnBothBranches) {
  for (double mu : {0.05, 0.3, 0.64, 0.7, 2.0, 50.0}) {
    Random random(28);
    const double t = 0.64;
    const double all = inverse_gaussian(t, mu);
    EXPECT_LT(kolmogorov(sample(50000, [&] { return random.rtignorm(mu, t); }),
                         [&](double x) { return inverse_gaussian(x, mu) / all; }),
              2.5)
        << mu;
  }
}

TEST(InverseGaussian, IsNanWhenThePassesRunOut) {
  Random random(29);
  {
    const Setting<std::uint32_t> limit(Random::pg_max_niter, 0U);
    EXPECT_TRUE(std::isnan(random.rtignorm(0.1, 0.64)));
    EXPECT_TRUE(std::isnan(random.rtignorm(1.0, 0.64)));
  }
  const Setting<std::uint32_t> limit(Random::pg_max_niter, 1U);
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(std::isnan(random.rtignorm(1.0, 0.64)));
}

}  // namespace
}  // namespace tovik::random_truncated_test
