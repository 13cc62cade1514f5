// Chains made to mix well, badly and not at all, and what the report says of them.

#include "results/convergence.hpp"

#include <gtest/gtest.h>

#include <random>

#include "results/settings.hpp"
#include "results/summary.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::tests::convergence_test {
namespace {

using convergence::slow_parameters;
using convergence::warning_of_burn_in;
using convergence::warning_of_draws;

std::vector<parameter_name> names(arma::uword n) {
  std::vector<parameter_name> out;
  for (arma::uword k = 1; k <= n; ++k) out.push_back({format("'y': x%llu", (unsigned long long)k), false});
  return out;
}

/// Two chains of `n` draws: a row for each of `memory`, an autoregressive series with this correlation from
/// one draw to the next.
std::vector<arma::mat> chains(const std::vector<double>& memory, arma::uword n = 4000) {
  std::mt19937_64 engine(8);
  std::normal_distribution<double> normal;
  std::vector<arma::mat> out;
  for (int c = 0; c < 2; ++c) {
    arma::mat chain(memory.size(), n);
    for (arma::uword k = 0; k < memory.size(); ++k) {
      double state = normal(engine);
      for (arma::uword t = 0; t < n; ++t) {
        state = memory[k] * state + std::sqrt(1.0 - memory[k] * memory[k]) * normal(engine);
        chain(k, t) = state;
      }
    }
    out.push_back(chain);
  }
  return out;
}

class Convergence : public testing::Test {
 protected:
  static std::string say(const std::vector<arma::mat>& draws, bool saves_data = false) {
    return warning_of_draws(Summary(draws, 0), names(draws.front().n_rows), saves_data);
  }

  static std::string say_of_burn_in(const std::vector<arma::mat>& draws) {
    return warning_of_burn_in(Summary(draws, draws.front().n_cols), names(draws.front().n_rows));
  }

  SummarySettings settings_;
};

TEST_F(Convergence, GoodChainsGetNoWord) {
  const std::vector<arma::mat> good = chains({0.0, 0.5});
  EXPECT_EQ(say(good), "");
  EXPECT_EQ(say(good, true), "");
  EXPECT_EQ(say_of_burn_in(good), "");
}

TEST_F(Convergence, ChainsThatDifferAreNamedWithTheirNumbers) {
  std::vector<arma::mat> draws = chains({0.0, 0.5, 0.0});
  draws[1].row(1) += 3.0;
  const Summary summary(draws, 0);
  EXPECT_EQ(say(draws),
            "WARNING: The chains have not converged.\n"
            "         These estimates have a potential scale reduction (PSR) above 1.05 or fewer than 100\n"
            "         effective draws (N_Eff), the worst first:\n" +
                format("                          PSR      N_Eff\n"
                       "           'y': x2  %9.3f  %9.3f\n",
                       summary.psr()(1), summary.ess()(1)) +
                "         Please use longer BURN and ITERATIONS; THIN does not replace them. If the warning "
                "stays,\n"
                "         the first of the list shows which part of the model holds the chains back.");
  EXPECT_GT(summary.psr()(1), 1.5);
}

TEST_F(Convergence, ImputedDataSetsOfTheseChainsAreNotForgotten) {
  std::vector<arma::mat> draws = chains({0.5});
  draws[1] += 3.0;
  EXPECT_NE(
      say(draws, true)
          .find("\n         The imputed data sets come from the same chains, which have not converged.\n"),
      std::string::npos);
  EXPECT_EQ(say(draws, false).find("imputed"), std::string::npos);
}

TEST_F(Convergence, AParameterIsSlowBelowOneHundredEffectiveDrawsOrAboveTheBoundOfPsr) {
  const Summary draws(chains({0.0, 0.9, 0.95, 0.98, 0.99, 0.995}, 6000), 0);
  const arma::vec psr = draws.psr(), ess = draws.ess();
  std::vector<arma::uword> expected, found;
  for (arma::uword k = 0; k < 6; ++k) {
    if (psr(k) > 1.05 || ess(k) < 100) expected.push_back(k);
  }
  for (const auto& one : slow_parameters(draws, names(6))) found.push_back(one.row);
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, expected);
  EXPECT_GT(expected.size(), 0u);
  EXPECT_LT(expected.size(), 6u);
}

