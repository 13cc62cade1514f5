#include "app/chain.hpp"

#include <gtest/gtest.h>

#include <csignal>

#include "app/chain_group.hpp"
#include "app/counting_estimator.hpp"
#include "support/interrupt.hpp"

using tovik::chain;
using tovik::chain_info;
using tovik::tests::CountingEstimator;

namespace {

chain_info share(std::uint32_t burn, std::uint32_t iterations) {
  chain_info info;
  info.id = 7;
  info.burn = burn;
  info.iterations = iterations;
  return info;
}

std::string run(chain<CountingEstimator>& one) {
  testing::internal::CaptureStdout();
  one.run();
  return testing::internal::GetCapturedStdout();
}

std::size_t count(const std::string& text, const std::string& piece) {
  std::size_t n = 0;
  for (std::size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++n;
  return n;
}

TEST(Chain, StoresOneColumnPerDraw) {
  auto estimator = std::make_shared<CountingEstimator>();
  chain<CountingEstimator> one(estimator, share(8, 4));
  const std::string text = run(one);
  ASSERT_EQ(one.burn_draws().size(), 8u);
  ASSERT_EQ(one.iter_draws().size(), 4u);
  for (int t = 0; t < 8; ++t) EXPECT_EQ(one.burn_draws().draws()(1, t), 2.0 * (t + 1));
  for (int t = 0; t < 4; ++t) EXPECT_EQ(one.iter_draws().draws()(0, t), 9.0 + t);
  EXPECT_FALSE(one.error());
  EXPECT_EQ(estimator->tune_checks, 1);
}

TEST(Chain, PrintsItsRoad) {
  chain<CountingEstimator> one(std::make_shared<CountingEstimator>(), share(8, 4));
  const std::string text = run(one);
  const std::vector<std::string> starts = {
      "  Chain 7 burn-in started on ",
      "  Chain 7 burn-in iteration 2 completed on ",
      "  Chain 7 burn-in iteration 4 completed on ",
      "  Chain 7 burn-in iteration 6 completed on ",
      "  Chain 7 burn-in iteration 8 completed on ",
      "  Chain 7 completed burn-in on ",
      "  Chain 7 completed iteration 1 on ",
      "  Chain 7 completed iteration 2 on ",
      "  Chain 7 completed iteration 3 on ",
      "  Chain 7 completed iteration 4 on ",
      "  Chain 7 finished on ",
  };
  std::size_t at = 0;
  for (const std::string& start : starts) {
    ASSERT_EQ(text.compare(at, start.size(), start), 0) << text.substr(at);
    at = text.find('\n', at) + 1;
  }
  EXPECT_EQ(at, text.size());
}

TEST(Chain, ShortPhasesPrintEveryIteration) {
  for (std::uint32_t n : {1u, 2u, 3u}) {
    chain<CountingEstimator> one(std::make_shared<CountingEstimator>(), share(n, 1));
    EXPECT_EQ(count(run(one), "burn-in iteration"), n);
  }
  chain<CountingEstimator> seven(std::make_shared<CountingEstimator>(), share(7, 1));
  EXPECT_EQ(count(run(seven), "burn-in iteration"), 7u);
}

TEST(Chain, WithoutBurnInTuningIsCheckedAllTheSame) {
  auto estimator = std::make_shared<CountingEstimator>();
  chain<CountingEstimator> one(estimator, share(0, 2));
  run(one);
  EXPECT_FALSE(one.error());
  EXPECT_TRUE(estimator->tuned_after.empty());
  EXPECT_EQ(estimator->tune_checks, 1);
  EXPECT_EQ(one.burn_draws().draws().n_cols, 0u);
}

TEST(Chain, TunesInTheFirstHalfOfBurnIn) {
  auto estimator = std::make_shared<CountingEstimator>();
  chain_info info = share(1000, 1);
  info.tunecheck = 100;
  chain<CountingEstimator> one(estimator, info);
  run(one);
  EXPECT_EQ(estimator->tuned_after, (std::vector<int>{100, 200, 300, 400}));
  ASSERT_EQ(estimator->adapted_after.size(), 500u);
  for (int scan = 1; scan <= 500; ++scan) EXPECT_EQ(estimator->adapted_after[scan - 1], scan);
}

TEST(Chain, KeepsItsErrorAndTheDrawsBeforeIt) {
  auto estimator = std::make_shared<CountingEstimator>();
  estimator->fail_at = 12;
  chain<CountingEstimator> one(estimator, share(8, 40));
  const std::string text = run(one);
  ASSERT_TRUE(one.error());
  EXPECT_EQ(count(text, "  Chain 7 had an error on "), 1u);
  EXPECT_EQ(one.iter_draws().draws().n_cols, 3u);
  EXPECT_EQ(one.burn_draws().draws().n_cols, 8u);
  EXPECT_THROW(std::rethrow_exception(one.error()), tovik::error);
}

TEST(Chain, StopsWhenTuningFailedUnlessAllowed) {
  auto estimator = std::make_shared<CountingEstimator>();
  estimator->fail_tune_check = true;
  chain<CountingEstimator> one(estimator, share(4, 4));
  run(one);
  ASSERT_TRUE(one.error());
  EXPECT_THROW(std::rethrow_exception(one.error()), tovik::sem::error_tuning);
  EXPECT_EQ(one.iter_draws().draws().n_cols, 0u);

  chain_info::crash_on_tune_fail = false;
  chain<CountingEstimator> two(estimator, share(4, 4));
  run(two);
  chain_info::crash_on_tune_fail = true;
  EXPECT_FALSE(two.error());
}

TEST(Chain, SpreadsImputationsOverTheSamplingPhase) {
  std::vector<std::pair<int, double>> saved;
  chain_info info = share(2, 10);
  info.imputations = {2, 4, 6};
  for (int number : {2, 4, 6}) {
    info.saves.push_back([&saved, number](const arma::Mat<double>& d) {
      saved.push_back({number, d(0, 0)});
    });
  }
  chain<CountingEstimator> one(std::make_shared<CountingEstimator>(), info);
  const std::string text = run(one);
  EXPECT_EQ(saved, (std::vector<std::pair<int, double>>{{2, 5.0}, {4, 8.0}, {6, 11.0}}));
  EXPECT_EQ(count(text, "  Chain 7 saved imputation 4 on "), 1u);
}

TEST(Chain, NeverSavesMoreImputationsThanItsShare) {
  int saves = 0;
  chain_info info = share(0, 5);
  info.imputations = {1, 2, 3};
  for (int k = 0; k < 3; ++k) info.saves.push_back([&saves](const arma::Mat<double>&) { ++saves; });
  chain<CountingEstimator> one(std::make_shared<CountingEstimator>(), info);
  run(one);
  EXPECT_EQ(saves, 3);
  EXPECT_FALSE(one.error());
}

TEST(Chain, AveragesDataAndLikelihoods) {
  chain_info info = share(1, 3);
  info.averaging = true;
  chain<CountingEstimator> one(std::make_shared<CountingEstimator>(), info);
  run(one);
  EXPECT_EQ(one.avg_imp().count, 3u);
  EXPECT_DOUBLE_EQ(one.avg_imp().mean(0, 0), 3.0);
  EXPECT_TRUE(one.fit().exists());

  chain_info::compute_DIC = false;
  chain<CountingEstimator> two(std::make_shared<CountingEstimator>(), info);
  run(two);
  chain_info::compute_DIC = true;
  EXPECT_FALSE(two.fit().exists());
}

TEST(Chain, NamesTheWayOutWhenCorrelationsFail) {
  auto estimator = std::make_shared<CountingEstimator>();
  estimator->n_correlations = 1;
  estimator->fail_correlations = true;
  chain<CountingEstimator> one(estimator, share(1, 1));
  run(one);
  try {
    std::rethrow_exception(one.error());
    FAIL();
  } catch (const tovik::error& e) {
    EXPECT_STREQ(e.what(),
                 "ERROR: The model for correlations among residuals failed.\n"
                 "       Disable estimating this model using 'OPTIONS: disable_corrs'");
  }
}

/// Asks the chains to end once an estimator has done so many scans.
class Impatient : public CountingEstimator {
 public:
  explicit Impatient(int last) : last_(last) {}
  void oneRep() {
    CountingEstimator::oneRep();
    if (scans == last_) tovik::interrupt::request(SIGTERM);
  }

 private:
  int last_;
};

class Interruption : public testing::Test {
 protected:
  void TearDown() override { tovik::interrupt::request(0); }
  static void run(chain<Impatient>& one) {
    testing::internal::CaptureStdout();
    one.run();
    testing::internal::GetCapturedStdout();
  }
};

TEST_F(Interruption, KeepsTheDrawsSoFar) {
  const auto estimator = std::make_shared<Impatient>(11);
  chain_info info = share(8, 100);
  info.imputations = {1, 2};
  int saved = 0;
  info.saves.assign(2, [&](const arma::Mat<double>&) { ++saved; });
  chain<Impatient> one(estimator, info);
  run(one);
  EXPECT_EQ(estimator->scans, 11) << "the scan is finished, and none begins";
  EXPECT_EQ(one.burn_draws().draws().n_cols, 8u);
  ASSERT_EQ(one.iter_draws().draws().n_cols, 3u);
  EXPECT_EQ(one.iter_draws().draws()(0, 2), 11.0);
  EXPECT_EQ(saved, 0);
  EXPECT_FALSE(one.error());
}

TEST_F(Interruption, InTheBurnInLeavesNoDrawsAndChecksNoTuning) {
  const auto estimator = std::make_shared<Impatient>(5);
  estimator->fail_tune_check = true;
  chain<Impatient> one(estimator, share(8, 100));
  run(one);
  EXPECT_EQ(one.burn_draws().size(), 5u);
  EXPECT_EQ(one.iter_draws().size(), 0u);
  EXPECT_FALSE(one.error());
}

TEST_F(Interruption, OfAGroupStartsNoFurtherChain) {
  tovik::chain_group<Impatient> group(1);
  for (std::uint32_t id : {1u, 2u}) {
    chain_info info = share(4, 20);
    info.id = id;
    group.push_back(chain<Impatient>(std::make_shared<Impatient>(10), info));
  }
  testing::internal::CaptureStdout();
  group.exec();
  testing::internal::GetCapturedStdout();
  EXPECT_TRUE(group.interrupted());
  EXPECT_EQ(group.done().iterations, 6u);
  EXPECT_EQ(group.done().planned_iterations, 40u);
  EXPECT_EQ(group.iterations().n_chains(), 2u);
  EXPECT_EQ(group.estimates().n_chains(), 1u) << "only chains with draws are summarised";
  EXPECT_EQ(group.estimates().n_cols(), 6u);
}

}  // namespace
