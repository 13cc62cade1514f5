// PARAMETERS statements: priors and computed parameters.

#include <cmath>

#include "evaluate/defines.hpp"
#include "model/distribution.hpp"
#include "run_models.hpp"

namespace tovik::tests::parameters_statement_test {
namespace {

std::string parse_failure(const std::string& statement) {
  try {
    const Model model(statement);
  } catch (const error& fault) {
    return fault.what();
  }
  return "";
}

std::string prior_form(const std::string& statement) {
  return "ERROR: The PARAMETER command \"" + statement +
         "\" is not correctly specified.\n"
         "       Each equation must be separated by semicolon and take one of the following forms:\n"
         "           parameter ~ distribution(input1, input2);";
}

std::string computed_form(const std::string& statement) {
  return "ERROR: The PARAMETER command \"" + statement +
         "\" is not correctly specified.\n"
         "       Each equation must be separated by semicolon and take one of the following forms:\n"
         "           parameter = computation;";
}

TEST(ParametersStatement, PriorsHaveACanonicalNameAndTwoValues) {
  struct row {
    const char* text;
    const char* name;
    double first, second;
  };
  const double inf = INFINITY;
  for (const row& r : {row{"normal(0, 10)", "normal", 0, 10}, row{"N(1,2)", "normal", 1, 2},
                       row{"invgamma(0.5, 2)", "invgamma", 0.5, 2}, row{"beta(1,3)", "beta", 1, 3},
                       row{"gamma(2, sqrt(9))", "gamma", 2, 3}, row{"laplace(0,1)", "laplace", 0, 1},
                       row{"cauchy(0, 2.5)", "cauchy", 0, 2.5}, row{"truncate(-inf, 0)", "truncate", -inf, 0},
                       row{"trunc(0,1)", "truncate", 0, 1}, row{"tr(0, inf)", "truncate", 0, inf},
                       row{"unif(-1, 1)", "uniform", -1, 1}, row{"uniform( 1/2 , 1)", "uniform", 0.5, 1},
                       row{" N ( (1+1), exp(0) ) ", "normal", 2, 1}}) {
    const Model model("b ~ " + std::string(r.text));
    EXPECT_EQ(model.prior.name, r.name) << r.text;
    EXPECT_EQ(model.prior.first, r.first) << r.text;
    EXPECT_EQ(model.prior.second, r.second) << r.text;
    EXPECT_EQ(model.prior.text, trim(r.text));
    EXPECT_EQ(model.kind(), model::kind::parameter);
    EXPECT_EQ(model.block, block::predef::parameter);
    EXPECT_EQ(model.name(), "b");
    EXPECT_TRUE(model.computation.empty());
  }
}

TEST(ParametersStatement, EveryNameOfTheListIsADistribution) {
  EXPECT_EQ(sem::distribution_list, (texts{"invgamma", "normal", "N", "beta", "gamma", "tnormal", "laplace",
                                           "truncate", "trunc", "tr", "cauchy", "unif", "uniform"}));
  for (const std::string& name : sem::distribution_list) {
    if (name == "tnormal") continue;  // a word without a density
    EXPECT_EQ(parse_failure("b ~ " + name + "(1,2)"), "") << name;
  }
  EXPECT_EQ(parse_failure("b ~ tnormal(0,1)").rfind("ERROR: The prior distribution 'tnormal' is not", 0), 0u);
}

TEST(ParametersStatement, ComputationsKeepTheirText) {
  const Model model(" d.2 =  (a - b) * 2 ");
  EXPECT_EQ(model.kind(), model::kind::computation);
  EXPECT_EQ(model.name(), "d.2");
  EXPECT_EQ(model.computation, "(a - b) * 2");
  EXPECT_EQ(model.block, block::predef::computation);
}

TEST(ParametersStatement, WrongFormsSayWhichIsRight) {
  for (const char* text :
       {"~ normal(0,1)", "b ~", "b ~ normal", "b ~ normal(", "b ~ normal)", "b ~ (0,1)", "b ~ normal(0)",
        "b ~ normal(0,1,2)", "b ~ normal(0,1) + 1", "b ~ none(0,1)", "2b ~ normal(0,1)", "b@c ~ normal(0,1)",
        "b*c ~ normal(0,1)", "b[1] ~ normal(0,1)", "-b ~ normal(0,1)", "b ~ ~ normal(0,1)"})
    EXPECT_EQ(parse_failure(text), prior_form(text));
  for (const char* text : {"= 2", "d =", "d", "", "d == 2", "2d = 3", "d + e = 2", "d = a@b", "d = a | b"})
    EXPECT_EQ(parse_failure(text), computed_form(text));
}

TEST(ParametersStatement, InputsMustBeNumbers) {
  const std::string first = "ERROR: First input to distribution could not be evaluated:\n\n";
  const std::string second = "ERROR: Second input to distribution could not be evaluated:\n\n";
  EXPECT_EQ(parse_failure("a ~ normal(bad, 1)"), first + "ERROR: Non-numeric value was supplied.\nbad");
  EXPECT_EQ(parse_failure("a ~ normal(0,bad)"), second + "ERROR: Non-numeric value was supplied.\nbad");
  EXPECT_EQ(parse_failure("a ~ normal(,1)"), first);
  EXPECT_EQ(parse_failure("a ~ normal(0,)"), second);
  EXPECT_EQ(parse_failure("a ~ normal(0/0,1)"), first + "0/0");
  EXPECT_EQ(parse_failure("a ~ normal(#DATA(0),1)").rfind(first, 0), 0u);
  EXPECT_EQ(parse_failure("a ~ normal(#VAR(0),1)").rfind(first, 0), 0u);
}

TEST(ParametersStatement, ExpressionsAreReadAtOnce) {
  EXPECT_EQ(parse_failure("d = a +"), "ERROR: Could not parse statement.\na +\n       See \"d = a +\"");
  EXPECT_EQ(parse_failure("d = lag1(a)"), "ERROR: 'lag1' function can only be used in TRANSFORM command.");
  EXPECT_NE(parse_failure("d = ifelse(a, 1)"), "");
  EXPECT_NE(parse_failure("d = " + std::string(20000, '(') + "a" + std::string(20000, ')')), "");
}

TEST(ParametersStatement, SeveralNamesShareAStatement) {
  VariableList list = catalogue(0);
  ModelList all = equations(list, {"y ~ x"});
  all.add_parameter("b0  b1 B2 ~ normal(0, 10)");
  all.add_computation("c d = b0*2");
  texts statements;
  for (const Model& model : all) statements.push_back(model.command());
  EXPECT_EQ(statements, (texts{"y ~ Intercept x", "b0 ~ normal(0, 10)", "b1 ~ normal(0, 10)",
                               "B2 ~ normal(0, 10)", "c = b0*2", "d = b0*2"}));
  const std::string twice =
      "\" is not correctly specified.\n       The defined parameter has already been specified.";
  for (const char* text : {"b2 ~ normal(0, 1)", "e e ~ normal(0, 1)", "c ~ normal(0, 1)"}) {
    try {
      all.add_parameter(text);
      ADD_FAILURE() << text;
    } catch (const error& fault) {
      EXPECT_EQ(fault.what(), "ERROR: The PARAMETER command \"" + std::string(text) + twice);
    }
  }
  EXPECT_THROW(all.add_computation("b1 = 2"), error);
}

TEST(ParametersStatement, PriorsComeBeforeComputationsInFileOrder) {
  VariableList list = catalogue(0);
  drop_unnamed_latents(list, {});
  const ModelList all = sem::parse(statements({"z ~ y@a", "y ~ x@b"}), list, block::map(),
                                   {{"q = a*2", "b ~ normal(0,1)", "e = q + b", "a ~ normal(0,1)"}});
  texts names;
  for (const Model& model : all) names.push_back(model.name());
  EXPECT_EQ(names, (texts{"y", "z", "b", "a", "q", "e"}));
}

TEST(ParametersStatement, ComputedParametersReadNoData) {
  VariableList list = catalogue(0);
  drop_unnamed_latents(list, {});
  const auto message = [&](const std::string& statement) -> std::string {
    try {
      sem::parse(statements({"y ~ x@a"}), list, block::map(), {{statement}});
    } catch (const error& fault) {
      return fault.what();
    }
    return "";
  };
  const std::string vector = "ERROR: Generated parameter in PARAMETER command produces a vector: \"d\"";
  EXPECT_EQ(message("d = a*x"), vector);
  EXPECT_EQ(message("d = a*W"), vector);
  EXPECT_EQ(message("d = a*y.totalvar"), "");
}

}  // namespace
}  // namespace tovik::tests::parameters_statement_test