TEST_F(Convergence, ChainsAreApartFromAPsrOf105On) {
  // Of noise with variance 1 whose chains have means d apart, the PSR is sqrt(1 + d^2 / 3).
  const auto apart = [](double psr) {
    std::vector<arma::mat> draws = chains({0.0}, 10000);
    draws[1] += std::sqrt(3.0 * (psr * psr - 1.0));
    return draws;
  };
  EXPECT_EQ(say(apart(1.03)).rfind("WARNING: The chains have too few effective draws.\n", 0), 0u);
  EXPECT_EQ(say(apart(1.07)).rfind("WARNING: The chains have not converged.\n", 0), 0u);
  EXPECT_EQ(say_of_burn_in(apart(1.03)), "");
  EXPECT_NE(say_of_burn_in(apart(1.07)), "");
}

TEST_F(Convergence, SlowChainsThatAgreeHaveTooFewDraws) {
  // Two periods of a wave in each half of a chain: the halves agree, and few of their draws count.
  arma::mat chain(1, 400);
  for (arma::uword t = 0; t < 400; ++t) chain(0, t) = std::sin(2 * arma::datum::pi * double(t) / 100);
  EXPECT_EQ(
      say({chain, chain}, true)
          .rfind("WARNING: The chains have too few effective draws.\n"
                 "         These estimates have fewer than 100 effective draws (N_Eff), the worst first:\n",
                 0),
      0u);
  EXPECT_NE(say({chain, chain}, true).find("same chains, and may depend on each other.\n"),
            std::string::npos);
}

TEST_F(Convergence, TheFewestEffectiveDrawsComeFirstAndNoMoreThanTenAreNamed) {
  std::vector<double> memory;
  for (int k = 0; k < 13; ++k) memory.push_back(1.0 - std::pow(0.6, k + 8));
  const Summary draws(chains(memory, 1000), 0);
  const auto slow = slow_parameters(draws, names(13));
  ASSERT_GT(slow.size(), 10u);
  for (std::size_t k = 1; k < slow.size(); ++k) EXPECT_LE(slow[k - 1].ess, slow[k].ess * (1 + 1e-5));
  const std::string text = warning_of_draws(draws, names(13), false);
  for (std::size_t k = 0; k < slow.size(); ++k) {
    const std::string name = "\n           'y': x" + std::to_string(slow[k].row + 1) + " ";
    EXPECT_EQ(text.find(name) != std::string::npos, k < 10) << name << "\n" << text;
  }
  EXPECT_NE(text.find(format("\n           and %zu more\n", slow.size() - 10)), std::string::npos) << text;
}

TEST_F(Convergence, OfSharesThatMirrorEachOtherTheFirstRowComesFirst) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    arma::arma_rng::set_seed(seed);
    std::vector<arma::mat> draws;
    for (int c = 0; c < 2; ++c) {
      const arma::rowvec walk = arma::cumsum(arma::randn<arma::rowvec>(60));
      const arma::rowvec share = 1.0 / (1.0 + arma::exp(-walk / 5.0));
      draws.push_back(arma::join_cols(share, 1.0 - share));
    }
    const auto slow = slow_parameters(Summary(draws, 0), names(2));
    ASSERT_EQ(slow.size(), 2u) << seed;
    EXPECT_EQ(slow[0].row, 0u) << seed;
  }
}

