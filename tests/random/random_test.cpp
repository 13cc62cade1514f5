#include "random/random.hpp"

#include <gtest/gtest.h>

#include <array>
#include <boost/math/distributions/negative_binomial.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <concepts>
#include <random>

#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "support/error.hpp"

namespace tovik::random_test {
namespace {

using tests::kolmogorov;
using tests::sample;

static_assert(std::uniform_random_bit_generator<Pcg>);

Pcg::word word(std::uint64_t high, std::uint64_t low) {
  return (Pcg::word{high} << 64) | low;
}

struct known_stream {
  Pcg engine;
  std::uint64_t high, low;
  std::array<std::uint64_t, 4> outputs;
};

// Computed with integers of unlimited length by a separate program.
TEST(Engine, GivesKnownStates) {
  const known_stream table[] = {
      {Pcg(0),
       0x4871bec9994273f8,
       0xac1f8a1c3883459a,
       {0x1070196e695f8f1, 0x703ec840c59f4493, 0xe54954914b3a44fa, 0x96130ff204b9285e}},
      {Pcg(-1),
       0x2510d1c4797c1654,
       0x6899aab798b64f55,
       {0xe871dc267b3faa96, 0x1acea8566524c7ec, 0x5072f93d3c41ef10, 0xe5d848fd7fd79518}},
      {Pcg(90291),
       0x4b1e850f91b7caab,
       0xf5e51931c77257d9,
       {0x2a2aec252e3afce6, 0xccfb9cd97458f01a, 0x62ff92088d870ad6, 0x7f40fd2a1d53547}},
      {Pcg(0, 0),
       0x2360ed051fc65da4,
       0x4385df649fccf646,
       {0xd4feb4e5a4bcfe09, 0xe85a7fe071b026e6, 0x3a5b9037fe928c11, 0x7b044380d100f216}},
      {Pcg(90291, 0),
       0x260db34b183bb457,
       0x8d4b6e7a2ebc0885,
       {0x730ca20e4942af24, 0x7a485098ff021756, 0x712add4461c7aba6, 0x31af0154b59f449d}},
      {Pcg(90291, 1),
       0x6ccf8d5557c86fa0,
       0x14572d436e55f511,
       {0xf029651d1b2bcef1, 0x17bc14cd312a2da9, 0xab7b4b4458e82317, 0x789bfbf11c1fa87e}},
      {Pcg(0xFFFFFFFFU, 1),
       0x668837ae83129aad,
       0x26d8b50e3f99ec8d,
       {0x47b26d53a6d80a79, 0xd8f233dd04eea705, 0x58b2f5e64f1468a5, 0x7d0e2068aa3358bb}},
      {Pcg(0xFFFFFFFFU, 0xFFFFFFFFU),
       0x18913ee28b04e2e5,
       0x585b2407c0661375,
       {0x2f8faab94ce58057, 0xd0331e1abe0f74ce, 0x859410989bac3d6a, 0x790a0399fe4495b1}},
  };
  for (known_stream row : table) {
    EXPECT_TRUE(row.engine.state == word(row.high, row.low));
    for (std::uint64_t output : row.outputs) EXPECT_EQ(row.engine(), output);
  }
}

TEST(Engine, GivesKnownThousandthOutput) {
  Random random(90291U, 2U);
  for (int i = 0; i < 999; ++i) random.output();
  EXPECT_EQ(random.output(), 0x64e679153d5dcee3U);
}

TEST(Engine, StreamsAreNotCorrelated) {
  constexpr int n = 200000;
  constexpr int streams = 6;
  arma::Mat<double> u(n, streams, arma::fill::none);
  for (int s = 0; s < streams; ++s) {
    Random random(90291U, static_cast<std::uint32_t>(s));
    u.col(static_cast<arma::uword>(s)) = random.runif(n) - 0.5;
  }
  // 105 correlations, each beyond 5.5 / sqrt(n) with probability 4e-8.
  for (int s = 0; s < streams; ++s)
    for (int t = s + 1; t < streams; ++t)
      for (int lag = -3; lag <= 3; ++lag) {
        double product = 0;
        for (int i = 3; i < n - 3; ++i)
          product += u(static_cast<arma::uword>(i), static_cast<arma::uword>(s)) *
                     u(static_cast<arma::uword>(i + lag), static_cast<arma::uword>(t));
        EXPECT_LT(std::fabs(product * 12 / n), 5.5 / std::sqrt(n)) << s << " " << t << " " << lag;
      }
}

TEST(Random, IsAValueWhoseCopyContinuesTheStream) {
  Random random(1U, 2U);
  random.rnorm();
  Random copy = random;
  for (int i = 0; i < 5; ++i) EXPECT_EQ(random.rnorm(), copy.rnorm());
  EXPECT_TRUE(random.engine == copy.engine);
}

TEST(Uniform, CanonicalRoundsOnceAndStaysBelowOne) {
  const std::uint64_t words[] = {0,
                                 1,
                                 0x7FFFFFFFFFFFFFFF,
                                 0x8000000000000000,
                                 0x8000000000000400,
                                 0x8000000000000401,
                                 0x80000000000003FF,
                                 0x8000000000000C00,
                                 0xFFFFFFFFFFFFFBFF};
  for (std::uint64_t x : words) EXPECT_EQ(distribution::canonical(x), static_cast<double>(x) * 0x1p-64);
  EXPECT_EQ(distribution::canonical(0xFFFFFFFFFFFFFFFF), 0.9999999999999999);
  EXPECT_EQ(distribution::canonical(0xFFFFFFFFFFFFFC00), 0.9999999999999999);
  EXPECT_LT(0.9999999999999999, 1.0);
  EXPECT_EQ(std::nextafter(1.0, 0.0), 0.9999999999999999);
}

TEST(Uniform, ConsumesTheEngineAsTheStandardLibraryDoes) {
  Random random(7);
  Pcg engine(7);
  std::uniform_real_distribution<double> reference(0, 1);
  for (int i = 0; i < 200000; ++i) ASSERT_EQ(random.runif(), reference(engine));
  distribution::uniform interval(-2, 5);
  std::uniform_real_distribution<double> reference_interval(-2, 5);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(interval(random.engine), reference_interval(engine));
}

TEST(Uniform, VectorHasTheSameStream) {
  Random one(3), many(3);
  const arma::Col<double> u = many.runif(10);
  ASSERT_EQ(u.n_elem, 10U);
  for (double value : u) EXPECT_EQ(value, one.runif());
  EXPECT_EQ(one.runif(0).n_elem, 0U);
}

TEST(Uniform, IndexMatchesTheStandardLibrary) {
  for (std::uint64_t n : {1ULL, 2ULL, 3ULL, 10ULL, 1000003ULL, 0xC000000000000001ULL}) {
    Pcg a(5), b(5);
    std::uniform_int_distribution<std::uint64_t> reference(0, n - 1);
    for (int i = 0; i < 2000; ++i) ASSERT_EQ(distribution::index_below(n, a), reference(b)) << n;
  }
}

TEST(Normal, ConsumesTheEngineAsTheStandardLibraryDoes) {
  Random random(11);
  Pcg engine(11);
  std::normal_distribution<double> reference(0, 1);
  for (int i = 0; i < 200000; ++i) ASSERT_EQ(random.rnorm(), reference(engine));
}

TEST(Normal, FillIsTheSameStreamAsSingleDraws) {
  Random one(12), many(12);
  double buffer[2000];
  for (std::size_t n : {0U, 1U, 0U, 2U, 3U, 1U, 1U, 511U, 512U, 513U, 514U, 7U, 2000U, 1025U}) {
    many.fill_randn(buffer, n);
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(buffer[i], one.rnorm()) << n << " " << i;
  }
  EXPECT_EQ(one.rnorm(), many.rnorm());
  EXPECT_EQ(one.output(), many.output());
}

TEST(Normal, MatrixIsFilledByColumns) {
  Random one(13), many(13);
  const arma::Mat<double> z = many.randn(3, 5);
  ASSERT_EQ(z.n_rows, 3U);
  ASSERT_EQ(z.n_cols, 5U);
  for (arma::uword j = 0; j < 5; ++j)
    for (arma::uword i = 0; i < 3; ++i) EXPECT_EQ(z(i, j), one.rnorm());
}

TEST(Normal, HasItsDistribution) {
  Random random(14);
  EXPECT_LT(kolmogorov(sample(200000, [&] { return random.rnorm(); }), [](double x) { return phi(x); }), 2.5);
}

TEST(Gamma, ConsumesTheEngineAsTheStandardLibraryDoes) {
  for (double shape : {0.05, 0.5, 0.999, 1.0, 1.7, 30.0, 1e4}) {
    Random random(15);
    Pcg engine(15);
    for (int i = 0; i < 20000; ++i) {
      std::gamma_distribution<double> reference(shape, 2.5);
      ASSERT_EQ(random.rgamma(shape, 2.5), reference(engine)) << shape;
    }
  }
}

TEST(Gamma, LeavesTheNormalOfTheChainAlone) {
  Random random(16), plain(16);
  random.rnorm();
  plain.rnorm();
  random.rgamma(2, 1);
  EXPECT_EQ(random.rnorm(), plain.rnorm());
}

TEST(Gamma, HasItsDistribution) {
  for (double shape : {0.3, 1.0, 7.5}) {
    Random random(17);
    EXPECT_LT(kolmogorov(sample(100000, [&] { return random.rgamma(shape, 3); }),
                         [&](double x) { return boost::math::gamma_p(shape, x / 3); }),
              2.5)
        << shape;
  }
}

TEST(Gamma, RejectsDegenerateParameters) {
  Random random(18);
  const double inf = INFINITY;
  const double bad[][2] = {{0, 1}, {-0.5, 1}, {NAN, 1}, {1, 0}, {1, -1}, {1, inf}, {1, NAN}};
  for (const auto& row : bad) EXPECT_THROW(random.rgamma(row[0], row[1]), numeric_error);
}

TEST(Poisson, ConsumesTheEngineAsTheStandardLibraryDoes) {
  for (double mean : {0.01, 0.5, 3.0, 11.99, 12.0, 12.5, 27.3, 140.0, 1e3, 1e6}) {
    Pcg ours(19), theirs(19);
    for (int i = 0; i < 20000; ++i) {
      std::poisson_distribution<int> reference(mean);
      ASSERT_EQ(distribution::poisson(mean)(ours), reference(theirs)) << mean << " " << i;
    }
  }
}

TEST(Poisson, HasItsMeanAndVarianceAtVeryLargeRates) {
  Pcg engine(20);
  const double mean = 1.9e9;
  distribution::poisson draw(mean);
  const int n = 20000;
  double sum = 0, squares = 0;
  for (int i = 0; i < n; ++i) {
    const double x = (draw(engine) - mean) / std::sqrt(mean);
    sum += x;
    squares += x * x;
  }
  EXPECT_LT(std::fabs(sum / n), 4.5 / std::sqrt(n));
  EXPECT_LT(std::fabs(squares / n - 1), 4.5 * std::sqrt(2.0 / n));
}

TEST(NegativeBinomial, DrawsAllRatesAndThenAllCounts) {
  Random random(21);
  Pcg engine(21);
  const arma::Col<double> p = {0.1, 0.5, 0.9, 0.01};
  const arma::Col<double> y = random.rnbin(1.5, p);
  arma::Col<double> rates(4, arma::fill::none);
  for (arma::uword i = 0; i < 4; ++i) {
    std::gamma_distribution<double> gamma(1.5, (1 - p[i]) / p[i]);
    rates[i] = gamma(engine);
  }
  for (arma::uword i = 0; i < 4; ++i) {
    std::poisson_distribution<int> poisson(rates[i]);
    EXPECT_EQ(y[i], poisson(engine));
  }
}

TEST(NegativeBinomial, HasItsDistribution) {
  constexpr int n = 200000;
  Random random(22);
  const arma::Col<double> y = random.rnbin(2.5, arma::Col<double>(n, arma::fill::value(0.4)));
  const boost::math::negative_binomial reference(2.5, 0.4);
  double chi_square = 0;
  double below = 0;
  for (int k = 0; k < 15; ++k) {
    const double expected = n * boost::math::pdf(reference, k);
    const double observed = static_cast<double>(arma::accu(y == k));
    chi_square += (observed - expected) * (observed - expected) / expected;
    below += observed;
  }
  const double rest = n * boost::math::cdf(boost::math::complement(reference, 14));
  chi_square += (n - below - rest) * (n - below - rest) / rest;
  EXPECT_LT(chi_square, 50.5);  // the 0.99999 quantile with 15 degrees of freedom is 50.5
}

TEST(NegativeBinomial, ZeroRatesGiveZeroAndUnboundedOnesTheError) {
  Random random(23);
  EXPECT_EQ(random.rnbin(2, arma::Col<double>{1.0})[0], 0.0);
  for (double p : {0.0, 1e-300, double{NAN}, 1.5, -0.5}) {
    try {
      random.rnbin(2, arma::Col<double>{0.5, p});
      FAIL() << p;
    } catch (const error& e) {
      EXPECT_STREQ(e.what(),
                   "ERROR: The negative binomial outcome model ran into a computational error.\n"
                   "       This often happens due to small sample sizes or the dispersion\n"
                   "       parameter is empirically underidentified.");
    }
  }
  EXPECT_THROW(random.rnbin(0, arma::Col<double>{0.5}), numeric_error);
  EXPECT_THROW(random.rnbin(NAN, arma::Col<double>{0.5}), numeric_error);
  EXPECT_EQ(random.rnbin(1, arma::Col<double>()).n_elem, 0U);
}

TEST(Alias, SureIndexIsDrawn) {
  Random random(24);
  for (arma::uword sure = 0; sure < 5; ++sure) {
    arma::Row<double> p(5, arma::fill::zeros);
    p[sure] = 1;
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(random.rmnom(p), static_cast<int>(sure));
  }
  EXPECT_EQ(random.rmnom({1.0}), 0);
}

TEST(Alias, EmptyProbabilitiesAreAnInternalError) {
  Random random(25);
  EXPECT_THROW(random.rmnom(arma::Row<double>()), error_debug);
}

TEST(Alias, UsesOneIndexAndOneUniform) {
  // K p = (0.4, 2.8, 0.8, 0): 0 gets alias 1 (1 -> 2.2), 2 alias 1 (-> 2.0), 3 alias 1 (-> 1).
  const double prob[] = {0.4, 1.0, 0.8, 0.0};
  const int alias[] = {1, 1, 1, 1};
  Random random(26), mirror(26);
  for (int n = 0; n < 2000; ++n) {
    const auto i = distribution::index_below(4, mirror.engine);
    const int expected = prob[i] > mirror.runif() ? static_cast<int>(i) : alias[i];
    ASSERT_EQ(random.rmnom({0.1, 0.7, 0.2, 0.0}), expected);
  }
}

TEST(Alias, HasItsFrequencies) {
  constexpr int n = 200000;
  Random random(27);
  const arma::Row<double> p = {0.05, 0.3, 0.01, 0.24, 0.4};
  arma::Row<double> counts(5, arma::fill::zeros);
  for (int i = 0; i < n; ++i) counts[static_cast<arma::uword>(random.rmnom(p))] += 1;
  EXPECT_LT(arma::accu(arma::square(counts - n * p) / (n * p)), 28.5);  // 0.99999 quantile with 4 df
}

TEST(Dispersion, MapsAnOffsetToScaleAndShift) {
  Random random(1);
  EXPECT_EQ(random.start_scale, 1.0);
  EXPECT_EQ(random.start_shift, 0.0);
  random.disperse(1.0);
  EXPECT_EQ(random.start_scale, 2.0);
  EXPECT_EQ(random.start_shift, 4.0);
  random.disperse(-3.0);
  EXPECT_EQ(random.start_scale, 0.25);
  EXPECT_EQ(random.start_shift, -10.0);
  random.disperse(0.0);
  EXPECT_EQ(random.start_scale, 1.0);
  EXPECT_EQ(random.start_shift, 0.0);
}

TEST(PolyaGammaTable, HoldsTheDenominators) {
  ASSERT_EQ(Random::pg_vec.n_elem, 200U);
  const double four_pi_2 = 39.478417604357434;
  for (arma::uword k = 0; k < 200; ++k) {
    const double half = static_cast<double>(k) + 0.5;
    EXPECT_NEAR(Random::pg_vec[k] / (four_pi_2 * half * half), 1, 1e-14);
  }
  Random::set_pg_n_gamma(1);
  ASSERT_EQ(Random::pg_vec.n_elem, 1U);
  EXPECT_NEAR(Random::pg_vec[0], four_pi_2 / 4, 1e-13);
  try {
    Random::set_pg_n_gamma(0);
    ADD_FAILURE();
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "DEBUG command not properly specified.");
  }
  EXPECT_EQ(Random::pg_vec.n_elem, 1U);
  Random::set_pg_n_gamma(200);
  EXPECT_EQ(Random::pg_vec.n_elem, 200U);
}

}  // namespace
}  // namespace tovik::random_test
