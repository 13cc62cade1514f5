// Terms of a statement: parameters, brackets, suffixes, names and columns.

#include "catalogue.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/term_suffix.hpp"

namespace tovik::tests::term_test {
namespace {

using model::anyVariable;

anyVariable term(const std::string& text, unsigned identifiers = 2, bool is_outcome = false) {
  const VariableList list = catalogue(identifiers);
  return anyVariable::parse(text, list, nullptr, is_outcome);
}

std::string fault(const std::string& text, bool is_outcome = false) {
  try {
    term(text, 2, is_outcome);
  } catch (const error& e) {
    return e.what();
  }
  return "";
}

TEST(Term, ReadsFixedValues) {
  EXPECT_EQ(term("x@0.5").param.value(), 0.5);
  EXPECT_EQ(term("x@-0.5").param.value(), -0.5);
  EXPECT_EQ(term("x@+2").param.value(), 2);
  EXPECT_EQ(term("x@.25").param.value(), 0.25);
  EXPECT_THROW(term("x@2x"), error);  // a number is read as a whole
  EXPECT_DOUBLE_EQ(term("x@(1/3)").param.value(), 1.0 / 3);
  EXPECT_DOUBLE_EQ(term("x@((1 + 2) * 2)").param.value(), 6);
  EXPECT_DOUBLE_EQ(term("x@(log(_pi))%4").param.value(), std::log(3.141592653589793));
}

TEST(Term, ReadsLabels) {
  EXPECT_EQ(term("x@a").param.label(), "a");
  EXPECT_EQ(term("x@inflation").param.label(), "inflation");
  EXPECT_EQ(term("x@nano").param.label(), "nano");
  EXPECT_EQ(term("x@a%2").param.label(), "a");
  EXPECT_EQ(term("x@a%2").param.start(), 2);
}

TEST(Term, ReadsStarts) {
  EXPECT_TRUE(term("x%-1").param.has_start());
  EXPECT_EQ(term("x%-1").param.start(), -1);
  EXPECT_TRUE(term("x%-1").param.is_free());
  EXPECT_EQ(term("x@0.5%1").param.value(), 0.5);
  EXPECT_EQ(term("x@0.5%1").param.start(), 0.5);
}

TEST(Term, RefusesWrongStarts) {
  EXPECT_EQ(fault("x%1@0.5"),
            "ERROR: Unable to parse starting value for 'x%1@0.5'. Must specify start value at the end. ");
  for (const char* text : {"x%abc", "x%info", "x%nan", "x%1e999"})
    EXPECT_EQ(fault(text),
              "ERROR: Non-numeric given as starting value. Specificaiton : '" + std::string(text) + "'");
}

TEST(Term, RefusesWrongFixings) {
  for (const char* text : {"x@", "x%", "x@%1", "x@(1/0)", "x@(0/0)", "x@a@b", "x@(1)*2", "x@f(1)"})
    EXPECT_EQ(fault(text), "ERROR: Computation misspecified: \"" + std::string(text) +
                               "\"\n       fixing or start values must be outside of parentheses.");
  EXPECT_EQ(fault("x@(a*2)"), "ERROR: Non-numeric value was supplied.\na*2\n       See \"x@(a*2)\"");
  EXPECT_NE(fault("x@()").find("\n       See \"x@()\""), std::string::npos);
  EXPECT_NE(fault("x@(log(1,2))").find("\n       See \"x@(log(1,2))\""), std::string::npos);
  EXPECT_NE(fault("x@(1,2)").find("\n       See \"x@(1,2)\""), std::string::npos);
}

TEST(Term, FindsNamesWithoutCase) {
  EXPECT_EQ(term("X").variable->name, "x");
  EXPECT_EQ(term("G.2").name(), "g.2");
  EXPECT_EQ(term("intercept").name(), "Intercept");
  EXPECT_EQ(term("1").name(), "Intercept");
  EXPECT_EQ(fault("nobody"), "ERROR: Cannot find variable \"nobody\" in VARIABLE command.");
  EXPECT_EQ(fault("@1"), "ERROR: Cannot find variable \"\" in VARIABLE command.");
}

TEST(Term, ReadsBracketLevels) {
  const anyVariable t = term("x[District]@a");
  EXPECT_EQ(t.level->name, "district");
  EXPECT_EQ(t.modifier, "district");
  EXPECT_EQ(t.text(), "x[district]@a");
  EXPECT_EQ(t.fullname_lower(), "x[district]");
  EXPECT_EQ(t.fullname_noModifer(), "x");
  EXPECT_TRUE(t.isRE(0));
  EXPECT_FALSE(t.isRE(1));
}

TEST(Term, RefusesWrongBrackets) {
  EXPECT_EQ(fault("x[school"),
            "ERROR: Variable 'x'is more than two-levels.\n"
            "       Need to specify which random effect using brackets.\n"
            "       For exmaple : 'x[ID]' for the level-2 random intercept.");
  EXPECT_EQ(fault("x[city]"),
            "ERROR: Cannot find identifier variable 'city'\n       referenced in 'x[city]'.");
  EXPECT_EQ(fault("x[]"), "ERROR: Cannot find identifier variable ''\n       referenced in 'x[]'.");
  EXPECT_EQ(fault("x[z]"),
            "ERROR: Variable 'z' is not an identifier variable.\n       Referenced in 'x[z]'.");
  EXPECT_EQ(fault("x[school]y"), "ERROR: Cannot find variable \"x[school]y\" in VARIABLE command.");
}

TEST(Term, TellsMistakesInSuffixesApart) {
  EXPECT_EQ(fault("x.missing[school]"),
            "ERROR: Misspecification with \"missing\" suffix: \"x.missing[school]\"");
  EXPECT_EQ(fault("grade.latent[school]"),
            "ERROR: Misspecification with \"latent\" suffix: \"grade.latent[school]\"");
  EXPECT_EQ(fault("nobody.mean"), "ERROR: Cannot find variable \"nobody\" in VARIABLE command.");
  EXPECT_EQ(fault("x.latent"), "ERROR: Variable \"x\" must be ordinal to use latent propensity.");
  EXPECT_EQ(fault("v.mean"),
            "ERROR: Variable \"v\" does not have a latent mean       because it is single level.");
}

TEST(Term, KnowsNamedRandomEffectsAndDefinedNames) {
  VariableList list = catalogue(1);
  data::random_effect effect{"slope", "y", "Intercept", "school", "slope = y | Intercept[school]"};
  list.variables.push_back(std::make_shared<data::random>(effect, list.find("y"), list.find("school")));
  EXPECT_EQ(anyVariable::parse("slope", list, nullptr, false).type, model::type::random);
  EXPECT_EQ(anyVariable::parse("ghost", list, nullptr, false).type, model::type::phantom);
  try {
    anyVariable::parse("slope.mean", list, nullptr, false);
    FAIL();
  } catch (const error& e) {
    EXPECT_STREQ(e.what(),
                 "ERROR: Variable \"slope\" is a random effect.\n       Cannot have '.mean' attached to it.");
  }
  ModelList names;
  names.names->announce("d", "x*2");
  try {
    anyVariable::parse("d.mean", list, names.names.get(), false);
    FAIL();
  } catch (const error& e) {
    EXPECT_STREQ(
        e.what(),
        "ERROR: The Variable \"d\" is defined in the\n       MODEL command and cannot have any modifiers\n"
        "       (i.e., .mean, .latent, .misisng).");
  }
}

TEST(Term, SuffixesSayWhatIsMeantOfTheVariable) {
  EXPECT_EQ(term("x.mean").type, model::type::mean);
  EXPECT_EQ(term("x.missing").type, model::type::missing);
  EXPECT_EQ(term("grade.latent").type, model::type::latent);
  EXPECT_EQ(term("X.mean@a").text(), "x.mean@a");
  EXPECT_EQ(term("x.mean[district]").level->name, "district");
  EXPECT_EQ(term("x.mean[district]").text(), "x.mean[district]");
  EXPECT_EQ(term("eta.mean").type, model::type::mean);
  EXPECT_EQ(term("x.missing", 2, true).type, model::type::missing);
}

TEST(Term, AColumnMayHaveANameThatLooksLikeASuffix) {
  VariableList list = catalogue(1);
  list.variables.push_back(std::make_shared<data::variable>("x.mean", data::type::continuous, 90, 1));
  const anyVariable t = anyVariable::parse("x.mean", list, nullptr, false);
  EXPECT_EQ(t.type, model::type::variable);
  EXPECT_EQ(t.variable->column, 90u);
}

TEST(Term, SuffixesNeedAVariableThatHasThem) {
  const auto cannot = [](const std::string& name, const std::string& kind, const std::string& suffix) {
    return "ERROR: Variable \"" + name + "\" is " + kind + ".\n       Cannot have '" + suffix +
           "' attached to it.";
  };
  EXPECT_EQ(fault("school.mean"), cannot("school", "an identifier variable", ".mean"));
  EXPECT_EQ(fault("1.missing"), cannot("1", "the intercept", ".missing"));
  EXPECT_EQ(fault("weight.missing"), cannot("weight", "a sampling weight", ".missing"));
  EXPECT_EQ(fault("ghost.mean"), cannot("ghost", "a phantom variable", ".mean"));
  EXPECT_EQ(fault("eta.missing"), cannot("eta", "a latent variable", ".missing"));
  EXPECT_EQ(fault("g.2.mean"), cannot("g.2", "a dummy code", ".mean"));
  EXPECT_EQ(fault("x.mean[school"), fault("x.mean[school"));
  EXPECT_EQ(fault("w.mean[school]"), "ERROR: Invalid level selection. Mispecificaiton in 'w.mean[school]'");
}

TEST(Term, LevelsMayBeNumbered) {
  const anyVariable residual = term("x$1");
  EXPECT_TRUE(residual.is_numbered);
  EXPECT_FALSE(residual.level);
  EXPECT_EQ(term("x$2").level->name, "school");
  EXPECT_EQ(term("x$3").level->name, "district");
  EXPECT_EQ(term("x$3@a").modifier, "district");
  EXPECT_FALSE(term("w$2").level);
  EXPECT_EQ(term("ghost$1").type, model::type::phantom);
  for (const char* text : {"x$0", "x$4", "x$99999999999999999999", "w$1", "ghost$2", "x$2[school]"})
    EXPECT_EQ(fault(text), "ERROR: Invalid level selection. Mispecificaiton in '" + std::string(text) + "'");
  for (const char* text : {"x$a", "x$", "x$1a", "x$-1"})
    EXPECT_EQ(fault(text), "ERROR: Could not parse level for '" + std::string(text) + "'");
  EXPECT_EQ(fault("nobody$2"), "ERROR: Cannot find variable \"nobody\" in VARIABLE command.");
  EXPECT_EQ(fault("$2"), "ERROR: Cannot find variable \"$2\" in VARIABLE command.");
  EXPECT_EQ(fault("x.missing$2"), "ERROR: Misspecification with \"missing\" suffix: \"x.missing$2\"");
  EXPECT_EQ(fault("grade.latent$1"), "ERROR: Misspecification with \"latent\" suffix: \"grade.latent$1\"");
}

TEST(Term, OnlyPhantomsArePredictorsByNumberedLevel) {
  const std::string text = "ERROR: Variable \"x\" is not a phantom variable, but is being requested as one.";
  for (const char* statement : {"y ~ x$1", "y ~ x$2@a", "x$1 ~ y", "y ~ (z*x$2)"})
    EXPECT_EQ(failure(2, statement), text) << statement;
  EXPECT_EQ(one_model(2, "y ~ ghost$1")->phantoms.size(), 1u);
}

TEST(Term, ChecksOutcomes) {
  EXPECT_EQ(fault("Intercept", true), "ERROR: The intercept cannot be a dependent variable.");
  EXPECT_EQ(fault("school", true), "ERROR: The identifier variable cannot be a dependent variable.");
  EXPECT_EQ(fault("g.2", true), "ERROR: Dummy code dependent variables are not currently supported.");
  EXPECT_EQ(
      fault("weight", true),
      "ERROR: The dependent variable is invalid. It must be a normal variable or a missing data indicator.");
  for (const char* text : {"x.mean", "grade.latent", "x[school]"})
    EXPECT_EQ(fault(text, true),
              "ERROR: The dependent variable is invalid. It must be a normal variable or a missing data "
              "indicator.");
  EXPECT_EQ(fault("held", true), "ERROR: Dependent Variable \"held\" cannot be fixed.");
  EXPECT_EQ(fault("held"), "");
  EXPECT_EQ(fault("y", true), "");
}

TEST(Term, NominalVariablesHaveOneNameAndColumnPerCode) {
  const VariableList list = catalogue(0);
  const anyVariable g = anyVariable::parse("g", list, nullptr, false);
  EXPECT_EQ(g.names(), (texts{"g.2", "g.3"}));
  EXPECT_EQ(g.indicator(), (columns{list.find("g.2")->column, list.find("g.3")->column}));
  const anyVariable code = anyVariable::parse("g.3", list, nullptr, false);
  EXPECT_EQ(code.indicator(), columns{list.find("g.3")->column});
}

TEST(Term, ComparesByWhatItRefersTo) {
  const VariableList list = catalogue(2);
  const auto parse = [&](const std::string& t) { return anyVariable::parse(t, list, nullptr, false); };
  EXPECT_TRUE(parse("x@1") == parse("X"));
  EXPECT_FALSE(parse("x[school]") == parse("x"));
  EXPECT_TRUE(parse("y2") < parse("y10"));
}

TEST(Compute, KnowsExpressionsAndTheirNames) {
  EXPECT_TRUE(model::is_compute("a*b", nullptr));
  EXPECT_TRUE(model::is_compute("log(a)", nullptr));
  EXPECT_TRUE(
      model::is_compute("a\xE2\x88\x92"
                        "b",
                        nullptr));
  EXPECT_FALSE(model::is_compute("a.b_c", nullptr));
  EXPECT_EQ(model::expression_names("log(a) + 2*b^a - _pi"), (texts{"a", "b", "a"}));
  EXPECT_TRUE(model::is_transformation("log(a + 1)"));
  EXPECT_TRUE(model::is_transformation("a*A"));
  for (const char* text : {"a + b", "log(1)", "abs(a)", "vec(a)", "lag1(a, s)", "log(a)@b", "ismissing(a)"})
    EXPECT_FALSE(model::is_transformation(text)) << text;
  for (const char* text : {"ismissing", "missing", "uniform", "normal", "lag1"})
    EXPECT_FALSE(model::check_eval(text));
  for (const char* text : {"log", "yjt", "x", "mean", "LAG1"}) EXPECT_TRUE(model::check_eval(text));
}

}  // namespace
}  // namespace tovik::tests::term_test