TEST_F(Convergence, WhatIsFixedOrConstantOrNotANumberDoesNotCount) {
  std::vector<arma::mat> draws = chains({0.0, 0.5, 0.0, 0.0});
  draws[1].row(1) += 3.0;
  for (arma::mat& chain : draws) {
    chain.row(2).fill(7.0);
    chain(3, 5) = arma::datum::nan;
  }
  std::vector<parameter_name> all = names(4);
  EXPECT_EQ(slow_parameters(Summary(draws, 0), all).size(), 1u);
  all[1].fixed = true;
  EXPECT_EQ(slow_parameters(Summary(draws, 0), all).size(), 0u);
  EXPECT_EQ(warning_of_draws(Summary(draws, 0), all, true), "");
}

TEST_F(Convergence, ChainsThatStandStillAtTheirOwnValuesAreNamed) {
  std::vector<arma::mat> draws = chains({0.0});
  for (int c = 0; c < 2; ++c) draws[c].fill(c);
  const std::string text = say(draws);
  EXPECT_EQ(text.rfind("WARNING: The chains have not converged.\n", 0), 0u) << text;
  EXPECT_NE(text.find("\n           'y': x1        nan  "), std::string::npos) << text;
}

TEST_F(Convergence, BelowOneHundredDrawsNothingIsSaidOfConvergence) {
  EXPECT_EQ(say(chains({0.9}, 30), true)
                .rfind("WARNING: There are too few iterations to tell whether the chains have converged.\n"
                       "         These estimates have ",
                       0),
            0u);
  EXPECT_EQ(say(chains({0.9}, 3), true),
            "WARNING: There are too few iterations to tell whether the chains have converged.\n"
            "         The imputed data sets come from the same chains, which may not have converged.\n"
            "         Please use longer BURN and ITERATIONS; THIN does not replace them.");
}

TEST_F(Convergence, WithoutDrawsOrParametersThereIsNothingToSay) {
  EXPECT_EQ(say({arma::mat(2, 0)}), "");
  EXPECT_EQ(warning_of_draws(Summary(arma::mat(0, 50), 0), {}, true), "");
}

TEST_F(Convergence, NamesAreAsManyAsTheRowsOfTheDraws) {
  const Summary draws(chains({0.0, 0.0}), 4000);
  EXPECT_THROW(warning_of_draws(draws, names(3), false), error_debug);
  EXPECT_THROW(warning_of_burn_in(draws, names(1)), error_debug);
}

TEST_F(Convergence, TheWorstOfTheBurnInIsNamedByItsNumberInTheTable) {
  std::vector<arma::mat> draws = chains({0.0, 0.0, 0.0}, 200);
  draws[1].row(1) += 3.0;
  const double psr = Summary(draws, 200).psr(200)(1);
  const std::string head =
      "WARNING: At the end of the burn-in, the highest potential scale reduction (PSR) is " +
      format("%.3f", psr) + ":\n           parameter 2, 'y': x2\n";
  EXPECT_EQ(say_of_burn_in(draws), head + "         It should be 1.05 at most. Please use a longer BURN.");
  draws[1].row(2) += 2.0;
  EXPECT_EQ(say_of_burn_in(draws), head + "         2 parameters are above 1.05. Please use a longer BURN.");
}

TEST_F(Convergence, OfTheBurnInTheLastCheckPointCounts) {
  std::vector<arma::mat> draws = chains({0.0}, 400);
  draws[1].head_cols(90) += 5.0;
  EXPECT_GT(Summary(draws, 400).psr(100)(0), 1.5);
  EXPECT_EQ(say_of_burn_in(draws), "");
}

TEST_F(Convergence, AShortBurnInHasNoPsr) {
  const auto text = [](int n) {
    return format(
        "WARNING: The burn-in has no potential scale reduction (PSR), which takes at least\n"
        "         %i iterations. Please use a longer BURN.",
        n);
  };
  EXPECT_EQ(say_of_burn_in(chains({0.0}, 99)), text(100));
  EXPECT_EQ(say_of_burn_in(chains({0.0}, 100)), "");
  Summary::interval = 150;
  EXPECT_EQ(say_of_burn_in(chains({0.0}, 100)), text(150));
}

}  // namespace
}  // namespace tovik::tests::convergence_test
