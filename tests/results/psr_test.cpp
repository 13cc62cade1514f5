#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <sstream>

#include "capture.hpp"
#include "results/summary.hpp"
#include "series.hpp"
#include "settings.hpp"
#include "support/error.hpp"

namespace tovik::psr_test {
namespace {

using tests::expect_near;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

class PsrTest : public ::testing::Test {
  tests::SummarySettings settings_;
};

Summary two_chains(unsigned long long burn = 40) {
  return Summary(tests::series(), burn);
}
Summary one_chain(unsigned long long burn = 40) {
  return Summary(tests::series()[0], burn);
}

std::string printed(const Summary& s) {
  tests::Capture capture;
  s.printPSR(capture.stream());
  return capture.text();
}

std::string header(const Summary& s, unsigned long long rows) {
  tests::Capture capture;
  s.printPSRHeader(capture.stream(), rows);
  return capture.text();
}

TEST_F(PsrTest, AllDraws) {
  expect_near(two_chains().psr(), {1.582843388, 1.00184991, 1.039602914, nan});
  expect_near(one_chain().psr(), {1.772359702, 1.005178409, 1.016982694, nan});
  Summary::splitChain = false;
  expect_near(two_chains().psr(), {1.000007928, 1.00002828, 1.000044166, nan});
  // A single chain is split whatever the setting.
  expect_near(one_chain().psr(), {1.772359702, 1.005178409, 1.016982694, nan});
}

TEST_F(PsrTest, SecondHalfOfTheFirstDraws) {
  expect_near(two_chains().psr(8), {1.538977795, 1.389897678, 1.377771819, nan});
  expect_near(two_chains().psr(20), {1.053942379, 1.01562992, 1.046939409, nan});
  expect_near(two_chains().psr(22), {1.053942379, 1.01562992, 1.046939409, nan});
  expect_near(two_chains().psr(40), {1.200699387, 1.00470657, 1.064536731, nan});
  expect_near(one_chain().psr(40), {1.319654343, 1.001353525, 1.063951442, nan});
  Summary::splitChain = false;
  expect_near(two_chains().psr(20), {1.000379894, 1.000424391, 1.001175613, nan});
  expect_near(two_chains().psr(40), {1.000327263, 1.000532981, 1.00854412, nan});
}

TEST_F(PsrTest, OddLastDrawIsDropped) {
  std::vector<arma::Mat<double>> even, odd;
  for (const arma::Mat<double>& chain : tests::series()) {
    even.push_back(chain.head_cols(38));
    odd.push_back(chain.head_cols(39));
  }
  EXPECT_TRUE(
      arma::approx_equal(Summary(even, 0).psr().head(3), Summary(odd, 0).psr().head(3), "absdiff", 0.0));
}

TEST_F(PsrTest, ChunksBelowTwoDrawsGiveNan) {
  const arma::Mat<double> x = tests::series()[0];
  expect_near(Summary(arma::Mat<double>(x.head_cols(3)), 0).psr(), {nan, nan, nan, nan});
  EXPECT_TRUE(std::isfinite(Summary(arma::Mat<double>(x.head_cols(4)), 0).psr()(0)));
  for (const unsigned long long n : {0, 1, 3, 4, 7}) expect_near(one_chain().psr(n), {nan, nan, nan, nan});
  EXPECT_TRUE(std::isfinite(one_chain().psr(8)(0)));
  Summary::splitChain = false;
  expect_near(two_chains().psr(3), {nan, nan, nan, nan});
  EXPECT_TRUE(std::isfinite(two_chains().psr(4)(0)));
}

TEST_F(PsrTest, NeverReadsBeyondTheStoredDraws) {
  expect_near(two_chains().psr(41), {nan, nan, nan, nan});
}

TEST_F(PsrTest, NeedsAChain) {
  for (const auto& call : {+[] { Summary().psr(); }, +[] { Summary().psr(20); }}) {
    try {
      call();
      FAIL();
    } catch (const error_debug& e) {
      EXPECT_STREQ(e.what(), "No data to compute psr!");
    }
  }
}

TEST_F(PsrTest, MatrixHasOneRowPerCheckPoint) {
  Summary::interval = 20;
  const arma::Mat<double> m = two_chains().psrMatrix();
  ASSERT_EQ(m.n_rows, 2u);
  expect_near(m.row(0), {1.053942379, 1.01562992, 1.046939409, nan});
  expect_near(m.row(1), {1.200699387, 1.00470657, 1.064536731, nan});
  Summary::interval = 41;
  EXPECT_EQ(two_chains().psrMatrix().n_rows, 0u);
  Summary::interval = 0;
  EXPECT_EQ(two_chains().psrMatrix().n_rows, 0u);
}

TEST_F(PsrTest, OfTwoSharesThatAddUpToOneTheFirstIsNamed) {
  Summary::interval = 40;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    arma::arma_rng::set_seed(seed);
    std::vector<arma::mat> chains;
    for (int c = 0; c < 2; ++c) {
      const arma::rowvec share = arma::randu<arma::rowvec>(40);
      chains.push_back(arma::join_cols(share, 1.0 - share));
    }
    const std::string table = printed(Summary(chains, 40));
    EXPECT_EQ(table.substr(table.size() - 5), "1  \n\n") << table;
  }
}

TEST_F(PsrTest, LastIsThatOfTheLastCheckPoint) {
  Summary::interval = 15;
  const arma::Col<double> last = two_chains().last_psr(), expected = two_chains().psr(30);
  expect_near(last, {expected(0), expected(1), expected(2), nan});
  Summary::interval = 41;
  EXPECT_TRUE(two_chains().last_psr().empty());
}

TEST_F(PsrTest, HighestIsNoNumberButAPlace) {
  EXPECT_EQ(Summary::highest({1.0, 1.3, nan, 1.2}), 1u);
  EXPECT_EQ(Summary::highest({nan, 1.3, 1.3}), 1u);
  EXPECT_EQ(Summary::highest({nan, nan}), std::nullopt);
  EXPECT_EQ(Summary::highest(arma::Col<double>()), std::nullopt);
}

TEST_F(PsrTest, PrintsTheTableOfSeveralChains) {
  Summary::interval = 10;
  EXPECT_EQ(printed(two_chains()),
            "\nBURN-IN POTENTIAL SCALE REDUCTION (PSR) OUTPUT:\n\n"
            "  NOTE: Split chain PSR is being used. This splits each chain's\n"
            "        iterations to create twice as many chains.\n"
            "\n"
            "  Comparing iterations across 2 chains     Highest PSR   Parameter #  \n"
            "                            6 to 10              1.539             1  \n"
            "                           11 to 20              1.054             1  \n"
            "                           16 to 30              1.183             1  \n"
            "                           21 to 40              1.201             1  \n"
            "\n");
}

TEST_F(PsrTest, PrintsWholeChainsWithoutTheNote) {
  Summary::interval = 20;
  Summary::splitChain = false;
  EXPECT_EQ(printed(two_chains()),
            "\nBURN-IN POTENTIAL SCALE REDUCTION (PSR) OUTPUT:\n\n"
            "  Comparing iterations across 2 chains     Highest PSR   Parameter #  \n"
            "                           11 to 20              1.001             3  \n"
            "                           21 to 40              1.009             3  \n"
            "\n");
}

TEST_F(PsrTest, PrintsTheTableOfOneChain) {
  Summary::interval = 20;
  EXPECT_EQ(printed(one_chain()),
            "\nBURN-IN POTENTIAL SCALE REDUCTION (PSR) OUTPUT:\n\n"
            "  Comparing iterations within 1 chain      Highest PSR       Param #  \n"
            "      11 to 15     with     16 to 20             1.176             3  \n"
            "      21 to 30     with     31 to 40             1.320             1  \n"
            "\n");
}

TEST_F(PsrTest, PrintsNanWhereNoParameterHasAValue) {
  Summary::interval = 4;
  EXPECT_EQ(printed(two_chains(4)),
            "\nBURN-IN POTENTIAL SCALE REDUCTION (PSR) OUTPUT:\n\n"
            "  NOTE: Split chain PSR is being used. This splits each chain's\n"
            "        iterations to create twice as many chains.\n"
            "\n"
            "  Comparing iterations across 2 chains     Highest PSR   Parameter #  \n"
            "                            3 to 4                 nan           nan  \n"
            "\n");
}

TEST_F(PsrTest, NanAndConstantParametersNeverWin) {
  Summary::interval = 40;
  std::vector<arma::Mat<double>> chains = tests::series();
  chains[0](0, 35) = nan;
  const std::string text = printed(Summary(chains, 40));
  EXPECT_NE(text.find("                           21 to 40              1.065             3  \n"),
            std::string::npos)
      << text;
}

TEST_F(PsrTest, FirstOfEqualParametersIsNamed) {
  Summary::interval = 40;
  std::vector<arma::Mat<double>> chains;
  for (const arma::Mat<double>& chain : tests::series()) {
    chains.push_back(arma::join_cols(chain.row(1), chain.row(0), chain.row(0)));
  }
  EXPECT_NE(printed(Summary(chains, 40)).find("1.201             2  \n"), std::string::npos);
}

TEST_F(PsrTest, ShortBurnInHasNoRows) {
  const std::string expected =
      "\nBURN-IN POTENTIAL SCALE REDUCTION (PSR) OUTPUT:\n\n"
      "  Requires at least 100 burn-in iterations for PSR to be computed.\n"
      "\n";
  EXPECT_EQ(printed(Summary(arma::Mat<double>(2, 99, arma::fill::zeros), 99)), expected);
  EXPECT_EQ(printed(two_chains(40)), expected);
  EXPECT_EQ(printed(Summary()), expected);
}

TEST_F(PsrTest, BurnInOfOneHundredHasOneRow) {
  arma::arma_rng::set_seed(1);
  const Summary s(arma::Mat<double>(2, 100, arma::fill::randn), 100);
  EXPECT_EQ(s.psrMatrix().n_rows, 1u);
  EXPECT_NE(printed(s).find("      51 to 75     with     76 to 100  "), std::string::npos) << printed(s);
}

TEST_F(PsrTest, HeaderListsTheLastCheckPoints) {
  Summary::interval = 10;
  EXPECT_EQ(header(two_chains(), 2),
            "  NOTE: Split chain PSR is being used. This splits each chain's\n"
            "        iterations to create twice as many chains.\n"
            "\n"
            "  Comparing iterations across 2 chains  \n"
            "                  [1]      16 to 30    \n"
            "                  [2]      21 to 40    \n");
  EXPECT_EQ(header(one_chain(), 1),
            "       Comparing iterations within 1 chain\n"
            "  [1]      21 to 30     with     31 to 40    \n");
  Summary::splitChain = false;
  EXPECT_EQ(header(two_chains(), 99),
            "  Comparing iterations across 2 chains  \n"
            "                  [1]       6 to 10    \n"
            "                  [2]      11 to 20    \n"
            "                  [3]      16 to 30    \n"
            "                  [4]      21 to 40    \n");
  EXPECT_EQ(header(two_chains(), 0), "  Comparing iterations across 2 chains  \n");
}

TEST_F(PsrTest, SavesTheMatrix) {
  Summary::interval = 20;
  const std::string path = ::testing::TempDir() + "tovik_psr_test.csv";
  const auto content = [&path] {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  };
  two_chains().savePSR(path, false);
  EXPECT_EQ(content(),
            "1.0539,1.0156299195e+00,1.0469394093e+00,nan\n1.2007,1.0047065699e+00,1.0645367309e+00,nan\n");
  two_chains().savePSR(path, "dat", false);
  EXPECT_EQ(content(),
            "      1.0539 1.0156299195e+00 1.0469394093e+00          nan\n"
            "      1.2007 1.0047065699e+00 1.0645367309e+00          nan\n");
  two_chains().savePSR(path, true);
  EXPECT_EQ(content().substr(0, 6), "1.0539");
  EXPECT_EQ(content().substr(12, 5), "e+00,");
  std::remove(path.c_str());
}

}  // namespace
}  // namespace tovik::psr_test
