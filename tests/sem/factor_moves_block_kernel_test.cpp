// Moves of the scores of a factor whose residuals, or those of its indicators, are correlated with others'
// leave the joint distribution of scores, parameters, covariance matrices and indicators unchanged.

#include <gtest/gtest.h>

#include <cmath>

#include "correlated_indicators.hpp"
#include "invariance_frame.hpp"

namespace tovik::tests::factor_moves_block_kernel_test {
namespace {

void expect_invariant(CorrelatedIndicators& w) {
  double moved = 0.0, before = 0.0;
  constexpr int replications = 10000;
  kernel_leaves_joint(
      {.replications = replications,
       .applications = 4,
       .before = [&] { before = w.models[3]->betas_(1); },
       .after = [&] { moved += std::fabs(std::log(w.models[3]->betas_(1) / before)) > 0.05 ? 1.0 : 0.0; }},
      [&] { w.draw_joint(); }, [&] { return w.functions(); }, [&] { w.moves->draw(w.world.data, w.rng); });
  EXPECT_GT(moved, 0.5 * replications);
}

constexpr unsigned char known = sem::block_setup::known, labelled = sem::block_setup::labelled;

TEST(FactorMovesInBlocks, OfAFactorWithAnIndicatorOfItsBlock) {
  CorrelatedIndicators w({});
  expect_invariant(w);
}

TEST(FactorMovesInBlocks, OfAFactorWithAKnownVariance) {
  CorrelatedIndicators w({.variance = 0.7});
  expect_invariant(w);
}

TEST(FactorMovesInBlocks, OfAFactorWithAKnownCorrelation) {
  CorrelatedIndicators w({.elements = known, .correlation = 0.4});
  expect_invariant(w);
}

TEST(FactorMovesInBlocks, OfAFactorWithALabelledCorrelation) {
  CorrelatedIndicators w({.elements = labelled});
  expect_invariant(w);
}

TEST(FactorMovesInBlocks, OfAFactorOfClustersAndABlockOfIndicators) {
  CorrelatedIndicators w({.level = 1});
  expect_invariant(w);
}

}  // namespace
}  // namespace tovik::tests::factor_moves_block_kernel_test
