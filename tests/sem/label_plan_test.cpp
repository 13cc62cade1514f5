// What the equations and PARAMETERS say of a label decides how it is drawn.

#include "sem/ensemble/label_plan.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "model/defaults.hpp"
#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::sem::label_plan_test {
namespace {

using tests::small_run;

const std::vector<std::string> names = {"school", "m", "x", "y", "z"};

arma::mat columns() {
  Random rng(5, 1);
  arma::mat out = rng.randn(12, 5);
  for (arma::uword i = 0; i < 12; ++i) out(i, 0) = static_cast<double>(i / 4);
  return out;
}

struct planned {
  small_run run;
  std::vector<planned_label> labels;

  planned(const std::vector<std::string>& statements, const std::vector<std::string>& parameters)
      : run(names, columns(), {"school"}, statements, parameters), labels(plan_labels(run.models)) {}

  const planned_label& at(const std::string& key) const {
    const auto found =
        std::find_if(labels.begin(), labels.end(), [&](const planned_label& l) { return l.key == key; });
    if (found == labels.end()) throw std::out_of_range(key);
    return *found;
  }
  std::vector<std::string> followers(const std::string& key) const {
    std::vector<std::string> out;
    for (unsigned i : at(key).followers) out.push_back(run.models[i].name());
    return out;
  }
};

std::string failure(const std::vector<std::string>& statements, const std::vector<std::string>& parameters) {
  return small_run(names, columns(), {"school"}, statements, parameters).failure();
}

TEST(LabelPlan, OnePlaceStaysWithItsModel) {
  const planned plan({"y ~ x@B z | 1@v", "y ~~ y@s"}, {"g = b + v + s + y.totalvar"});
  ASSERT_EQ(plan.labels.size(), 3u);
  for (const planned_label& label : plan.labels) {
    EXPECT_EQ(label.role, label_role::handle) << label.name;
    EXPECT_EQ(label.appearances, 1u) << label.name;
    EXPECT_EQ(label.places.size(), 1u) << label.name;
  }
  EXPECT_EQ(plan.at("b").name, "B");
}

TEST(LabelPlan, WhatSeveralTermsDependOnIsDrawnSingly) {
  const planned plan({"y ~ x@a z@a (x*z*c)@1", "m ~ x@b z@c", "m ~~ m@d"},
                     {"b ~ normal(0, 1)", "e ~ beta(1, 1)"});
  EXPECT_EQ(plan.at("a").role, label_role::drawn);
  EXPECT_EQ(plan.at("a").places.size(), 2u);
  EXPECT_EQ(plan.at("c").role, label_role::drawn);
  EXPECT_EQ(plan.at("d").role, label_role::handle);
  EXPECT_EQ(plan.at("b").role, label_role::drawn);
  EXPECT_EQ(plan.run.models[static_cast<std::size_t>(plan.at("b").prior)].name(), "b");
  // A parameter of PARAMETERS alone is drawn from its prior.
  EXPECT_EQ(plan.at("e").role, label_role::drawn);
  EXPECT_TRUE(plan.at("e").places.empty());
  EXPECT_EQ(plan.labels.back().key, "e");
}

TEST(LabelPlan, ComputedLabelsMoveWithWhatTheyRead) {
  const planned plan({"m ~ x@a z@p", "y ~ m@b x@c z@e"},
                     {"h = a + b", "c = a * b", "k = c + 1", "e = k", "g = e - c"});
  EXPECT_EQ(plan.at("c").role, label_role::derived);
  EXPECT_EQ(plan.at("e").role, label_role::derived);
  EXPECT_EQ(plan.at("a").role, label_role::drawn);
  EXPECT_EQ(plan.at("p").role, label_role::handle);
  // What only is reported (h, g) is computed after the draw; k stands between c and e.
  EXPECT_EQ(plan.followers("a"), (std::vector<std::string>{"c", "k", "e"}));
  EXPECT_EQ(plan.followers("b"), (std::vector<std::string>{"c", "k", "e"}));
}

TEST(LabelPlan, ComputedParameterInsideATermAlone) {
  const planned plan({"y ~ x@a (z*c)@1"}, {"c = 2*a"});
  EXPECT_EQ(plan.at("c").role, label_role::derived);
  EXPECT_EQ(plan.followers("a"), std::vector<std::string>{"c"});
}

TEST(LabelPlan, WhatALabelCannotBe) {
  EXPECT_EQ(failure({"y ~ x@a z@c | 1@v"}, {"c = a * v"}),
            "ERROR: Could not find parameter name in map.\n       The computed parameter 'c' is used in an "
            "equation and cannot depend on 'v'.\n       Problem specification: 'c = a * v'");
  EXPECT_EQ(
      failure({"y ~ x@a z@c"}, {"c = a * y.totalvar"}),
      "ERROR: Could not find parameter name in map.\n       The computed parameter 'c' is used in an "
      "equation and cannot depend on 'y.totalvar'.\n       Problem specification: 'c = a * y.totalvar'");
  const std::string twice =
      "ERROR: Cannot specify random effect variance constraints.\n       the parameter labeled 'v' was "
      "used\n       more than once.";
  EXPECT_EQ(failure({"y ~ x@a | 1@v"}, {"v = a * 2"}), twice);
  try {
    failure({"y ~ x@a | 1@v"}, {"v ~ gamma(1, 1)"});
    ADD_FAILURE() << "a prior of a random effect's variance was read";
  } catch (const tovik::error& e) {
    EXPECT_STREQ(e.what(),
                 "ERROR: Cannot specify a prior for a random effect variance.\n       The parameter labeled "
                 "'v' is the "
                 "variance of a random effect.");
  }
  try {
    failure({"y ~ x@a | 1@v", "m ~ x | 1@v"}, {});
    FAIL() << "accepted";
  } catch (const error& e) {
    EXPECT_EQ(e.what(), twice);
  }
}

TEST(LabelPlan, CorrelationsAndVariancesOfBlocksFollowNothing) {
  small_run block(names, columns(), {}, {"y ~ x@a", "m ~ x", "y <-> m", "y ~~ y@s"}, {"s = a * a"});
  try {
    plan_labels(block.models);
    FAIL() << "accepted";
  } catch (const error& e) {
    EXPECT_STREQ(
        e.what(),
        "ERROR: Cannot set variances to a computed parameter with multivariate models.\n       Phantom "
        "variable correlations are required.\n       Set 'OPTIONS: use_phantom;' and rerun the model.");
  }
  small_run correlation(names, columns(), {}, {"y ~ x@a", "m ~ x", "y <-> m@r"}, {"r = a / 10"});
  try {
    plan_labels(correlation.models);
    FAIL() << "accepted";
  } catch (const error& e) {
    EXPECT_STREQ(
        e.what(),
        "ERORR: Cannot fix a correlation to a computed value.\n       Problem specification: 'r = a / 10'");
  }
}

TEST(LabelPlan, AComputedParameterMayReadACorrelationThatAPhantomCarries) {
  const bool blocks = defaults::optimize_models;
  defaults::optimize_models = false;
  const small_run run(names, columns(), {}, {"y ~ x@d", "m ~ x", "y <-> m@r"}, {"d = r / 10"});
  defaults::optimize_models = blocks;
  bool follows = false;
  for (const planned_label& label : plan_labels(run.models))
    follows = follows ||
              (label.name == "r" && label.role == label_role::correlation && label.followers.size() == 1);
  EXPECT_TRUE(follows);
}

}  // namespace
}  // namespace tovik::sem::label_plan_test
