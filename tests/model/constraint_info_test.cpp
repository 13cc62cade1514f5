// Labels: where they stand, how often, and what may not share one value.

#include "run_models.hpp"

namespace tovik::tests::constraint_info_test {
namespace {

using model::constraint_info;
using place = constraint_info::place;

model::parameter label(const char* name) {
  return model::parameter::labelled(name);
}

/// Places as "outcome place position[@level]", in order.
texts shown(run_models& run, const std::vector<constraint_info>& places) {
  static const char* const names[] = {"fixed",     "random",     "correlation",     "variance",
                                      "phantom",   "computed",   "computed_random", "lambda",
                                      "parameter", "computation"};
  texts out;
  for (const constraint_info& info : places) {
    std::string text = run.all.at(info.model).name() + " " + names[static_cast<int>(info.kind)] + " " +
                       std::to_string(info.position);
    if (info.level >= 0) text += " @" + std::to_string(info.level);
    out.push_back(text);
  }
  return out;
}

texts places(run_models& run, const char* name) {
  return shown(run, run.all.constraintInfo(label(name)));
}

std::string failure_of(run_models& run, const char* name) {
  try {
    run.all.constraintInfo(label(name));
  } catch (const error& fault) {
    return fault.what();
  }
  return "";
}

const std::string random_failure =
    "ERROR: Cannot specify random effect variance constraints.\n       the parameter labeled 'a' was used\n"
    "       more than once.";
const std::string correlation_failure =
    "ERROR: Cannot specify correlation constraints.\n       the parameter labeled 'r' was used\n"
    "       more than once.";

texts labels(const std::vector<model::parameter>& list) {
  texts out;
  for (const model::parameter& p : list) out.push_back(p.label());
  return out;
}

TEST(Constraints, OfAModelComeInTheOrderOfItsLists) {
  run_models run(1, {"y ~ x@b1 (x*z)@b2 | 1@v1 x@v2 (x*w)@v3", "y ~~ y@rv"});
  texts found;
  for (const model::parameter& p : run["y"].constraints()) {
    if (p.has_label()) found.push_back(p.label());
  }
  EXPECT_EQ(found, (texts{"b1", "v1", "v2", "b2", "v3", "rv"}));
}

TEST(Constraints, TheLambdaOfAYeoJohnsonModelIsTheLast) {
  run_models run(0, {"yjt(y, lam) ~ x@b", "y ~~ y@rv"});
  const auto all = run["y"].constraints();
  EXPECT_EQ(all.back().label(), "lam");
  EXPECT_EQ(all[all.size() - 2].label(), "rv");
}

TEST(Constraints, OfAListAreSortedWithoutRepeats) {
  run_models run(0, {"y ~ x@b10 z@B2", "y2 ~ x@a z@b2 v@0.5"});
  EXPECT_EQ(labels(run.all.constraints()), (texts{"a", "B2", "b10"}));
}

TEST(Constraints, FixedValuesAreNone) {
  run_models run(0, {"y ~ x@0.5"});
  EXPECT_TRUE(run.all.constraints().empty());
}

TEST(ConstraintInfo, OneLabelInTwoModels) {
  run_models run(0, {"y ~ x@a", "z ~ v@a"});
  EXPECT_EQ(places(run, "a"), (texts{"y fixed 1", "z fixed 1"}));
  EXPECT_EQ(places(run, "A"), (texts{"y fixed 1", "z fixed 1"}));
  EXPECT_EQ(run.all.appearances(label("a")), 2u);
}

TEST(ConstraintInfo, OneLabelTwiceInAModel) {
  run_models run(0, {"y ~ x@a z@a"});
  EXPECT_EQ(places(run, "a"), (texts{"y fixed 1", "y fixed 2"}));
}

TEST(ConstraintInfo, ANominalTermTakesAPlaceForEachCode) {
  run_models run(0, {"y ~ g@a x@b"});
  EXPECT_EQ(places(run, "a"), (texts{"y fixed 1", "y fixed 2"}));
  EXPECT_EQ(places(run, "b"), texts{"y fixed 3"});
  EXPECT_EQ(run.all.appearances(label("a")), 2u);
}

TEST(ConstraintInfo, ALabelOfANominalOutcomeAppearsOnceForEachCode) {
  run_models run(0, {"g ~ x@a"});
  EXPECT_EQ(places(run, "a"), texts{"g fixed 1"});
  EXPECT_EQ(run.all.appearances(label("a")), 2u);
}

TEST(ConstraintInfo, ACoefficientOfAComputedTermStandsBehindThePlainOnes) {
  run_models run(0, {"y ~ (x*z)@a v"});
  EXPECT_EQ(places(run, "a"), texts{"y fixed 2"});
}

TEST(ConstraintInfo, UnknownLabelsAndNoLabelHaveNoPlace) {
  run_models run(0, {"y ~ x@a"});
  EXPECT_TRUE(places(run, "b").empty());
  EXPECT_TRUE(run.all.constraintInfo(model::parameter()).empty());
  EXPECT_EQ(run.all.appearances(label("b")), 0u);
  EXPECT_EQ(run.all.appearances(model::parameter()), 0u);
}

TEST(ConstraintInfo, SharedResidualVariance) {
  run_models run(0, {"y ~~ y@rv", "z ~~ z@rv"});
  EXPECT_EQ(places(run, "rv"), (texts{"y variance 0", "z variance 0"}));
}

TEST(ConstraintInfo, AVarianceBelongsToOneOutcome) {
  run_models run(0, {"y ~~ y@rv"});
  Model& y = run["y"];
  y.outcomes.push_back(y.outcomes.front());
  EXPECT_EQ(message([&] { run.all.constraintInfo(label("rv")); }), "Doesn't work for other than 1 outcome.");
  EXPECT_EQ(message([&] { (void)y.var_param_name(); }), "Doesn't work for other than 1 outcome.");
}

TEST(ConstraintInfo, RandomEffectVarianceHasNoPriorOfItsOwn) {
  run_models run(1, {"y ~ x | 1@a"}, {"a ~ invgamma(1, 1)"});
  EXPECT_EQ(message([&] { run.all.constraintInfo(label("a")); }),
            "ERROR: Cannot specify a prior for a random effect variance.\n"
            "       The parameter labeled 'a' is the variance of a random effect.");
}

TEST(ConstraintInfo, RandomEffectVarianceIsReadOnly) {
  run_models run(2, {"y ~ x z | 1[school]@a x[district]@b z"}, {"d = a + b"});
  EXPECT_EQ(places(run, "a"), (texts{"y random 0 @1", "d computation 0"}));
  EXPECT_EQ(places(run, "b"), (texts{"y random 0 @0", "d computation 0"}));
}

TEST(ConstraintInfo, RandomEffectVariancesCannotBeTied) {
  for (const texts& statements : {texts{"y ~ x | x@a", "z ~ w | 0 y2@a"}, texts{"y ~ x | x@a", "z ~ y2@a"},
                                  texts{"y ~ x | x@a", "z ~~ z@a"}, texts{"y ~ x | x@a", "y2 <-> z@a"},
                                  texts{"y ~ x | x@a", "z ~ (x*a)", "y2 ~ x"}}) {
    run_models run(1, statements);
    EXPECT_EQ(failure_of(run, "a"), random_failure) << statements[1];
  }
}

TEST(ConstraintInfo, CorrelationsOfBlocksCannotBeTied) {
  run_models two(0, {"y <-> y2@r", "z <-> x@r"});
  EXPECT_EQ(failure_of(two, "r"), correlation_failure);
  run_models one(0, {"y <-> y2@r", "y2 <-> z@r"});
  EXPECT_EQ(failure_of(one, "r"), correlation_failure);
}

TEST(ConstraintInfo, ACorrelationOfABlock) {
  run_models run(0, {"y <-> y2", "y2 <-> z@r"});
  const auto found = run.all.constraintInfo(label("r"));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].kind, place::correlation);
  EXPECT_EQ(found[0].position, 1u + 2u * 3u);
  EXPECT_TRUE(run.all.at(found[0].model).is_multi());
}

