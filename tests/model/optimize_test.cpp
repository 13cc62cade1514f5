// Correlations: what they connect, which become blocks, and what stays a phantom.

#include <set>

#include "run_models.hpp"

namespace tovik::tests::optimize_test {
namespace {

struct optimize_off {
  optimize_off() { sem::defaults::optimize_models = false; }
  ~optimize_off() { sem::defaults::optimize_models = true; }
};

/// The number of models of a kind.
unsigned count(const ModelList& list, model::kind kind) {
  return static_cast<unsigned>(
      std::count_if(list.begin(), list.end(), [&](const Model& m) { return m.kind() == kind; }));
}

texts members(const Model& block) {
  texts out;
  for (const auto& term : block.fixed) out.push_back(term.name());
  return out;
}

TEST(PhantomName, CodesWhatATokenCannotHold) {
  EXPECT_EQ(model::phantom_name("a", "b"), "a#cor#b");
  EXPECT_EQ(model::phantom_name("y[school]", "z"), "y###school#####cor#z");
  EXPECT_EQ(model::phantom_name("a$1", "b*c"), "a#1#cor#b##c");
}

TEST(Correlation, EntersThePhantomIntoBothEquationsOnce) {
  const optimize_off off;
  run_models run(0, {"y ~ x", "z ~ x", "z <-> y", "y <-> z"});
  ASSERT_EQ(run.all.size(), 3u);
  const auto phantom = run.list.find("Y#COR#Z");
  ASSERT_TRUE(phantom);
  EXPECT_EQ(phantom->column, data::variable::no_column);
  for (const char* name : {"y", "z"}) {
    ASSERT_EQ(run[name].phantoms.size(), 1u);
    const model::anyVariable& term = run[name].phantoms[0];
    EXPECT_EQ(term.variable, phantom);
    EXPECT_EQ(term.type, model::type::phantom);
    EXPECT_TRUE(term.is_derived);
    ASSERT_TRUE(term.ends);
    EXPECT_EQ(term.ends->first.name, "y");
    EXPECT_EQ(term.ends->second.name, "z");
    EXPECT_FALSE(term.ends->first.effect);
  }
  const Model& own = run.of_kind(model::kind::phantom);
  EXPECT_EQ(own.levels, 0);
  EXPECT_TRUE(own.fixed.empty());
  EXPECT_TRUE(own.random.empty());
}

TEST(Correlation, StandsAtTheLevelOfItsRandomEffects) {
  run_models run(2, {"y ~ x", "z ~ x", "y[school] <-> z[school]", "y[district] <-> z[district]"});
  const model::anyVariable& low = run["y"].phantoms.at(0);
  const model::anyVariable& high = run["y"].phantoms.at(1);
  EXPECT_EQ(low.variable->level, 1u);
  EXPECT_EQ(high.variable->level, 0u);
  EXPECT_EQ(low.ends->first.effect->type, data::type::constant);
  EXPECT_EQ(low.ends->first.outcome, run["y"].outcomes[0]);
  EXPECT_EQ(low.ends->second.name, "z[school]");
}

TEST(Correlation, OfOutcomesAtTwoLevelsIsThatOfTheRandomIntercept) {
  run_models run(2, {"y ~ x", "w ~ 1", "v ~ 1", "y <-> w", "v <-> w", "y <-> v"});
  EXPECT_EQ(run["y"].phantoms.size(), 2u);
  EXPECT_TRUE(run.list.find("w#cor#y###school####"));
  EXPECT_TRUE(run.list.find("v#cor#w###district####"));
  EXPECT_TRUE(run.list.find("v#cor#y###district####"));
  EXPECT_EQ(run.list.find("w#cor#y###school####")->level, 1u);
  EXPECT_EQ(count(run.all, model::kind::block), 0u);
}

TEST(Correlation, OfNamedEffectsReachesTheirEquations) {
  run_models run(1, {"y ~ x | x", "v ~ 1", "rs <-> v@r"});
  const model::anyVariable& term = run["v"].phantoms.at(0);
  EXPECT_EQ(run["y"].phantoms.size(), 1u);
  EXPECT_EQ(term.ends->first.name, "rs");
  EXPECT_EQ(term.ends->first.outcome.variable->name, "y");
  EXPECT_EQ(term.ends->first.effect->name, "x");
  EXPECT_EQ(run.of_kind(model::kind::phantom).variance.label(), "r");
}

TEST(Correlation, SecondLabelsOfVariancesAndCorrelationsFail) {
  EXPECT_EQ(failure(0, texts{"y <-> z@a", "z <-> y@b"}),
            "ERROR: The correlation for 'y' and 'z' already has a parameter label.");
  EXPECT_EQ(failure(0, texts{"y z ~~ y@a z", "y ~~ y@b"}),
            "ERROR: The variance for \"y\" already has a parameter label.");
  EXPECT_EQ(failure(0, texts{"y <-> z@a", "y <-> z@A", "y <-> z"}), "");
}

TEST(Correlation, WrongStatementsSayWhy) {
  const std::string dependent =
      "ERROR: The dependent variable is invalid. It must be a normal variable or a missing data indicator.";
  EXPECT_EQ(failure(1, "y.mean <-> z"), dependent);
  EXPECT_EQ(failure(1, "ghost <-> z"), dependent);
  EXPECT_EQ(failure(1, "y <-> school"), "ERROR: The identifier variable cannot be a dependent variable.");
  EXPECT_EQ(failure(1, "y <-> g.2"), "ERROR: Dummy code dependent variables are not currently supported.");
  EXPECT_EQ(failure(1, "y <-> held"), "ERROR: Dependent Variable \"held\" cannot be fixed.");
  EXPECT_EQ(failure(0, "y <-> g"), "ERROR: Nominal outcomes (g) cannot contain correlated residuals.");
  EXPECT_EQ(failure(0, "y <-> z@(-1.01)"),
            "ERROR: Cannot fix correlations values to be outside of \xC2\xB1 1.\n"
            "       Problem specification: y <-> z@(-1.01)");
  EXPECT_EQ(failure(0, "y%0.1 <-> z"),
            "ERROR: Cannot set start values for correlations.\n       Problem specification: y%0.1 <-> z");
}

TEST(Blocks, TakeWholeConnectedSets) {
  run_models run(0, {"y <-> y2@r", "y2 <-> y10@0.3", "x <-> z", "w ~ 1"});
  ASSERT_EQ(count(run.all, model::kind::block), 2u);
  EXPECT_EQ(count(run.all, model::kind::phantom), 0u);
  const auto places = run.all.subset_multi();
  const Model& small = run.all[places[0]];
  const Model& large = run.all[places[1]];
  EXPECT_EQ(members(small), (texts{"x", "z"}));
  EXPECT_EQ(members(large), (texts{"y", "y2", "y10"}));
  ASSERT_EQ(large.random.size(), 3u);
  EXPECT_EQ(large.random[0].param.value(), 0.3);
  EXPECT_EQ(large.random[1].param.label(), "r");
  EXPECT_EQ(large.random[2].param.value(), 0.0);
  EXPECT_EQ(large.random[2].ends->first.name, "y");
  EXPECT_EQ(large.random[2].ends->second.name, "y10");
  for (const char* name : {"y", "y2", "y10", "x", "z"}) EXPECT_TRUE(run[name].phantoms.empty()) << name;
  EXPECT_EQ(run.all.has_multi(run["y2"]), static_cast<int>(places[1]));
  EXPECT_EQ(run.all.has_multi(run["w"]), -1);
  texts found;
  for (unsigned i : run.all.find_multi(large)) found.push_back(run.all[i].name());
  EXPECT_EQ(found, members(large));
  // A member without an equation.
  Model stray = large;
  stray.fixed.push_back(stray.fixed.front());
  stray.fixed.back().variable = run.list.find("v");
  EXPECT_EQ(message([&] { (void)run.all.find_multi(stray); }), "Could not find models for multi");
}

TEST(Blocks, EveryPairOfMembersHasOneTerm) {
  const texts names = {"y", "y2", "y10", "x", "z", "w"};
  texts statements;
  for (std::size_t i = 1; i < names.size(); ++i) statements.push_back(names[i / 2] + " <-> " + names[i]);
  run_models run(0, statements);
  ASSERT_EQ(count(run.all, model::kind::block), 1u);
  const Model& block = run.of_kind(model::kind::block);
  EXPECT_EQ(block.random.size(), 15u);
  std::set<std::pair<std::string, std::string>> pairs;
  for (const auto& term : block.random) {
    ASSERT_TRUE(term.ends);
    pairs.emplace(std::min(term.ends->first.name, term.ends->second.name),
                  std::max(term.ends->first.name, term.ends->second.name));
  }
  EXPECT_EQ(pairs.size(), 15u);
  EXPECT_EQ(block.fixed_correlations().size(), 10u);
}

TEST(Blocks, OneIneligibleOutcomeKeepsPhantomsForItsWholeSet) {
  for (const char* outlier : {"logit(bin) ~ 1", "visits ~ 1"}) {
    const std::string name = outlier[0] == 'l' ? "bin" : "visits";
    // The order of statements decides nothing.
    run_models run(0, {outlier, "x <-> z", "y2 <-> x", "y <-> y2", name + " <-> y", "w <-> y10"});
    EXPECT_EQ(count(run.all, model::kind::phantom), 4u) << outlier;
    ASSERT_EQ(count(run.all, model::kind::block), 1u) << outlier;
    EXPECT_EQ(members(run.of_kind(model::kind::block)), (texts{"w", "y10"}));
    for (const char* kept : {"x", "z", "y", "y2"}) EXPECT_FALSE(run[kept].phantoms.empty()) << kept;
  }
}

TEST(Blocks, RandomEffectPhantomsNeitherPreventNorEnterThem) {
  run_models run(1, {"y ~ x", "z ~ x", "v ~ 1", "y <-> z", "y <-> v", "y[school] <-> z[school]"});
  ASSERT_EQ(count(run.all, model::kind::block), 1u);
  EXPECT_EQ(members(run.of_kind(model::kind::block)), (texts{"y", "z"}));
  EXPECT_EQ(count(run.all, model::kind::phantom), 2u);
  EXPECT_EQ(run["y"].phantoms.size(), 2u);
  EXPECT_EQ(run["v"].phantoms.size(), 1u);
}

TEST(Blocks, AnOutcomeWhoseResidualHasAPhantomStaysOut) {
  // v stands at the top: its residual meets the random intercept of y.
  run_models run(1, {"v ~ 1", "zeta ~ 1", "y ~ x", "v <-> zeta", "v <-> y"});
  EXPECT_EQ(count(run.all, model::kind::block), 0u);
  EXPECT_EQ(count(run.all, model::kind::phantom), 2u);
}

TEST(Blocks, FactorsAndPropensitiesMayJoin) {
  run_models run(0, {"eta -> y2 y10", "eta <-> y", "bin <-> y"});
  ASSERT_EQ(count(run.all, model::kind::block), 1u);
  const Model& block = run.of_kind(model::kind::block);
  EXPECT_EQ(members(block), (texts{"bin", "eta", "y"}));
  EXPECT_EQ(block.fixed[0].param.value(), 1.0);
  EXPECT_TRUE(block.fixed[1].param.is_free());
}

TEST(Blocks, CanBeSwitchedOff) {
  const optimize_off off;
  run_models run(0, {"y <-> z", "z <-> x"});
  EXPECT_EQ(count(run.all, model::kind::block), 0u);
  EXPECT_EQ(count(run.all, model::kind::phantom), 2u);
}

TEST(Blocks, MovingPhantomsNeedsTwoEligibleModelsOfOneLevel) {
  const optimize_off off;
  run_models run(1, {"y <-> z", "v ~ 1", "y <-> v", "logit(bin) ~ 1", "bin <-> y"});
  EXPECT_TRUE(Model::optimize(run["y"], run["bin"]).empty());
  EXPECT_TRUE(Model::optimize(run["y"], run["v"]).empty());
  EXPECT_TRUE(Model::optimize(run["z"], run["v"]).empty());
}

TEST(Blocks, MovedPhantomsLeaveBothModels) {
  const optimize_off off;
  run_models run(1, {"y <-> z", "y[school] <-> z[school]"});
  const auto moved = Model::optimize(run["y"], run["z"]);
  ASSERT_EQ(moved.size(), 1u);
  EXPECT_EQ(moved[0].name(), "y#cor#z");
  EXPECT_EQ(run["y"].phantoms.size(), 1u);
  EXPECT_EQ(run["z"].phantoms.size(), 1u);
}

TEST(Phantoms, OfTheUserCorrelateTheTwoEquationsThatHoldThem) {
  run_models run(0, {"y ~ x ghost", "z ~ x ghost@r"});
  ASSERT_EQ(count(run.all, model::kind::block), 1u);
  const Model& block = run.of_kind(model::kind::block);
  ASSERT_EQ(block.random.size(), 1u);
  EXPECT_EQ(block.random[0].param.label(), "r");
  EXPECT_EQ(block.random[0].ends->first.name, "y");
  EXPECT_EQ(block.find_correlation(model::parameter::labelled("r")), 2);
}

TEST(Phantoms, MustStandInTheEquationsOfTwoOutcomes) {
  const std::string wrong = "ERROR: Phantom variable not in two models.\n       Problem variable: 'ghost'";
  EXPECT_EQ(failure(0, "y ~ x ghost"), wrong);
  EXPECT_EQ(failure(0, texts{"y ~ ghost", "z ~ ghost", "x ~ ghost"}), wrong);
  EXPECT_EQ(failure(0, texts{"y ~ ghost", "y ~ x ghost"}), wrong);
  EXPECT_EQ(failure(0, texts{"y ~ ghost", "y ~ x ghost", "z ~ ghost"}), "");
}

TEST(Phantoms, AreRepeatedForAnotherListOfTheSameCatalogue) {
  VariableList list = catalogue(0);
  drop_unnamed_latents(list, {});
  const std::size_t before = list.variables.size();
  for (int i = 0; i < 2; ++i) {
    const ModelList all = sem::_parse(statements({"y <-> z"}), list, block::map());
    EXPECT_EQ(count(all, model::kind::block), 1u);
    EXPECT_EQ(list.variables.size(), before + 1);
  }
}

}  // namespace
}  // namespace tovik::tests::optimize_test
