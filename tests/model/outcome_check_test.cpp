// A variance can be set where an outcome has one. What is asked of the others has a class of its own.

#include <gtest/gtest.h>

#include "run_models.hpp"

namespace tovik {
namespace {

using model::parameter;
using tests::run_models;

TEST(OutcomeCheck, AValueForAVarianceThatIsNone) {
  EXPECT_THROW(run_models(0, {"grade ~ x", "grade ~~ grade@1"}), parameter::error_fixed);
  EXPECT_THROW(run_models(0, {"visits ~ x", "visits ~~ visits@2"}), parameter::error_fixed);
  EXPECT_THROW(run_models(0, {"g ~ x", "g ~~ g@2"}), parameter::error_fixed);
  EXPECT_THROW(run_models(0, {"logit(bin) ~ x", "bin ~~ bin%2"}), parameter::error_fixed);
}

TEST(OutcomeCheck, ALabelForAVarianceThatIsNone) {
  EXPECT_THROW(run_models(0, {"grade ~ x", "grade ~~ grade@rv"}), parameter::error_constraint);
  EXPECT_THROW(run_models(0, {"visits ~ x", "visits ~~ visits@rv"}), parameter::error_constraint);
}

TEST(OutcomeCheck, AValueAndALabelForAVarianceThatIsNone) {
  EXPECT_THROW(run_models(0, {"grade ~ x", "grade@1 ~~ grade@rv"}), parameter::error_constraint_fixed);
  EXPECT_THROW(run_models(0, {"grade ~ x", "grade ~~ grade@1", "grade ~~ grade@rv"}),
               parameter::error_constraint_fixed);
}

TEST(OutcomeCheck, AVarianceThatIsOneTakesAll) {
  EXPECT_NO_THROW(run_models(0, {"y ~ x", "y ~~ y@2"}));
  EXPECT_NO_THROW(run_models(0, {"y ~ x", "y ~~ y@rv"}));
  EXPECT_NO_THROW(run_models(0, {"grade ~ x", "grade ~~ grade"}));
}

}  // namespace
}  // namespace tovik
