// The second draw of the covariance matrices of latent means leaves the joint distribution of a predictor
// model as it is, and is not taken where it would move what equations read.

#include <gtest/gtest.h>

#include "invariance_frame.hpp"
#include "predictor_world.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::tests::mean_covariance_invariance_test {
namespace {

using kind = PredictorWorld::kind;

const nesting three = {{2, 3, 1}, {4}, {2, 2}, {1, 3}, {2}, {1, 1}};

/// x with known coefficients at each of `levels`, and variances from their priors; y reads its values.
PredictorWorld world_of(kind of, unsigned levels) {
  PredictorWorld world(500 + static_cast<unsigned>(of));
  world.of = of;
  world.levels = levels;
  world.deviates.assign(levels, true);
  if (levels == 3) world.sizes = three;
  world.free_variances = true;
  world.b_x = 0.7;
  world.build();
  return world;
}

/// A draw of the joint distribution with data that show every category.
void draw(PredictorWorld& world) {
  for (;;) {
    try {
      return world.draw_joint();
    } catch (const error_debug&) {
      // A category without an observation: the steps leave observed categories as they are.
    }
  }
}

void leaves_joint(kind of, unsigned levels, int replications) {
  PredictorWorld world = world_of(of, levels);
  int moved = 0;
  double before = 0.0;
  const auto variance = [&] { return world.x.state->components[1]->variances()(0); };
  kernel_leaves_joint(
      {.replications = replications,
       .applications = 6,
       .before = [&] { before = variance(); },
       .after = [&] { moved += variance() != before; }},
      [&] { draw(world); }, [&] { return world.functions(); },
      [&] {
        for (unsigned q = 1; q < world.places(); ++q) world.draw_means(q);
      });
  EXPECT_EQ(moved, replications);
}

TEST(MeanCovarianceInvariance, JointDistributionInTwoLevels) {
  for (kind of : {kind::continuous, kind::binary, kind::nominal}) {
    SCOPED_TRACE(static_cast<int>(of));
    leaves_joint(of, 2, 5000);
  }
}

TEST(MeanCovarianceInvariance, JointDistributionInThreeLevels) {
  for (kind of : {kind::continuous, kind::nominal}) {
    SCOPED_TRACE(static_cast<int>(of));
    leaves_joint(of, 3, 5000);
  }
}

TEST(MeanCovarianceInvariance, TheMeansKeepTheirStandardisedDeviations) {
  PredictorWorld world = world_of(kind::continuous, 2);
  world.draw_joint();
  world.x.model->drawComponent(1, world.scores_at(1), world.scores_at(0));
  const sem::Component& component = *world.x.state->components[1];
  const auto standardised = [&] {
    arma::mat expected;
    world.x.state->expected(1, world.scores_at(1), expected);
    return arma::mat((world.x.state->scores(1) - expected) / std::sqrt(component.sigma2));
  };
  const arma::mat before = standardised();
  const double variance = component.sigma2;
  world.x.model->redrawCovariance(1);
  EXPECT_NE(component.sigma2, variance);
  EXPECT_LT(arma::abs(standardised() - before).max(), 1e-10);
}

TEST(MeanCovarianceInvariance, NothingMovesWhereItIsTurnedOffOrWouldFallBelowTheFloor) {
  PredictorWorld world = world_of(kind::continuous, 2);
  world.draw_joint();
  world.x.model->drawComponent(1, world.scores_at(1), world.scores_at(0));
  sem::Component& component = *world.x.state->components[1];
  const arma::mat means = component.score;
  const double variance = component.sigma2;
  {
    const Setting<bool> once(sem::sampler_settings::redraw_factors, false);
    world.x.model->redrawCovariance(1);
  }
  EXPECT_EQ(component.sigma2, variance);
  component.floor = 1e12;
  world.x.model->redrawCovariance(1);
  EXPECT_EQ(component.sigma2, variance);
  EXPECT_EQ(arma::abs(component.score - means).max(), 0.0);
}

TEST(MeanCovarianceInvariance, MeansThatAnEquationReadsAreRefused) {
  PredictorWorld world(510);
  world.means = true;
  world.b_means = {0, 0.8, 0};
  world.build();
  world.draw_joint();
  EXPECT_THROW(world.x.model->redrawCovariance(1), error_debug);
}

}  // namespace
}  // namespace tovik::tests::mean_covariance_invariance_test