TEST(ConstraintInfo, ACorrelationOfAPhantom) {
  run_models run(1, {"y ~ x", "z ~ x", "y[school] <-> z[school]@r"});
  const auto found = run.all.constraintInfo(label("r"));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].kind, place::phantom);
  EXPECT_EQ(run.all.at(found[0].model).kind(), model::kind::phantom);
}

TEST(ConstraintInfo, FactorsInComputedTerms) {
  run_models run(1, {"y ~ z@b (g*b) (x*z) | (x*b)"});
  EXPECT_EQ(places(run, "b"), (texts{"y fixed 1", "y computed 0", "y computed 1", "y computed_random 0"}));
  EXPECT_EQ(run.all.appearances(label("b")), 3u);
}

TEST(ConstraintInfo, FactorsInDefinitionsCount) {
  run_models run(0, {"y ~ z@b d", "d = x * b"});
  EXPECT_EQ(places(run, "b"), (texts{"y fixed 1", "y computed 0"}));
  EXPECT_EQ(run.all.appearances(label("b")), 2u);
}

TEST(ConstraintInfo, LambdaOfAYeoJohnsonModel) {
  run_models run(0, {"yjt(y, lam) ~ x"}, {"lam ~ uniform(0, 2)"});
  EXPECT_EQ(places(run, "lam"), (texts{"y lambda 0", "lam parameter 0"}));
  EXPECT_EQ(run.all.appearances(label("lam")), 2u);
}

