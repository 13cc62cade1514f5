#include "app/chain_group.hpp"

#include <gtest/gtest.h>

#include "app/counting_estimator.hpp"
#include "capture.hpp"
#include "support/warning.hpp"

using tovik::chain;
using tovik::chain_group;
using tovik::chain_info;
using tovik::tests::CountingEstimator;

namespace {

chain_group<CountingEstimator> group_of(int chains, std::size_t processors,
                                        const std::vector<int>& failing = {}) {
  chain_group<CountingEstimator> group(processors);
  for (int i = 1; i <= chains; ++i) {
    chain_info info;
    info.id = i;
    info.burn = 4;
    info.iterations = 6;
    auto estimator = std::make_shared<CountingEstimator>();
    for (int f : failing) {
      if (f == i) estimator->fail_at = 4 + i;
    }
    group.push_back(chain<CountingEstimator>(estimator, info));
  }
  return group;
}

std::string exec(chain_group<CountingEstimator>& group, std::string* error = nullptr) {
  testing::internal::CaptureStdout();
  try {
    group.exec();
  } catch (const tovik::error& e) {
    if (error != nullptr) *error = e.what();
  }
  return testing::internal::GetCapturedStdout();
}

TEST(ChainGroup, PoolsTheDrawsOfAllChains) {
  auto group = group_of(3, 2);
  exec(group);
  EXPECT_EQ(group.iterations().n_chains(), 3u);
  EXPECT_EQ(group.iterations().n_iterations(), 18u);
  EXPECT_EQ(group.burn().n_cols(), 4u);
  EXPECT_TRUE(group.dic().exists());
}

TEST(ChainGroup, RunsNoMoreThanTheProcessorsAtOnce) {
  for (std::size_t processors : {1u, 2u}) {
    CountingEstimator::most_running = 0;
    auto group = group_of(5, processors);
    exec(group);
    EXPECT_LE(CountingEstimator::most_running, static_cast<int>(processors));
  }
}

TEST(ChainGroup, OneProcessorRunsChainsInOrder) {
  auto group = group_of(2, 1);
  const std::string text = exec(group);
  EXPECT_LT(text.find("Chain 1 finished"), text.find("Chain 2 burn-in started"));
  EXPECT_EQ(text.rfind("\nITERATION HISTORY:\n\n", 0), 0u);
  EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
}

TEST(ChainGroup, BatchesWaitForTheirSlowestChain) {
  auto group = group_of(3, 2);
  const std::string text = exec(group);
  const auto third = text.find("Chain 3 burn-in started");
  EXPECT_LT(text.find("Chain 1 finished"), third);
  EXPECT_LT(text.find("Chain 2 finished"), third);
}

TEST(ChainGroup, ReportsTheFirstFailureInChainOrder) {
  auto group = group_of(3, 3, {1, 2});
  std::string error;
  const std::string text = exec(group, &error);
  EXPECT_EQ(error, "scan 5 failed");
  EXPECT_NE(text.find("  Chain 1 had an error on "), std::string::npos);
  EXPECT_NE(text.find("  Chain 2 had an error on "), std::string::npos);
  EXPECT_NE(text.find("  Chain 3 finished on "), std::string::npos);
  EXPECT_EQ(group.iterations().n_iterations(), 0u + 1u + 6u);
}

TEST(ChainGroup, RefusesToWorkWithoutChainsOrProcessors) {
  chain_group<CountingEstimator> none(2);
  std::string error;
  exec(none, &error);
  EXPECT_EQ(error, "Number of chains is set to zero!");
  EXPECT_THROW(none.iterations(), tovik::error_debug);
  EXPECT_THROW(none.front(), tovik::error_debug);
  auto group = group_of(1, 0);
  exec(group, &error);
  EXPECT_EQ(error, "Number of threads is set to zero!");
}

class Tuning : public testing::Test {
 protected:
  /// Two chains with proposals, of which the second is out of bounds if `warns`.
  std::string print(bool has_info, bool warns, bool all) {
    chain_group<CountingEstimator> group(1);
    for (std::uint32_t id : {1u, 2u}) {
      auto estimator = std::make_shared<CountingEstimator>();
      estimator->has_tuning_info = has_info;
      estimator->warns = warns && id == 2;
      chain_info info;
      info.id = id;
      group.push_back(chain<CountingEstimator>(estimator, info));
    }
    tovik::tests::Capture out;
    group.printTune(out.stream(), {}, {}, all);
    EXPECT_TRUE(tovik::warning::buffer.empty());
    group.warnTune();
    return out.text();
  }

  void TearDown() override { tovik::warning::buffer.clear(); }
};

TEST_F(Tuning, IsSilentWithoutProposals) {
  EXPECT_EQ(print(false, false, true), "");
}

TEST_F(Tuning, ShowsEveryChainInFull) {
  EXPECT_EQ(print(true, false, true),
            "\nMETROPOLIS-HASTINGS ACCEPTANCE RATES:\n\n"
            "  Chain 1:\n    row\n\n  Chain 2:\n    row\n\n");
  EXPECT_TRUE(tovik::warning::buffer.empty());
}

TEST_F(Tuning, CountsAllChainsWhenNoneIsOutOfBounds) {
  EXPECT_EQ(print(true, false, false),
            "\nMETROPOLIS-HASTINGS ACCEPTANCE RATES:\n\n"
            "  NOTE: Suppressing printing of 2 chains.\n"
            "  NOTE: Suppressing printing of tuning info that is within\n"
            "        +/- 0.20 of the target acceptance probability.\n"
            "        Use keyword 'tuneinfo' in options to override.\n\n");
  EXPECT_TRUE(tovik::warning::buffer.empty());
}

TEST_F(Tuning, FiltersChainsThatAreInOrderAndWarnsOfTheOthers) {
  EXPECT_EQ(print(true, true, false),
            "\nMETROPOLIS-HASTINGS ACCEPTANCE RATES:\n\n"
            "  Chain 2:\n    row\n\n"
            "  NOTE: Suppressing printing of 1 chain.\n"
            "  NOTE: Suppressing printing of tuning info that is within\n"
            "        +/- 0.20 of the target acceptance probability.\n"
            "        Use keyword 'tuneinfo' in options to override.\n\n");
  ASSERT_EQ(tovik::warning::buffer.messages().size(), 1u);
  EXPECT_EQ(tovik::warning::buffer.messages()[0].text,
            "WARNING: One or more tuning parameters had a suboptimal acceptance probability.\n"
            "         This generally implies less efficient sampling of parameters.\n"
            "         Check the effective sample size (N_EFF) in estimates below.\n"
            "         See METROPOLIS-HASTINGS ACCEPTANCE RATES section for more information.");
}

}  // namespace
