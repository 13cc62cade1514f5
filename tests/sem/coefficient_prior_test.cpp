#include "sem/scan/coefficient_prior.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "support/error.hpp"

namespace tovik::sem::scan {
namespace {

TEST(CoefficientPrior, IsFlatUnlessSaidOtherwise) {
  const coefficient_prior prior;
  EXPECT_TRUE(prior.is_flat());
  EXPECT_TRUE(prior.is_centred());
  EXPECT_EQ(prior.precision(3), 0.0);
  EXPECT_EQ(prior.mean(3), 0.0);
}

TEST(CoefficientPrior, OfARidgeHasOnePrecisionForAll) {
  const coefficient_prior prior = coefficient_prior::ridge(4.0);
  EXPECT_FALSE(prior.is_flat());
  EXPECT_TRUE(prior.is_centred());
  EXPECT_TRUE(prior.fits(0));
  EXPECT_TRUE(prior.fits(7));
  EXPECT_EQ(prior.precision(6), 0.25);
  EXPECT_EQ(prior.mean(6), 0.0);
  EXPECT_TRUE(coefficient_prior::ridge(INFINITY).is_flat());
}

TEST(CoefficientPrior, OfEachCoefficientFitsTheirNumberOnly) {
  const coefficient_prior prior = coefficient_prior::of_each({0.0, 0.5}, {0.0, -2.0});
  EXPECT_FALSE(prior.is_flat());
  EXPECT_FALSE(prior.is_centred());
  EXPECT_TRUE(prior.fits(2));
  EXPECT_FALSE(prior.fits(3));
  EXPECT_EQ(prior.precision(0), 0.0);
  EXPECT_EQ(prior.precision(1), 0.5);
  EXPECT_EQ(prior.mean(1), -2.0);
  EXPECT_TRUE(coefficient_prior::of_each({0.0, 0.0}, {0.0, 0.0}).is_flat());
  EXPECT_TRUE(coefficient_prior::of_each({1.0, 2.0}, {0.0, 0.0}).is_centred());
}

TEST(CoefficientPrior, RefusesWhatIsNoNormalPrior) {
  for (double variance : {0.0, -1.0, static_cast<double>(NAN)})
    EXPECT_THROW(coefficient_prior::ridge(variance), error_debug) << variance;
  EXPECT_THROW(coefficient_prior::of_each({1.0}, {0.0, 0.0}), error_debug);
  EXPECT_THROW(coefficient_prior::of_each({-1.0}, {0.0}), error_debug);
  EXPECT_THROW(coefficient_prior::of_each({INFINITY}, {0.0}), error_debug);
  EXPECT_THROW(coefficient_prior::of_each({1.0}, {NAN}), error_debug);
}

}  // namespace
}  // namespace tovik::sem::scan
