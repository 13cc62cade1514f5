// Random effects: default intercepts, brackets, levels, and their columns.

#include "catalogue.hpp"

namespace tovik::tests::random_terms_test {
namespace {

std::string command(unsigned identifiers, const std::string& statement) {
  return one_model(identifiers, statement)->command();
}

TEST(RandomTerms, AClusteredModelHasARandomIntercept) {
  const one_model m(1, "y ~ x");
  EXPECT_EQ(m->command(), "y ~ Intercept x | Intercept");
  EXPECT_TRUE(m->has_random_intercept);
  EXPECT_FALSE(m->random_intercept_given);
  EXPECT_EQ(m->levels, 1);
  EXPECT_EQ(m->n_re(), 1u);
  EXPECT_EQ(command(1, "y ~ x | x"), "y ~ Intercept x | Intercept x");
  EXPECT_EQ(command(1, "y ~ x | x 1"), "y ~ Intercept x | Intercept x");
}

TEST(RandomTerms, NoneForSingleLevelOutcomes) {
  EXPECT_EQ(command(0, "y ~ x"), "y ~ Intercept x");
  EXPECT_EQ(command(1, "v ~ 1"), "v ~ Intercept");
  EXPECT_EQ(command(2, "v ~ 1"), "v ~ Intercept");
  EXPECT_EQ(one_model(1, "v ~ 1")->levels, 0);
}

TEST(RandomTerms, ZeroRemovesTheIntercept) {
  for (const char* text : {"y ~ x | 0", "y ~ x | 1@0", "y ~ x | Intercept@0"}) {
    const one_model m(2, text);
    EXPECT_EQ(m->command(), "y ~ Intercept x | 0") << text;
    EXPECT_FALSE(m->has_random_intercept);
    EXPECT_EQ(m->n_re(), 0u);
  }
  EXPECT_EQ(command(2, "y ~ x | 0 x"), "y ~ Intercept x | 0 x");
}

TEST(RandomTerms, AnEmptyRandomPartIsTheDefault) {
  EXPECT_EQ(command(1, "y ~ x |"), "y ~ Intercept x | Intercept");
  EXPECT_EQ(command(0, "y ~ x |"), "y ~ Intercept x");
}

TEST(RandomTerms, ABracketReplacesTheDefault) {
  const one_model m(2, "y ~ x | 1[school]");
  EXPECT_EQ(m->command(), "y ~ Intercept x | Intercept[school]");
  EXPECT_EQ(m->hasRandomIntercept(), (std::vector<bool>{true, false}));
  const one_model top(2, "y ~ x | Intercept[district]@v1");
  EXPECT_EQ(top->hasRandomIntercept(), (std::vector<bool>{false, true}));
  EXPECT_EQ(top->random.at(0).param.label(), "v1");
}

TEST(RandomTerms, ColumnsRunFromTheNearestLevelUp) {
  const one_model m(2, "y ~ x z | x[school] w z");
  const auto column = [&](const char* name) { return m.list.find(name)->column; };
  const auto z = m->zind();
  ASSERT_EQ(z.size(), 2u);
  // w does not vary within schools, so its slope stands at the district level only.
  EXPECT_EQ(z[0], (columns{column("1"), column("x"), column("z")}));
  EXPECT_EQ(z[1], (columns{column("1"), column("w"), column("z")}));
  EXPECT_EQ(m->n_re(), 6u);
  EXPECT_EQ(m->n_re(1), 3u);
  EXPECT_EQ(m->n_re(0), 3u);
  EXPECT_EQ(m->n_re(2), 0u);
  EXPECT_EQ(m->reName(1), (texts{"Intercept", "x", "z"}));
  EXPECT_EQ(m->reName(0), (texts{"Intercept", "w", "z"}));
  EXPECT_TRUE(m->reName(-1).empty());
  EXPECT_EQ(m->yind(), columns{column("y")});
  EXPECT_EQ(m->xind(), (columns{column("1"), column("x"), column("z")}));
}

TEST(RandomTerms, ALevel2OutcomeHasEffectsAboveItOnly) {
  const one_model m(2, "w ~ v");
  EXPECT_EQ(m->levels, 1);
  ASSERT_EQ(m->zind().size(), 1u);
  EXPECT_EQ(m->hasRandomIntercept(), std::vector<bool>{true});
  EXPECT_EQ(m->printed_level(0), 3u);
}

TEST(RandomTerms, IdentifiersRunFromLevel2Up) {
  VariableList list = catalogue(2);
  std::swap(list.clusters.at(0), list.clusters.at(1));
  const Model m("y ~ x", list, nullptr);
  ASSERT_EQ(m.clusters.size(), 2u);
  EXPECT_EQ(m.clusters[0]->name, "school");
  EXPECT_EQ(m.clusters[1]->name, "district");
}

TEST(RandomTerms, NominalSlopesHaveOneEffectPerCode) {
  const one_model m(1, "y ~ g | g");
  EXPECT_EQ(m->n_re(), 3u);
  EXPECT_EQ(m->reName(0), (texts{"Intercept", "g.2", "g.3"}));
  EXPECT_EQ(m->zind().at(0),
            (columns{m.list.find("1")->column, m.list.find("g.2")->column, m.list.find("g.3")->column}));
  EXPECT_EQ(m->randomParameters(0).size(), 3u);
}

TEST(RandomTerms, RefusesSingleLevelModels) {
  EXPECT_EQ(failure(0, "y ~ x | x"),
            "ERROR: Cannot specify Random effects for single-level model.\n"
            "       Misspecified Model statement:\n         \"y ~ x | x");
  EXPECT_EQ(failure(1, "v ~ 1 | 1"),
            "ERROR: Cannot specify Random effects for single-level model.\n"
            "       Misspecified Model statement:\n         \"v ~ 1 | 1");
}

TEST(RandomTerms, ChecksTheirVarianceParameters) {
  EXPECT_EQ(failure(1, "y ~ x | x@0.5"),
            "ERROR: The random effect variance for 'x@0.5' cannot\n       be fixed to a value.\n"
            "       Problem model: y ~ x | x@0.5");
  EXPECT_EQ(failure(1, "y ~ x | 1@2"),
            "ERROR: The random effect variance for '1@2' cannot\n       be fixed to a value.\n"
            "       Problem model: y ~ x | 1@2");
  EXPECT_EQ(
      failure(1, "y ~ x | 1@a x@A"),
      "ERROR: The random effect variance label 'A' cannot\n       be assigned to more than one parameter. \n"
      "       Problem model: y ~ x | 1@a x@A");
  EXPECT_EQ(failure(1, "y ~ x | Intercept@iceptvar x@slpevar"), "");
}

TEST(RandomTerms, ChecksLevels) {
  EXPECT_EQ(failure(1, "v ~ x"),
            "ERROR: The predictor \"x\" is observed at a lower\n"
            "       level than the outcome (v) it predicts.");
  EXPECT_EQ(failure(2, "w ~ 1 | x"),
            "ERROR: The random predictor \"x\" is observed at a lower\n"
            "       level than the outcome (w) it predicts.");
  const std::string single = "\" is single-level.\n       Random predictors must at least have two-levels.";
  EXPECT_EQ(failure(1, "y ~ v | v"), "ERROR: The random predictor \"v" + single);
  EXPECT_EQ(failure(2, "y ~ w | w[school]"), "ERROR: The random predictor \"w" + single);
  EXPECT_EQ(failure(2, "y ~ w | w[district]"), "");
  EXPECT_EQ(failure(2, "w ~ 1 | 1[school]"),
            "ERROR: The random intercept for \"school\" is at a level\n"
            "       that doesn't exist for the outcome (w).");
}

TEST(RandomTerms, RefusesBracketsWhereTheySelectNothing) {
  const auto fixed = [](const std::string& term, const std::string& statement) {
    return "ERROR: Cannot select a level for '" + term +
           "'. Brackets select the level\n       of a random effect or of a latent mean.\n"
           "       Problem Specificaiton: '" +
           statement;
  };
  EXPECT_EQ(failure(1, "y ~ x[school]"), fixed("x[school]", "y ~ x[school]"));
  EXPECT_EQ(failure(1, "y ~ Intercept[school]"), fixed("Intercept[school]", "y ~ Intercept[school]"));
  EXPECT_EQ(failure(1, "y ~ 1[school]"), fixed("1[school]", "y ~ 1[school]"));
  EXPECT_EQ(failure(1, "y ~ (x*z)[school]@b"), fixed("(x*z)[school]@b", "y ~ (x*z)[school]@b"));
  EXPECT_EQ(
      failure(1, "y ~ ghost[school]"),
      "ERROR: Variable \"ghost\" is a phantom variable.\n       Cannot have '[school]' attached to it.");
  const std::string outcome =
      "ERROR: The dependent variable is invalid. It must be a normal variable or a missing data indicator.";
  EXPECT_EQ(failure(1, "y[school] ~ x"), outcome);
  EXPECT_EQ(failure(1, "y[school] z ~ x"), outcome);
}

TEST(RandomTerms, AnUnfinishedBracketAsksForTheIdentifier) {
  EXPECT_EQ(failure(1, "y ~ x | x[school"),
            "ERROR: Variable 'x'is more than two-levels.\n"
            "       Need to specify which random effect using brackets.\n"
            "       For exmaple : 'x[ID]' for the level-2 random intercept.");
}

TEST(RandomTerms, ALabelOnATermAtTwoLevelsNamesTwoVariances) {
  const auto twice = [](const std::string& label, const std::string& statement) {
    return "ERROR: The random effect variance label '" + label +
           "' cannot\n       be assigned to more than one parameter. \n       Problem model: " + statement;
  };
  EXPECT_EQ(failure(2, "y ~ x | x@s"), twice("s", "y ~ x | x@s"));
  EXPECT_EQ(failure(2, "y ~ x | 1@s"), twice("s", "y ~ x | 1@s"));
  EXPECT_EQ(failure(1, "y ~ g | g@s"), twice("s", "y ~ g | g@s"));
  EXPECT_EQ(failure(2, "y ~ x | (x*z)@s"), twice("s", "y ~ x | (x*z)@s"));
  EXPECT_EQ(failure(1, "y ~ x | x@s (x*z)@S"), twice("S", "y ~ x | x@s (x*z)@S"));
  EXPECT_EQ(failure(2, "y ~ x | x[school]@s w@t"), "");
}

TEST(RandomTerms, ComputedTerms) {
  const one_model m(1, "y ~ x | x (x*z)@s%2 (z*v)");
  ASSERT_EQ(m->random_compute.size(), 2u);
  EXPECT_TRUE(m->random_compute[0].is_random);
  EXPECT_EQ(m->random_compute[1].text(), "(z*v)");
  EXPECT_EQ(failure(1, "y ~ x | (x*z)@2"),
            "ERROR: The random effect variance for '(x*z)@2' cannot\n       be fixed to a value.\n"
            "       Problem model: y ~ x | (x*z)@2");
  EXPECT_EQ(failure(1, "y ~ x | (v*v)"),
            "ERROR: The random predictor \"v*v\" is single-level.\n"
            "       Random predictors must at least have two-levels.");
  EXPECT_EQ(failure(2, "w ~ 1 | (x*v)"),
            "ERROR: The random predictor \"x\" is observed at a lower\n"
            "       level than the outcome (w) it predicts.");
  const std::string select =
      "ERROR: Cannot select specific for random effects with computations.\n"
      "       You must manually specify random effects via the LATENT command.\n       See '";
  EXPECT_EQ(failure(1, texts{"y ~ x | d[school]", "d = x*z"}), select + "d[school]");
  EXPECT_EQ(failure(1, "y ~ x | log(x)[school]@s"), select + "log(x)[school]@s");
}

TEST(RandomTerms, VarianceModelsHaveNone) {
  const std::string text =
      "ERROR: Cannot specify Random effects for variance models directly.\n"
      "       Specify random effects using the LATENT command.\n"
      "       Misspecified Model statement:\n         \"";
  EXPECT_EQ(failure(1, texts{"y ~ x", "var(y) ~ x | x"}), text + "var(y) ~ x | x");
  EXPECT_EQ(failure(0, texts{"y ~ x", "var(y) ~ x | 1"}), text + "var(y) ~ x | 1");
  EXPECT_TRUE(one_model(1, "var(y) ~ x")->random.empty());
  EXPECT_TRUE(one_model(1, "var(y) ~ x |")->random.empty());
}

TEST(RandomTerms, PhantomsAndNamedEffectsAsRandomPredictors) {
  EXPECT_EQ(failure(1, "y ~ x | ghost"),
            "ERROR: The random predictor \"ghost\" is a phantom variable.\n"
            "       Phantom variables cannot have random effects.");
  EXPECT_EQ(failure(1, "y ~ x | x$1"),
            "ERROR: Variable \"x\" is not a phantom variable, but is being requested as one.");
}

}  // namespace
}  // namespace tovik::tests::random_terms_test
