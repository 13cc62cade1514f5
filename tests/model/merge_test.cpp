// Two equations of one outcome become one; variance models; members of blocks.

#include "run_models.hpp"

namespace tovik::tests::merge_test {
namespace {

texts commands(const ModelList& list) {
  texts out;
  for (const Model& model : list) out.push_back(model.command());
  return out;
}

struct reduce_off {
  reduce_off() { sem::defaults::reduce_models = false; }
  ~reduce_off() { sem::defaults::reduce_models = true; }
};

TEST(Merge, ManyEquationsKeepTheOrderOfTheirStatements) {
  run_models run(0, {"y ~ x", "z ~ y2", "y ~ y2", "y ~ y10", "z ~ x", "y ~ w"});
  EXPECT_EQ(commands(run.all), (texts{"y ~ Intercept x y2 y10 w", "z ~ Intercept y2 x"}));
}

TEST(Merge, GivesOneInterceptInFront) {
  for (const texts& both : {texts{"y ~ x", "y ~ z"}, texts{"y ~ 1 x", "y ~ z"}, texts{"y ~ x", "y ~ 1 z"},
                            texts{"y ~ 1 x", "y ~ 1 z"}}) {
    run_models run(0, both);
    ASSERT_EQ(run.all.size(), 1u);
    ASSERT_EQ(run.all[0].fixed.size(), 3u) << both[0] << ";" << both[1];
    EXPECT_TRUE(run.all[0].fixed[0].is_intercept());
    EXPECT_TRUE(run.all[0].has_fixed_intercept);
  }
}

TEST(Merge, AnEquationMadeOfALoadingDoesNotRestoreAnIntercept) {
  run_models run(0, {"y ~ 0 x", "eta -> y z y2"});
  EXPECT_EQ(run["y"].command(), "y ~ 0 x eta@1");
}

TEST(Merge, ComputedTermsAreAppended) {
  run_models run(1, {"y ~ x (x*z) | (x*z)", "y ~ (z^2)"});
  ASSERT_EQ(run.all.size(), 1u);
  EXPECT_EQ(run.all[0].fixed_compute.size(), 2u);
  EXPECT_EQ(run.all[0].random_compute.size(), 1u);
}

TEST(Merge, PhantomsAreASet) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y ~ x ghost", "y ~ z ghost"});
  ASSERT_EQ(all.size(), 2u);
  all.reduce();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].phantoms.size(), 1u);
}

TEST(Merge, TheVarianceComesFromTheSideThatHasOne) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y ~ x", "y ~ z"});
  all[1].variance = model::parameter::labelled("v");
  all.reduce();
  EXPECT_EQ(all[0].variance.label(), "v");
  ModelList other = equations(list, {"y ~ x", "y ~ z"});
  other[0].variance = model::parameter::fixed_at(2);
  other[1].variance = model::parameter::labelled("v");
  other.reduce();
  EXPECT_EQ(other[0].variance.value(), 2);
}

TEST(Merge, ImputationModelsJoinOnlyEachOther) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y ~ x", "y ~ z", "y ~ y2", "y ~ y10"});
  for (std::size_t i : {1u, 3u}) {
    all[i].block = block::predef::imputation;
    all[i].block_number = all.blocks.number(block::predef::imputation);
  }
  all.reduce();
  EXPECT_EQ(commands(all), (texts{"y ~ Intercept x y2", "y ~ Intercept z y10"}));
}

TEST(Merge, ALinkThatNobodyWroteYieldsOnEitherSide) {
  run_models first(0, {"logit(bin) ~ x", "bin ~ z", "bin ~ y"});
  ASSERT_EQ(first.all.size(), 1u);
  EXPECT_EQ(first.all[0].link, model::link::logit);
  run_models last(0, {"bin ~ z", "bin ~ y", "logit(bin) ~ x"});
  ASSERT_EQ(last.all.size(), 1u);
  EXPECT_EQ(last.all[0].link, model::link::logit);
  EXPECT_TRUE(last.all[0].link_given);
}

TEST(Merge, AnUnwrittenLinkGoesToTheWrittenOne) {
  run_models run(0, {"logit(bin) ~ x", "bin ~ y"});
  EXPECT_EQ(commands(run.all), (texts{"logit(bin) ~ Intercept x y"}));
}

TEST(Merge, DifferentOutcomesAreAFaultOfTheCaller) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y ~ x", "z ~ x", "var(z) ~ x", "logit(bin) ~ x", "probit(bin) ~ x"});
  EXPECT_EQ(message([&] { all[0] += all[1]; }), "Models do not have same Outcomes!");
  EXPECT_EQ(message([&] { all[0] += all[2]; }), "Models do not have same Outcomes!");
  EXPECT_EQ(message([&] { all[3] += all[4]; }), "Models do not have same Outcomes!");
}

TEST(VarianceModel, KeepsItsTermsAndMarksItsOwner) {
  run_models run(0, {"y ~ x", "var(y) ~ z", "y ~ y2", "var(y) ~ y10"});
  ASSERT_EQ(run.all.size(), 2u);
  const Model& owner = run.all[0];
  const Model& scale = run.all[1];
  EXPECT_EQ(owner.link, model::link::scale);
  EXPECT_EQ(scale.link, model::link::log_variance);
  EXPECT_EQ(scale.kind(), model::kind::log_variance);
  EXPECT_EQ(scale.outcomes[0].type, model::type::variance);
  EXPECT_EQ(scale.command(), "var(y) ~ Intercept z y10");
  EXPECT_EQ(run.all.scale_pairs(), (std::vector<std::pair<unsigned, unsigned>>{{0, 1}}));
  EXPECT_EQ(run.all.find(owner.outcomes[0]), &owner);
}

