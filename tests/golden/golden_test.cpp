// Seeded runs, pinned to six digits: a change of these numbers is a change of the draws, and needs a reason.
// With TOVIK_UPDATE_EXPECTED set in the environment the numbers are written anew.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "golden/sampled_run.hpp"
#include "results/summary.hpp"
#include "support/text.hpp"

namespace fs = std::filesystem;
using namespace tovik;
using namespace tovik::tests;

namespace {

const fs::path folder = fs::path(TOVIK_SOURCE_DIR) / "tests" / "golden";

class Golden : public testing::TestWithParam<const char*> {};

/// Posterior means and standard deviations, one row per parameter.
arma::Mat<double> estimates(const sampled_run& run) {
  const Summary draws = run.iterations();
  arma::Mat<double> all;
  for (const chain_draws& one : draws.chains()) all = arma::join_rows(all, one.matrix());
  return arma::join_rows(arma::mean(all, 1), arma::stddev(all, 0, 1));
}

TEST_P(Golden, EstimatesStayToSixDigits) {
  const fs::path numbers = folder / (std::string(GetParam()) + ".txt");
  const sampled_run run = sample(folder / (std::string(GetParam()) + ".tovik"));
  const arma::Mat<double> actual = estimates(run);
  if (std::getenv("TOVIK_UPDATE_EXPECTED") != nullptr) {
    std::ofstream out(numbers);
    for (arma::uword i = 0; i < actual.n_rows; ++i) {
      out << format("%.7g %.7g\n", actual(i, 0), actual(i, 1));
    }
    return;
  }
  arma::Mat<double> expected;
  ASSERT_TRUE(expected.load(numbers.string(), arma::raw_ascii)) << numbers;
  ASSERT_EQ(arma::size(actual), arma::size(expected));
  for (arma::uword i = 0; i < actual.n_elem; ++i) {
    EXPECT_NEAR(actual(i), expected(i), 2e-6 * std::abs(expected(i)) + 1e-12) << "element " << i;
  }
}

TEST_P(Golden, DrawsAndFitAreTheSameBytesOnAnyNumberOfProcessors) {
  const fs::path file = folder / (std::string(GetParam()) + ".tovik");
  const sampled_run one = sample(file, 1);
  for (std::size_t processors : {2u, 3u}) {
    const sampled_run other = sample(file, processors);
    for (arma::uword c = 0; c < one.iterations().n_chains(); ++c) {
      const arma::Mat<double> a = one.iterations().chains()[c].matrix();
      const arma::Mat<double> b = other.iterations().chains()[c].matrix();
      ASSERT_EQ(arma::size(a), arma::size(b));
      EXPECT_EQ(std::memcmp(a.memptr(), b.memptr(), a.n_elem * sizeof(double)), 0) << processors;
    }
    if (one.group == nullptr) continue;  // without likelihoods
    ASSERT_EQ(one.group->dic().exists(), other.group->dic().exists());
    if (!one.group->dic().exists()) continue;
    const auto a = one.group->dic().conditional(), b = other.group->dic().conditional();
    EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << a.dic2 << " " << b.dic2;
  }
}

TEST_P(Golden, ChainsDrawFromStreamsOfTheirOwn) {
  const sampled_run run = sample(folder / (std::string(GetParam()) + ".tovik"));
  const Summary draws = run.iterations();
  const arma::Mat<double> a = draws.chains()[0].matrix();
  const arma::Mat<double> b = draws.chains()[1].matrix();
  EXPECT_FALSE(arma::approx_equal(a, b, "absdiff", 1e-9));
}

INSTANTIATE_TEST_SUITE_P(Runs, Golden,
                         testing::Values("single_level", "two_level", "three_level", "incomplete",
                                         "observed_means"));

}  // namespace
