// From the terms of a model to columns of the prepared data and to positions among its coefficients.

#include "run_models.hpp"

namespace tovik::tests::indices_test {
namespace {

using column_lists = std::vector<columns>;

/// A run whose derived columns have been appended.
struct prepared : run_models {
  prepared(unsigned identifiers, const std::vector<std::string>& texts) : run_models(identifiers, texts) {
    prepare(list);
  }
  const data::variable& operator()(const char* name) const { return *list.find(name); }
};

model::anyVariable term(prepared& run, const std::string& text) {
  return model::anyVariable::parse(text, run.list, run.all.names.get(), false);
}

TEST(Indices, OutcomeColumns) {
  prepared run(1, {"y ~ x", "grade ~ x", "g ~ x", "visits ~ x", "eta ~ x", "y2.missing ~ x"});
  for (const char* name : {"y", "grade", "visits", "eta"}) {
    EXPECT_EQ(run[name].yind(), columns{run(name).column}) << name;
    EXPECT_EQ(run[name].rawIndicators(), columns{run(name).column}) << name;
  }
  EXPECT_EQ(run["g"].yind(), columns{run("g").column});
  EXPECT_EQ(run["g"].rawIndicators(), (columns{run("g").dummies[0]->column, run("g").dummies[1]->column}));
  EXPECT_EQ(run["y2.missing"].yind(), run("y2").rstar);
  EXPECT_EQ(run["y2.missing"].rawIndicators(), run("y2").rstar);
}

TEST(Indices, APropensityAsOutcomeIsTheLatentColumn) {
  prepared run(0, {"grade ~ x"});
  Model model(term(run, "grade.latent"));
  EXPECT_EQ(model.yind(), run("grade").latent);
  EXPECT_EQ(model.rawIndicators(), columns{run("grade").column});
}

TEST(Indices, ABlockHasTheColumnsOfItsMembers) {
  prepared run(0, {"y2 <-> y"});
  EXPECT_EQ(run.of_kind(model::kind::block).yind(), (columns{run("y").column, run("y2").column}));
  EXPECT_TRUE(run.of_kind(model::kind::block).zind().empty());
}

TEST(Indices, PredictorColumnsByWhatIsMeant) {
  prepared run(1, {"z ~ x g x.mean g.mean grade.latent y.missing rs eta", "y ~ x | x"});
  columns expected = {run("1").column, run("x").column, run("g").dummies[0]->column,
                      run("g").dummies[1]->column, run("x").means.at(0)};
  expected.insert(expected.end(), run("g").means.begin(), run("g").means.end());
  expected.push_back(run("grade").latent.at(0));
  expected.push_back(run("y").rstar.at(0));
  expected.push_back(run("rs").column);
  expected.push_back(run("eta").column);
  EXPECT_EQ(run["z"].xind(), expected);
  EXPECT_EQ(run["z"].latentIndicators(), run("grade").latent);
  EXPECT_EQ(run["z"].missingIndicators(), run("y").rstar);
  EXPECT_EQ(run["z"].randomIndicators(), columns{run("rs").column});
}

TEST(Indices, LatentMeansHaveAColumnForEachLevelAboveTheVariable) {
  prepared run(2, {"y ~ x.mean", "w ~ g.mean[district]"});
  EXPECT_EQ(run["y"].xind(), (columns{run("1").column, run("x").means.at(0), run("x").means.at(1)}));
  EXPECT_EQ(run["w"].xind(), (columns{run("1").column, run("g").means.at(2), run("g").means.at(3)}));
}

TEST(Indices, AnOutcomeOfTheTopLevelReadsOnlyTheTopMeans) {
  prepared run(2, {"v ~ 1", "y ~ x"});
  Model& model = run["v"];
  model.fixed.push_back(term(run, "x.mean"));
  EXPECT_EQ(model.xind(), (columns{run("1").column, run("x").means.at(1)}));
  EXPECT_EQ(model.standardized(), texts{"x.mean[district]"});
}

TEST(Indices, RandomColumnsRunFromTheNearestLevelUp) {
  prepared run(2, {"y ~ x w | 1[school] x w"});
  EXPECT_EQ(run["y"].zind(),
            (column_lists{{run("1").column, run("x").column}, {run("x").column, run("w").column}}));
  EXPECT_EQ(run["y"].hasRandomIntercept(), (std::vector<bool>{true, false}));
  EXPECT_EQ(run["y"].n_re(), 4u);
  EXPECT_EQ(run["y"].n_re(1), 2u);
  EXPECT_EQ(run["y"].n_re(0), 2u);
  EXPECT_EQ(run["y"].n_re(2), 0u);
  EXPECT_TRUE(run["y"].reName(-1).empty());
  EXPECT_TRUE(run["y"].reName(2).empty());
}

TEST(Indices, ARandomTermInBracketsStandsAtOneLevel) {
  prepared run(2, {"y ~ x | 0 x[district]"});
  EXPECT_EQ(run["y"].zind(), (column_lists{{}, {run("x").column}}));
  EXPECT_EQ(run["y"].hasRandomIntercept(), (std::vector<bool>{false, false}));
}

TEST(Indices, LatentMeansVaryAboveTheirOwnLevel) {
  prepared run(2, {"y ~ x.mean | 0 x.mean"});
  EXPECT_EQ(run["y"].zind(), (column_lists{{}, {run("x").means.at(0)}}));
  EXPECT_EQ(run["y"].reName(0), texts{"x.mean[school]"});
}

TEST(Indices, NamedEffectsVaryAboveTheirIdentifier) {
  prepared run(2, {"z ~ rs | 0 rs", "y ~ x | x"});
  EXPECT_EQ(run["z"].zind(), (column_lists{{}, {run("rs").column}}));
}

TEST(Indices, NominalRandomTermsHaveAColumnForEachCode) {
  prepared run(1, {"y ~ g | g"});
  EXPECT_EQ(run["y"].n_re(), 3u);
  EXPECT_EQ(run["y"].randomParameters(0).size(), 3u);
}

TEST(Indices, ComputedRandomTermsCountAtEachLevel) {
  prepared run(2, {"y ~ x | (x*z) (w*v)@s"});
  const Model& model = run["y"];
  EXPECT_EQ(model.n_re(1), 2u);
  EXPECT_EQ(model.n_re(0), 3u);
  EXPECT_EQ(model.n_re(), 5u);
  EXPECT_EQ(model.reName(0), (texts{"Intercept", "x*z", "w*v"}));
  EXPECT_EQ(model.zind(), (column_lists{{run("1").column}, {run("1").column}}));
  ASSERT_EQ(model.zindInter().size(), 2u);
  EXPECT_EQ(model.zindInter()[0], (column_lists{{run("x").column, run("z").column}}));
  ASSERT_EQ(model.randomParameters(0).size(), 3u);
  EXPECT_EQ(model.randomParameters(0)[2].label(), "s");
}

TEST(Indices, SingleLevelModelsHaveNoRandomColumns) {
  prepared run(0, {"y ~ x"});
  EXPECT_TRUE(run["y"].zind().empty());
  EXPECT_TRUE(run["y"].hasRandomIntercept().empty());
  EXPECT_EQ(run["y"].n_re(), 0u);
}

TEST(Indices, AModelOfATermAloneHasNoLevels) {
  prepared run(1, {"y ~ x"});
  const Model model(term(run, "z"));
  EXPECT_EQ(model.levels, -1);
  EXPECT_TRUE(model.zind().empty());
  EXPECT_TRUE(model.dind().empty());
}

TEST(Indices, PhantomsStandByLevelBehindThoseOfTheResiduals) {
  sem::defaults::optimize_models = false;
  prepared run(1, {"y ~ x", "z ~ x", "y <-> z", "y[school] <-> z[school]"});
  sem::defaults::optimize_models = true;
  const column_lists all = run["y"].dind();
  ASSERT_EQ(all.size(), 2u);
  ASSERT_EQ(all[0].size(), 1u);
  ASSERT_EQ(all[1].size(), 1u);
  EXPECT_EQ(all, run["z"].dind());
  for (const model::anyVariable& phantom : run["y"].phantoms)
    EXPECT_EQ(all[1 - phantom.variable->level][0], phantom.variable->column);
}

TEST(Indices, ComputedTermsListTheColumnsThatTheyRead) {
  prepared run(0, {"y ~ (z*x) (g*x)"});
  const unsigned x = run("x").column;
  EXPECT_EQ(run["y"].xindInter(), (std::vector<column_lists>{
                                      {{x, run("z").column}},
                                      {{x, run("g").dummies[0]->column}, {x, run("g").dummies[1]->column}}}));
}

TEST(Indices, PositionsOfATermAndOfALabel) {
  prepared run(0, {"y ~ z@a g@a x (x*z)@a (v+1)@b"});
  const Model& model = run["y"];
  EXPECT_EQ(model.fixedIndicators(term(run, "g")), (columns{2, 3}));
  EXPECT_EQ(model.fixedIndicators(term(run, "x")), columns{4});
  EXPECT_TRUE(model.fixedIndicators(term(run, "v")).empty());
  EXPECT_EQ(model.fixedIndicators(model::parameter::labelled("A")), (columns{1, 2, 3, 5}));
  EXPECT_EQ(model.fixedIndicators(model::parameter::labelled("b")), columns{6});
  EXPECT_TRUE(model.fixedIndicators(model::parameter()).empty());
}

TEST(Indices, ATermStandsAloneOrNot) {
  prepared run(1, {"y ~ x z w (v*w) | x", "z ~ x@a | x@s"});
  EXPECT_TRUE(run["y"].hasFixedOnly(term(run, "z")));
  EXPECT_FALSE(run["y"].hasFixedOnly(term(run, "x")));
  EXPECT_FALSE(run["y"].hasFixedOnly(term(run, "w")));
  EXPECT_FALSE(run["y"].hasFixedOnly(term(run, "v")));
  EXPECT_FALSE(run["y"].hasFixedOnly(term(run, "y2")));
  EXPECT_TRUE(run["z"].hasRandom(model::parameter::labelled("S")));
  EXPECT_FALSE(run["z"].hasRandom(model::parameter::labelled("a")));
  EXPECT_FALSE(run["z"].hasRandom(model::parameter()));
}

TEST(Indices, RepeatedColumnsAreFound) {
  prepared run(1, {"y ~ x x z g", "y2 ~ x.mean x.mean z.missing | x x"});
  EXPECT_EQ(run["y"].duplicateFixed(), texts{"x"});
  EXPECT_EQ(run["y2"].duplicateFixed(), texts{"x.mean"});
  EXPECT_EQ(run["y2"].duplicateRandom(), texts{"x"});
  EXPECT_TRUE(run["y"].duplicateRandom().empty());
}

TEST(Indices, MeansOfTwoLevelsAreNoRepetition) {
  prepared run(2, {"y ~ x.mean", "y2 ~ x.mean[school] x.mean[district]", "z ~ x.mean x.mean[school]"});
  EXPECT_TRUE(run["y"].duplicateFixed().empty());
  EXPECT_TRUE(run["y2"].duplicateFixed().empty());
  EXPECT_EQ(run["z"].duplicateFixed(), texts{"x.mean"});
}

TEST(Indices, DerivedColumnsAreKnownByNumberBeforeTheyExist) {
  run_models run(2, {"y ~ x.mean grade.latent z.missing@a"});
  EXPECT_EQ(run["y"].fixedParameters().size(), 5u);
  EXPECT_EQ(run["y"].fixedIndicators(model::parameter::labelled("a")), columns{4});
  EXPECT_EQ(run["y"].xind()[1], data::variable::no_column);
}

TEST(Indices, FixedParametersFollowTheColumns) {
  prepared run(0, {"y ~ Intercept@b0 g@b1 x@0.5 (g*x)@c"});
  const auto all = run["y"].fixedParameters();
  ASSERT_EQ(all.size(), 6u);
  EXPECT_EQ(all[0].label(), "b0");
  EXPECT_EQ(all[1].label(), "b1");
  EXPECT_EQ(all[2].label(), "b1");
  EXPECT_EQ(all[3].value(), 0.5);
  EXPECT_EQ(all[4].label(), "c");
  EXPECT_EQ(all[5].label(), "c");
}

TEST(Indices, ABlockHasAFreeParameterForEachMemberAndThenItsCorrelations) {
  prepared run(0, {"y <-> y2@r", "y2 <-> z@0.3"});
  const auto all = run.of_kind(model::kind::block).fixedParameters();
  ASSERT_EQ(all.size(), 6u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_TRUE(all[i].is_free());
}

// Positions of loadings.

TEST(LoadingPosition, OfAFactorIsItsCoefficient) {
  prepared run(0, {"y ~ g x eta", "y2 ~ x (eta*x)"});
  EXPECT_EQ(run["y"].lambdaInd(variable(run, "eta")), 4u);
  EXPECT_EQ(run["y2"].lambdaInd(variable(run, "eta")), 2u);
}

TEST(LoadingPosition, OfAResidualPhantomIsZero) {
  sem::defaults::optimize_models = false;
  prepared run(1, {"y ~ x", "z ~ x", "y <-> z"});
  sem::defaults::optimize_models = true;
  ASSERT_EQ(run["y"].phantoms.size(), 1u);
  EXPECT_EQ(run["y"].lambdaInd(run["y"].phantoms[0].variable), 0u);
}

TEST(LoadingPosition, OfARandomEffectPhantomIsThatEffect) {
  prepared run(2, {"y ~ x z | z x", "y2 ~ x", "rs <-> y2[school]"});
  ASSERT_EQ(run["y"].phantoms.size(), 1u);
  const auto phantom = run["y"].phantoms[0].variable;
  EXPECT_EQ(run["y"].reName(1), (texts{"Intercept", "z", "x"}));
  EXPECT_EQ(run["y"].lambdaInd(phantom), 2u);
  EXPECT_EQ(run["y2"].lambdaInd(phantom), 0u);
}

TEST(LoadingPosition, FailsForABlock) {
  prepared run(0, {"y <-> y2"});
  try {
    run.of_kind(model::kind::block).lambdaInd(variable(run, "y"));
    FAIL();
  } catch (const error& fault) {
    EXPECT_STREQ(fault.what(), "ERROR: Does not support multivairate models.");
  }
}

TEST(LoadingPosition, FailsForAnEffectThatTheModelLacks) {
  prepared run(1, {"y ~ x", "y2 ~ x", "y[school] <-> y2[school]"});
  const auto phantom = run["y"].phantoms.at(0).variable;
  run["y"].random.clear();
  try {
    run["y"].lambdaInd(phantom);
    FAIL();
  } catch (const error& fault) {
    EXPECT_STREQ(fault.what(),
                 "ERROR: Cannot specify correlation. The random effect does not exist\n"
                 "         correlation:  y2[school] <-> y[school]");
  }
}

TEST(LoadingPosition, FailsForALevelWithoutIdentifier) {
  prepared run(1, {"y ~ x", "y2 ~ x", "y[school] <-> y2[school]"});
  const auto phantom = run["y"].phantoms.at(0).variable;
  run["y"].clusters.clear();
  try {
    run["y"].lambdaInd(phantom);
    FAIL();
  } catch (const error_debug& fault) {
    EXPECT_STREQ(fault.what(), "Couldn't find correct identifier.");
  }
}

TEST(LoadingPosition, FailsForAVariableThatTheModelDoesNotHold) {
  prepared run(0, {"y ~ x"});
  EXPECT_THROW(run["y"].lambdaInd(variable(run, "z")), error_debug);
}

}  // namespace
}  // namespace tovik::tests::indices_test