TEST(VarianceModel, PairsFollowTheSortedList) {
  run_models run(0, {"var(z) ~ x", "var(y) ~ x", "z ~ 1", "y ~ 1"});
  for (const auto& [owner, scale] : run.all.scale_pairs()) {
    EXPECT_EQ(run.all[owner].link, model::link::scale);
    EXPECT_EQ(run.all[owner].outcomes[0].variable, run.all[scale].outcomes[0].variable);
  }
  EXPECT_EQ(run.all.scale_pairs().size(), 2u);
}

TEST(VarianceModel, HasAnOwner) {
  VariableList list = catalogue(0);
  const ModelList alone = equations(list, {"var(y) ~ z"});
  EXPECT_EQ(message([&] { (void)alone.scale_pairs(); }), "Cannot form variance link.");
}

TEST(VarianceModel, WithoutMergingTheFirstEquationOwnsIt) {
  const reduce_off off;
  run_models run(0, {"y ~ x", "y ~ z", "var(y) ~ x"});
  EXPECT_EQ(run.all[0].link, model::link::scale);
  EXPECT_EQ(run.all[1].link, model::link::identity);
}

TEST(Members, JoinABlockSortedWithTheirFixedVariances) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y10 ~ x", "bin ~ x", "y2 ~ x"});
  all[0].variance = model::parameter::fixed_at(2);
  all[2].variance = model::parameter::labelled("v");
  Model multi(model::multi_outcome());
  EXPECT_EQ(multi.levels, -1);
  EXPECT_EQ(multi.kind(), model::kind::block);
  for (const Model& member : all) multi += member;
  ASSERT_EQ(multi.fixed.size(), 3u);
  EXPECT_EQ(multi.fixed[0].name(), "bin");
  EXPECT_EQ(multi.fixed[0].param.value(), 1.0);  // a propensity's scale
  EXPECT_EQ(multi.fixed[1].name(), "y2");
  EXPECT_TRUE(multi.fixed[1].param.is_free());
  EXPECT_EQ(multi.fixed[2].name(), "y10");
  EXPECT_EQ(multi.fixed[2].param.value(), 2.0);
  EXPECT_EQ(multi.levels, 0);
  EXPECT_TRUE(all[1].variance.is_free());
}

TEST(Members, MustBeEligibleSingleAndOfOneLevel) {
  VariableList list = catalogue(1);
  ModelList all = equations(
      list, {"y ~ x", "logit(bin) ~ x", "visits ~ x", "y.missing ~ x", "v ~ 1", "var(y) ~ x", "g ~ x"});
  for (std::size_t i : {1u, 2u, 3u, 5u, 6u}) {
    Model multi(model::multi_outcome());
    EXPECT_EQ(message([&] { multi += all[i]; }), "Cannot add to multi model.") << all[i].command();
  }
  Model multi(model::multi_outcome());
  multi += all[0];
  EXPECT_EQ(message([&] { multi += all[4]; }), "Cannot make multi model!");
}

TEST(Members, GiveTheBlockOfTheLastToRun) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y ~ x", "z ~ x", "y2 ~ x"});
  all.blocks.insert("one");
  all.blocks.insert("two");
  const char* names[] = {"one", "two", "model"};
  Model multi(model::multi_outcome());
  for (std::size_t i = 0; i < 3; ++i) {
    all[i].block = names[i];
    all[i].block_number = all.blocks.number(names[i]);
    multi += all[i];
  }
  EXPECT_EQ(multi.block, "two");
  EXPECT_EQ(multi.block_number, 2);
}

TEST(Members, CorrelationsArePhantomsOfABlock) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y ~ x"});
  Model multi(model::multi_outcome());
  EXPECT_EQ(message([&] { multi += std::vector<model::anyVariable>{all[0].outcomes[0]}; }),
            "Cannot add non phantom variable!");
  EXPECT_EQ(message([&] { all[0] += std::vector<model::anyVariable>{}; }), "Models cannot add variables!");
}

TEST(Order, FollowsBlockRankLevelAndName) {
  VariableList list = catalogue(1);
  ModelList all = equations(list, {"y ~ x", "y10 ~ x", "y2 ~ x", "y.missing ~ 1", "eta ~ 1", "visits ~ 1"});
  all.sort();
  texts names;
  for (const Model& model : all) names.push_back(model.name());
  EXPECT_EQ(names, (texts{"eta", "visits", "y", "y2", "y10", "y.missing"}));
}

TEST(Order, CorrelationsOfLowerLevelsComeFirst) {
  run_models run(2, {"y[district] <-> z[district]", "y[school] <-> z[school]"});
  texts names;
  for (const Model& model : run.all) {
    if (model.kind() == model::kind::phantom) names.push_back(model.command());
  }
  EXPECT_EQ(names, (texts{"y[school] <-> z[school]", "y[district] <-> z[district]"}));
}

}  // namespace
}  // namespace tovik::tests::merge_test