TEST(ConstraintInfo, PriorsAndComputations) {
  run_models run(0, {"y ~ x@a z@c"}, {"a ~ normal(0, 1)", "c = a * a", "d = c + a"});
  EXPECT_EQ(places(run, "a"), (texts{"y fixed 1", "a parameter 0", "c computation 0", "d computation 0"}));
  EXPECT_EQ(places(run, "c"), (texts{"y fixed 2", "c computation 0", "d computation 0"}));
}

TEST(Appearances, APriorIsOne) {
  run_models run(0, {"y ~ x@a z@b"}, {"a ~ normal(0, 1)"});
  EXPECT_EQ(run.all.appearances(label("a")), 2u);
  EXPECT_EQ(run.all.appearances(label("b")), 1u);
}

TEST(Appearances, AGeneratedQuantityIsNone) {
  run_models run(0, {"y ~ x@a"}, {"d = a * 2"});
  EXPECT_EQ(run.all.appearances(label("a")), 1u);
  EXPECT_EQ(run.all.appearances(label("d")), 0u);
}

TEST(Appearances, AComputedParameterThatIsALabelCountsForAllThatItDependsOn) {
  run_models run(0, {"y ~ x@a z@c v@e"}, {"b = a * 2", "c = b + 1", "f = e"});
  EXPECT_EQ(run.all.appearances(label("a")), 2u);
  EXPECT_EQ(run.all.appearances(label("c")), 1u);
  EXPECT_EQ(run.all.appearances(label("e")), 1u);
}

TEST(Appearances, TheTableAgreesWithTheQuestions) {
  run_models run(1, {"y ~ x@a z@b (v*a) | x@s", "z ~ v@b", "y2 <-> y10@r"}, {"a ~ normal(0, 1)", "d = a*b"});
  const auto table = run.all.label_table();
  for (const model::parameter& p : run.all.constraints()) {
    EXPECT_EQ(table.at(p.label()).appearances, run.all.appearances(p)) << p.label();
    EXPECT_EQ(shown(run, table.at(p.label()).places), places(run, p.label().c_str())) << p.label();
  }
}

TEST(ConstraintInfo, OfAPhantomAreItsOwnModelAndTheTwoItJoins) {
  run_models run(1, {"y ~ x", "z ~ x", "y[school] <-> z[school]"});
  const auto phantom = run.of_kind(model::kind::phantom).outcomes.front().variable;
  EXPECT_EQ(shown(run, run.all.constraintInfo(phantom)),
            (texts{"y phantom 0 @0", "z phantom 0 @0",
                   run.of_kind(model::kind::phantom).name() + " phantom 0 @0"}));
}

TEST(ConstraintInfo, OfANamedRandomEffectAreTheModelsThatReadIt) {
  run_models run(1, {"z ~ x rs (rs*w)", "y ~ x | x", "w ~ rs"});
  EXPECT_EQ(shown(run, run.all.constraintInfo(run.list.find("rs"))),
            (texts{"w fixed 1", "z fixed 2", "z computed 0"}));
}

}  // namespace
}  // namespace tovik::tests::constraint_info_test
