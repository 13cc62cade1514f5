// One statement: intercept forms, terms, lists of outcomes, and the messages of wrong ones.

#include "catalogue.hpp"

namespace tovik::tests::statement_test {
namespace {

std::string command(unsigned identifiers, const std::string& statement) {
  return one_model(identifiers, statement)->command();
}

TEST(Statement, HasAnInterceptByDefault) {
  const one_model m(0, "y ~ x z");
  EXPECT_EQ(m->command(), "y ~ Intercept x z");
  EXPECT_TRUE(m->has_fixed_intercept);
  EXPECT_FALSE(m->fixed_intercept_given);
  EXPECT_FALSE(m->has_random_intercept);
  EXPECT_EQ(m->levels, 0);
  EXPECT_EQ(m->link, model::link::identity);
  EXPECT_FALSE(m->link_given);
  EXPECT_EQ(m->block, "model");
  EXPECT_EQ(m->block_number, 0);
  EXPECT_EQ(m->kind(), model::kind::normal);
  EXPECT_EQ(m->names(), texts{"y"});
}

TEST(Statement, EmptyRightSideIsAnIntercept) {
  EXPECT_EQ(command(0, "y ~"), "y ~ Intercept");
  EXPECT_EQ(command(0, "y ~ 1"), "y ~ Intercept");
}

TEST(Statement, RemovesTheIntercept) {
  for (const char* text : {"y ~ 0 x", "y ~ x 0", "y ~ 1@0 x", "y ~ Intercept@0 x", "y ~ INTERCEPT@0 x",
                           "y ~ 1@0.0 x", "y ~ Intercept@-0 x", "y ~ 1@0%.2 x", "y ~ 1@(1 - 1) x"}) {
    const one_model m(0, text);
    EXPECT_EQ(m->command(), "y ~ 0 x") << text;
    EXPECT_FALSE(m->has_fixed_intercept);
    EXPECT_TRUE(m->fixed_intercept_given);
  }
  const one_model bare(0, "y ~ 0");
  EXPECT_EQ(bare->command(), "y ~ 0");
  EXPECT_TRUE(bare->fixed.empty());
  EXPECT_TRUE(bare->xind().empty());
}

TEST(Statement, ReadsTheInterceptsParameter) {
  EXPECT_EQ(command(0, "y ~ x Intercept@b0"), "y ~ Intercept@b0 x");
  EXPECT_EQ(command(0, "y ~ INTERCEPT@10"), "y ~ Intercept@10");
  EXPECT_EQ(command(0, "y ~ 1%2.5"), "y ~ Intercept%2.500000");
  EXPECT_EQ(command(0, "y ~ 1@(1/4)"), "y ~ Intercept@0.250000");
  EXPECT_TRUE(one_model(0, "y ~ 1@10")->intercept_customised);
  EXPECT_FALSE(one_model(0, "y ~ 1")->intercept_customised);
}

TEST(Statement, RefusesWrongIntercepts) {
  const std::string twice =
      "ERROR: Multiple intercepts are specified.\n       There can only be one inercept per model.\n"
      "       Problem Specificaiton: '";
  EXPECT_EQ(failure(0, "y ~ 1 Intercept"), twice + "y ~ 1 Intercept");
  EXPECT_EQ(failure(0, "y ~ 0 1"), twice + "y ~ 0 1");
  EXPECT_EQ(
      failure(1, "y ~ x | 1 1[school]"),
      "ERROR: Multiple random intercepts are specified.\n       There can only be one inercept per model.\n"
      "       Problem Specificaiton: 'y ~ x | 1 1[school]");
  for (const std::string term : {"1@(a*2)", "1@", "Intercept@(b)"})
    EXPECT_EQ(failure(0, "y ~ " + term),
              "ERROR: Unable to parse fixing of the intercept. This cannot be\n"
              "       a computation or a defined statement.\n       Problem Specificaiton: '" +
                  term);
  EXPECT_EQ(failure(0, "y ~ 1%a"), "ERROR: Non-numeric given as starting value. Specificaiton : '1%a'");
}

TEST(Statement, KeepsValuesStartsAndLabels) {
  const one_model m(0, "y ~ x@(1/3) z%2 w@b");
  EXPECT_EQ(m->command(), "y ~ Intercept x@0.3333333333333333 z%2 w@b");
  const auto p = m->fixedParameters();
  ASSERT_EQ(p.size(), 4u);
  EXPECT_TRUE(p[0].is_free());
  EXPECT_DOUBLE_EQ(p[1].value(), 1.0 / 3);
  EXPECT_EQ(p[2].start(), 2);
  EXPECT_EQ(p[3].label(), "b");
}

TEST(Statement, RegressionSignsMeanTheSame) {
  VariableList list = catalogue(0);
  EXPECT_EQ(models(list, {"y <- x"}).back().command(), "y ~ Intercept x");
  EXPECT_EQ(models(list, {"y<-x z"}).back().command(), "y ~ Intercept x z");
  EXPECT_EQ(command(0, "y~x"), "y ~ Intercept x");
  EXPECT_EQ(failure(0, "y <-"), "ERROR: The MODEL command \"y <-\" is not correctly specified.\n");
}

TEST(Statement, LosesOneOuterPairAroundItsOutcome) {
  EXPECT_EQ(command(0, "(y) ~ x"), "y ~ Intercept x");
}

TEST(Statement, CommandsRoundTrip) {
  for (const char* text :
       {"y ~ Intercept x z | Intercept", "y ~ Intercept@b x%2 | Intercept x", "y ~ Intercept g | Intercept",
        "y ~ Intercept x | Intercept[district] x[school]", "w ~ Intercept v | Intercept",
        "y ~ Intercept%-1 x@0.500000 | Intercept[school]@a x[district]@b"}) {
    EXPECT_EQ(command(2, text), text);
  }
}

TEST(Statement, DefaultLinksFollowTheOutcome) {
  EXPECT_EQ(one_model(0, "grade ~ x")->link, model::link::probit);
  EXPECT_EQ(one_model(0, "g ~ x")->link, model::link::logit);
  EXPECT_EQ(one_model(0, "visits ~ x")->link, model::link::identity);
  EXPECT_EQ(one_model(0, "grade ~ x")->kind(), model::kind::ordinal);
  EXPECT_EQ(one_model(0, "visits ~ x")->kind(), model::kind::count);
  EXPECT_EQ(one_model(0, "g ~ x")->kind(), model::kind::nominal);
  EXPECT_EQ(one_model(0, "eta ~ x")->kind(), model::kind::latent);
  const one_model logit(0, "logit(bin) ~ x");
  EXPECT_EQ(logit->link, model::link::logit);
  EXPECT_TRUE(logit->link_given);
  EXPECT_EQ(logit->command(), "logit(bin) ~ Intercept x");
  EXPECT_EQ(one_model(0, "probit( grade ) ~ x")->link, model::link::probit);
  EXPECT_TRUE(one_model(0, "logit(g) ~ x")->link_given);
}

TEST(Statement, ChecksLinks) {
  EXPECT_EQ(failure(0, "logit(grade) ~ x"),
            "ERROR: Logit link is currently only avaiable for binary and nominal variables.\n"
            "       Variable 'grade' has 3 categories.");
  EXPECT_EQ(failure(0, "logit(two) ~ x"),
            "ERROR: Ordinal Logit link is only avaiable for 0/1 data.\n"
            "       Use NOMINAL command for other types of binary variables.");
  EXPECT_EQ(failure(0, "probit(g) ~ x"),
            "ERROR: Probit link is currently not avaiable for nominal variables.\n"
            "       Variable 'g' is defined as nominal.");
  EXPECT_EQ(failure(0, "probit(y) ~ x"),
            "ERROR: Cannot recognize link function for normal distribution models.\n"
            "       Problem Specificaiton: 'probit(y) ~ x");
  EXPECT_EQ(failure(0, "yjt(y, x) ~ z"),
            "ERROR: Lambda parameter in Yeo-Johnson outcome transformation cannot\n"
            "       share a variable's name.");
}

TEST(Statement, ChecksTransformedOutcomes) {
  const std::string wrong =
      "ERROR: Misspecified outcome transformation.\n"
      "       - There must be only one variable.\n"
      "       - Cannot contain 'vec' function.\n"
      "       - Cannot contain 'abs' function.\n"
      "       - Cannot contain 'ismissing' function.\n"
      "       - Cannot contain 'lag1' function.\n"
      "       - Cannot contain parameters.\n"
      "       Problem Specificaiton:\n         ";
  for (const std::string text : {"abs(y) ~ x", "y + x ~ z", "(y + x) ~ z", "log(2) ~ x", "lag1(y, s) ~ x",
                                 "y@b ~ x", "y z@b ~ x", "vec(y) z ~ x"})
    EXPECT_EQ(failure(0, text), wrong + text);
  EXPECT_EQ(failure(0, "log(ghost) ~ x"),
            "ERROR: Cannot perform transformations on phantom variable.\n       Problem Specificaiton: "
            "'log(ghost) ~ x");
}

TEST(Statement, ForbidsTheOutcomeAsPredictor) {
  const std::string text = "ERROR: Cannot include outcome as a predictor.";
  EXPECT_EQ(failure(0, "y ~ y"), text);
  EXPECT_EQ(failure(0, "y ~ x Y"), text);
  EXPECT_EQ(failure(1, "y ~ x | y"), text);
  EXPECT_EQ(failure(0, "g ~ g.2"), text);
}

TEST(Statement, PointsAtMismatchedParentheses) {
  EXPECT_EQ(failure(0, "y ~ x (z + w"),
            "ERROR: There are mismatched parentheses in the 'y' model:\n       \"x (z + w\"\n          ^");
  EXPECT_EQ(failure(0, "log(y ~ x"),
            "ERROR: There are mismatched parentheses in the 'log(y' model:\n       \"log(y\"\n           ^");
  EXPECT_EQ(failure(1, "y ~ x | (z"),
            "ERROR: There are mismatched parentheses in the 'y' model:\n       \"| (z\"\n          ^");
}

TEST(Statement, ChecksComputedTerms) {
  EXPECT_EQ(failure(0, "y ~ (x*z@2)"),
            "ERROR: Computation misspecified: \"(x*z@2)\"\n       fixing or start values must be outside of "
            "parentheses.");
  EXPECT_EQ(failure(0, "y ~ (ismissing(x))"),
            "ERROR: 'ismissing' function can only be used in TRANSFORM command.");
  EXPECT_EQ(
      failure(1, "y ~ x | (x*z)[school]"),
      "ERROR: Cannot select specific for random effects with computations.\n"
      "       You must manually specify random effects via the LATENT command.\n       See '(x*z)[school]");
}

TEST(Statement, ChecksTheFormOfTheStatement) {
  const std::string tail =
      "\" is not correctly specified.\n       Each equation must be separated by semicolon and take on the "
      "following "
      "form:\n           outcome ~ predictors";
  EXPECT_EQ(failure(0, "~ x"), "ERROR: The MODEL command \"~ x" + tail);
  EXPECT_EQ(failure(0, "{ } ~ x"), "ERROR: The MODEL command \"{ } ~ x" + tail);
  EXPECT_EQ(failure(0, "{ y z ~ x"), "ERROR: The MODEL command \"{ y z ~ x" + tail);
  EXPECT_EQ(failure(0, "y } ~ x"), "ERROR: The MODEL command \"y } ~ x" + tail);
  VariableList list = catalogue(0);
  EXPECT_THROW(Model("no sign", list, nullptr), error);
  EXPECT_EQ(failure(0, "y z | x ~ w"),
            "ERROR: Currently multivariate outcomes are not supported for all variables.\n"
            "       Correlate the dependent variables instead using <->\n"
            "       Problem Specificaiton: 'y z | x ~ w");
}

TEST(Statement, SequentialOutcomesPredictEarlierOnes) {
  VariableList list = catalogue(0);
  const ModelList m = equations(list, {"y10 y2 y ~ x z%1"});
  ASSERT_EQ(m.size(), 3u);
  EXPECT_EQ(m[0].command(), "y10 ~ Intercept y2 y x z%1");
  EXPECT_EQ(m[1].command(), "y2 ~ Intercept y x z%1");
  EXPECT_EQ(m[2].command(), "y ~ Intercept x z%1");
}

TEST(Statement, RepeatedOutcomesShareTheRightSide) {
  for (const char* text : {"{ y y2 } ~ x", "{y y2} ~ x", "{ y y2} ~ x"}) {
    VariableList list = catalogue(0);
    const ModelList m = equations(list, {text});
    ASSERT_EQ(m.size(), 2u) << text;
    EXPECT_EQ(m[0].command(), "y ~ Intercept x");
    EXPECT_EQ(m[1].command(), "y2 ~ Intercept x");
  }
  VariableList list = catalogue(0);
  EXPECT_EQ(equations(list, {"{y} ~ x"}).at(0).command(), "y ~ Intercept x");
}

TEST(Statement, SequentialErrorsNameTheGeneratedModel) {
  EXPECT_EQ(failure(0, "y y2 ~ y2"),
            "ERROR: The following sequential model statement caused an error:\n\n          'y y2 ~ y2'\n\n"
            "       The auto-generated model:\n\n          'y2 ~ y2'\n\n"
            "       produced the following error:\n\nERROR: Cannot include outcome as a predictor.");
  EXPECT_EQ(failure(0, "y school ~ x"), "ERROR: Cannot find variable \"school\" in VARIABLE command.");
}

}  // namespace
}  // namespace tovik::tests::statement_test
