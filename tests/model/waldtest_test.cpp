// Hypotheses about equations: what separates a restricted one from the full one, and equalities of labels.

#include "model/waldtest.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "run_models.hpp"

namespace tovik::tests::waldtest_test {
namespace {

using model::parameter;
using model::waldtest;
using texts = std::vector<std::string>;

/// Equations of a run, and hypotheses about them.
struct hypotheses : run_models {
  explicit hypotheses(unsigned identifiers, const texts& equations, const texts& parameters = {})
      : run_models(identifiers, equations, parameters) {
    all.define_parameters();
    all.index();
    warning::buffer.clear();
  }

  ModelList restrict(const texts& equations) const {
    return sem::parse_waldtest(statements(equations), list, block::map(), all);
  }
  waldtest test(const texts& equations) const { return restrict(equations) - all; }
  waldtest equal(const texts& equalities) const {
    waldtest out;
    for (const std::string& one : equalities) out.add_constraints(one, all);
    return out;
  }

  /// The names of all rows of the estimates; of an equation with several, behind its outcome.
  texts row_names() const {
    texts out;
    for (const Model& model : all) {
      for (unsigned code = 0; code < model.n_codes(); ++code) {
        for (const model::row& row : model.rows()) out.push_back(model.name() + ": " + row.tagged());
      }
    }
    return out;
  }

  /// The contrasts in words: "y:    Fixed : x = 0", or with coefficients where there are several.
  texts words_of(const waldtest& one) const {
    const texts names = row_names();
    EXPECT_EQ(one.n_params, names.size());
    texts out;
    for (const model::contrast& c : one.contrasts()) {
      std::string text;
      for (const auto& [row, coefficient] : c.rows)
        text += (text.empty() ? "" : " ") + (c.rows.size() > 1 ? format("%+g ", coefficient) : "") +
                names.at(row);
      out.push_back(text + format(" = %g", c.constant));
    }
    return out;
  }
};

template <class Work>
std::string fault_of(const Work& work) {
  try {
    work();
  } catch (const error_debug& fault) {
    return std::string("debug: ") + fault.what();
  } catch (const error& fault) {
    return fault.what();
  }
  return "";
}

std::string two_models(const std::string& text, const std::string& full, const std::string& restricted) {
  return "ERROR: " + text + "\n       Full Model:\n         " + full +
         "\n       Restricted Model:\n         " + restricted;
}

TEST(Restriction, OfAPredictorThatIsLeftOut) {
  const hypotheses run(0, {"y ~ x z", "y2 ~ y"});
  EXPECT_EQ(run.words_of(run.test({"y ~ x"})), (texts{"y:    Fixed : z = 0"}));
  EXPECT_EQ(run.words_of(run.test({"y2 ~ ", "y ~ "})),
            (texts{"y:    Fixed : x = 0", "y:    Fixed : z = 0", "y2:    Fixed : y = 0"}));
  EXPECT_EQ(run.words_of(run.test({"y ~ 0 x z"})), (texts{"y:    Fixed : Intercept = 0"}));
  EXPECT_TRUE(run.test({"y ~ z x"}).contrasts().empty());
}

TEST(Restriction, OfALabelledTermThatIsLeftOut) {
  const hypotheses run(0, {"y ~ x z@b2 w@0.5"});
  EXPECT_EQ(run.words_of(run.test({"y ~ x w@0.5"})), (texts{"y:    Fixed : z = 0"}));
  // What the full equation holds itself is no hypothesis.
  EXPECT_EQ(run.words_of(run.test({"y ~ z@B2"})), (texts{"y:    Fixed : x = 0"}));
}

TEST(Restriction, ToAValue) {
  const hypotheses run(0, {"y ~ x z"});
  EXPECT_EQ(run.words_of(run.test({"y ~ x@0.5 z@-2"})),
            (texts{"y:    Fixed : x = 0.5", "y:    Fixed : z = -2"}));
}

TEST(Restriction, OfComputedTermsAndDefinitions) {
  const hypotheses run(0, {"y ~ x (x*z) d", "d = x^2 + z"});
  EXPECT_EQ(run.words_of(run.test({"y ~ d"})), (texts{"y:    Fixed : x = 0", "y:    Fixed : x*z = 0"}));
  const waldtest one = run.test({"y ~ x (x * Z)@1"});
  EXPECT_EQ(run.words_of(one), (texts{"y:    Fixed : x*z = 1", "y:    Fixed : d = 0"}));
  EXPECT_EQ(one.differences.at(0).removed.size(), 0u);
  EXPECT_EQ(one.differences.at(0).removed_compute.size(), 1u);
  // The equations outlive the list that they were read with, and so do the names that they read.
  EXPECT_EQ(one.restricted(), (texts{"y ~ Intercept x (x * Z)@1"}));
  EXPECT_NE(one.names->find("d"), nullptr);
}

TEST(Restriction, OfEachCodeOfANominalPredictor) {
  const hypotheses run(0, {"y ~ x g"});
  EXPECT_EQ(run.words_of(run.test({"y ~ x"})).size(), 2u);
}

TEST(Restriction, RepeatsForEachCodeOfANominalOutcome) {
  const hypotheses run(0, {"y ~ x", "g ~ x z"});
  const waldtest one = run.test({"g ~ x"});
  const Model& nominal = run.all.front();
  ASSERT_EQ(nominal.name(), "g");
  const unsigned rows = static_cast<unsigned>(nominal.rows().size());
  const unsigned first = run.all.estimates_span(nominal).first;
  EXPECT_EQ(run.words_of(one), (texts{"g:    Fixed : z = 0", "g:    Fixed : z = 0"}));
  const auto contrasts = one.contrasts();
  EXPECT_EQ(contrasts.at(0).rows.at(0).first, first + 2);
  EXPECT_EQ(contrasts.at(1).rows.at(0).first, first + rows + 2);
}

TEST(Restriction, OfALabelOfANominalOutcomeIsOneForAllItsCodes) {
  const hypotheses run(0, {"y ~ x", "g ~ x@a z"});
  EXPECT_EQ(run.words_of(run.test({"g ~ "})),
            (texts{"g:    Fixed : x = 0", "g:    Fixed : z = 0", "g:    Fixed : z = 0"}));
}

TEST(Restriction, OfARandomSlopeIsItsVariance) {
  const hypotheses run(1, {"y ~ x z | x z"});
  EXPECT_EQ(run.words_of(run.test({"y ~ x z | z"})), (texts{"y: Variance : L2 : Var(x) = 0"}));
  EXPECT_EQ(run.words_of(run.test({"y ~ z | 0"})),
            (texts{"y: Variance : L2 : Var(Intercept) = 0", "y: Variance : L2 : Var(x) = 0",
                   "y: Variance : L2 : Var(z) = 0", "y:    Fixed : x = 0"}));
}

TEST(Restriction, OfAnEffectAtOneOfTwoLevels) {
  const hypotheses run(2, {"y ~ x"});
  EXPECT_EQ(run.words_of(run.test({"y ~ x | 1[school]"})), (texts{"y: Variance : L3 : Var(Intercept) = 0"}));
  EXPECT_EQ(run.words_of(run.test({"y ~ x | 1[district]"})),
            (texts{"y: Variance : L2 : Var(Intercept) = 0"}));
}

TEST(Restriction, OfAVarianceModel) {
  const hypotheses run(0, {"y ~ x", "var(y) ~ z x"});
  EXPECT_EQ(run.words_of(run.test({"var(y) ~ 1"})), (texts{"y:    Fixed : z = 0", "y:    Fixed : x = 0"}));
  const waldtest both = run.test({"var(y) ~ z", "y ~ "});
  EXPECT_EQ(both.differences.size(), 2u);
  EXPECT_EQ(run.words_of(both), (texts{"y:    Fixed : x = 0", "y:    Fixed : x = 0"}));
}

TEST(Restriction, LinksAndTransformationsAreThoseOfTheRun) {
  const hypotheses run(0, {"logit(bin) ~ x z", "yjt(y2, 0.5) ~ x", "log(y10) ~ x", "probit(grade) ~ x"});
  EXPECT_EQ(run.words_of(run.test({"bin ~ x"})), (texts{"bin:    Fixed : z = 0"}));
  EXPECT_EQ(run.words_of(run.test({"logit(bin) ~ z"})), (texts{"bin:    Fixed : x = 0"}));
  EXPECT_EQ(run.words_of(run.test({"y2 ~ "})), (texts{"y2:    Fixed : x = 0"}));
  EXPECT_EQ(run.words_of(run.test({"log( y10 ) ~ "})), (texts{"y10:    Fixed : x = 0"}));
  EXPECT_EQ(fault_of([&] { run.test({"probit(bin) ~ x"}); }),
            two_models("Non nested model in model test.", "logit(bin) ~ Intercept x z",
                       "probit(bin) ~ Intercept x"));
  EXPECT_EQ(fault_of([&] { run.test({"y10 ~ "}); }),
            two_models("Non nested model in model test.", "log(y10) ~ Intercept x", "y10 ~ Intercept"));
}

TEST(Restriction, OfTheParameterOfATransformation) {
  const hypotheses run(0, {"yjt(y) ~ x", "yjt(y2, l) ~ x"});
  EXPECT_EQ(run.words_of(run.test({"yjt(y, 1) ~ x"})), (texts{"y: Transform: Yeo-Johnson (lambda) = 1"}));
  EXPECT_NE(fault_of([&] { run.test({"yjt(y2, 1) ~ x"}); }).find("cannot fix label parameters"),
            std::string::npos);
  EXPECT_EQ(run.words_of(run.equal({"l = 1"})), (texts{"y2: Transform: Yeo-Johnson (lambda) = 1"}));
}

TEST(Restriction, LeavesPhantomsAlone) {
  sem::defaults::optimize_models = false;
  const hypotheses run(1, {"y ~ x z", "y2 ~ x", "y <-> y2"});
  sem::defaults::optimize_models = true;
  EXPECT_EQ(run.words_of(run.test({"y ~ x"})), (texts{"y:    Fixed : z = 0"}));
}

TEST(Restriction, AddsNothingAndWarnsOfNothing) {
  const hypotheses run(0, {"y ~ eta z.missing", "eta -> y10 y2"});
  const ModelList restricted = run.restrict({"y ~ eta", "y2 ~ eta", "eta -> y10"});
  texts names;
  for (const Model& model : restricted) names.push_back(model.name());
  EXPECT_EQ(names, (texts{"y", "y2", "y10"}));
  EXPECT_TRUE(warning::buffer.empty());
}

TEST(Restriction, TakesTheUnitsAndMeansOfFactorsFromTheRun) {
  const hypotheses run(0, {"eta -> y y2 y10", "eta ~ x"});
  // The first loading is held in the run, whatever stands first here; and the mean of the factor is.
  EXPECT_TRUE(run.test({"eta -> y2 y10 y"}).contrasts().empty());
  EXPECT_EQ(run.words_of(run.test({"eta ~ "})), (texts{"eta:    Fixed : x = 0"}));
  EXPECT_EQ(run.words_of(run.test({"y2 ~ "})), (texts{"y2:    Fixed : eta = 0"}));
}

TEST(Restriction, TakesAFixedVariableForOneWithoutAnEquation) {
  const hypotheses run(0, {"y ~ x"});
  EXPECT_EQ(fault_of([&] { run.test({"held ~ x"}); }),
            "ERROR: Could not find matching model in WALDTEST command.\n"
            "       Problem model: held ~ Intercept x");
  EXPECT_EQ(fault_of([&] { run.test({"z ~ x"}); }),
            "ERROR: Could not find matching model in WALDTEST command.\n"
            "       Problem model: z ~ Intercept x");
}

TEST(Restriction, SaysNoMoreThanTheFullEquation) {
  const hypotheses run(1, {"y ~ x"});
  EXPECT_EQ(fault_of([&] { run.test({"y ~ x z"}); }),
            two_models("Non nested model in model test. A predictor was not found.",
                       "y ~ Intercept x | Intercept", "y ~ Intercept x z | Intercept"));
  EXPECT_EQ(fault_of([&] { run.test({"y ~ x | x"}); }),
            two_models("Non nested model in model test. A random effect was not found.",
                       "y ~ Intercept x | Intercept", "y ~ Intercept x | Intercept x"));
}

TEST(Restriction, LabelsAndFixedValuesMustMatch) {
  const hypotheses run(0, {"y ~ x@a z@0.5 w"});
  const std::string full = "y ~ Intercept x@a z@0.500000 w";
  EXPECT_EQ(fault_of([&] { run.test({"y ~ x@0 z@0.5 w"}); }),
            two_models("The restricted model cannot fix label parameters.\n"
                       "       To fix a parameter to a value use:\n          parameter = value;",
                       full, "y ~ Intercept x@0 z@0.500000 w"));
  EXPECT_EQ(fault_of([&] { run.test({"y ~ x@a z@0.4 w"}); }),
            two_models("The fixed parameters must match between full and restricted model.", full,
                       "y ~ Intercept x@a z@0.400000 w"));
  EXPECT_EQ(fault_of([&] { run.test({"y ~ x@a z w"}); }),
            two_models("The fixed parameters must match between full and restricted model.", full,
                       "y ~ Intercept x@a z w"));
  for (const char* restricted : {"y ~ Intercept x z@0.500000 w", "y ~ Intercept x@b z@0.500000 w",
                                 "y ~ Intercept x@a z@0.500000 w@c"}) {
    EXPECT_EQ(
        fault_of([&] { run.test({restricted}); }),
        two_models("The restricted and full models must have the same parameter labels.", full, restricted));
  }
}

TEST(Restriction, NeedsEquationsWithOneOutcome) {
  const hypotheses run(0, {"y ~ x", "y2 ~ x", "y <-> y2@r"});
  EXPECT_EQ(fault_of([&] { run.test({"y ~ "}); }),
            "ERROR: Cannot specify WALDTEST model differences with multivariate\n"
            "       models. Specify tests via the 'parameter = value'\n       specificaiton.");
  const Model& block = run.all.back();
  ASSERT_TRUE(block.is_multi());
  EXPECT_EQ(fault_of([&] { block - block; }), "ERROR: WALDTEST cannot be used for multivariate outcomes.");
  EXPECT_EQ(fault_of([&] { run.all[0] - run.all[1]; }),
            two_models("Not equivalent outcomes in model test.", run.all[1].command(), run.all[0].command()));
  Model empty = run.all[0];
  empty.outcomes.clear();
  EXPECT_EQ(fault_of([&] { empty - empty; }), "debug: No outcomes in model.");
  sem::defaults::optimize_models = false;
  hypotheses phantoms(0, {"y ~ x", "y2 ~ x", "y <-> y2"});
  sem::defaults::optimize_models = true;
  const Model& phantom = phantoms.of_kind(model::kind::phantom);
  EXPECT_EQ(fault_of([&] { phantom - phantom; }), "ERROR: WALDTEST cannot be used for phantom variables.");
}

TEST(Restriction, RefusesCorrelations) {
  const hypotheses run(0, {"y ~ x"});
  EXPECT_EQ(fault_of([&] { run.restrict({"y ~~ z"}); }),
            "ERROR: Cannot specify WALDTEST model differences with correlations.\n"
            "       Specify tests via the 'parameter = value' specificaiton.");
}

TEST(Difference, TellsItselfAndItsHypotheses) {
  const hypotheses run(1, {"y ~ x z (x*z) | x (x^2)"});
  const waldtest one = run.test({"y ~ x@2"});
  const model::difference& d = one.differences.at(0);
  EXPECT_EQ(d.values(), (std::vector<double>{0, 0, 2, 0, 0}));
  EXPECT_EQ(d.select().size(), 5u);
  std::ostringstream text;
  text << d;
  EXPECT_EQ(text.str(),
            "FULL MODEL: y ~ Intercept x z (x*z) | Intercept x (x^2)\n"
            "RESTRICTED MODEL: y ~ Intercept x@2 | Intercept\n"
            "OUTCOMES: y \nFIXED: z \nFIXEDCOMPUTE: (x*z) \nRANDOM: x \nRANDOMCOMPUTE: (x^2) \n");
}

TEST(Equality, OfLabelsAndNumbers) {
  const hypotheses run(0, {"y ~ x@a1 z@a2", "y2 ~ x@b1 z@b2"});
  EXPECT_EQ(run.words_of(run.equal({"a2 = 0", "B2 = 0.5"})),
            (texts{"y:    Fixed : z = 0", "y2:    Fixed : z = 0.5"}));
  EXPECT_EQ(run.words_of(run.equal({"a2 b2 = 0"})), (texts{"y:    Fixed : z = 0", "y2:    Fixed : z = 0"}));
  EXPECT_EQ(run.words_of(run.equal({"-1e-1 = a1"})), (texts{"y:    Fixed : x = -0.1"}));
  EXPECT_EQ(run.words_of(run.equal({"a1 = b1"})), (texts{"+1 y:    Fixed : x -1 y2:    Fixed : x = 0"}));
}

TEST(Equality, OfListsIsThatOfEachPair) {
  const hypotheses run(0, {"y ~ x@a1 z@a2", "y2 ~ x@b1 z@b2"});
  const waldtest one = run.equal({"a1 a2 = b1 b2"});
  texts said;
  for (const model::constraint& c : one.constraints) said.push_back(c.string());
  EXPECT_EQ(said, (texts{"a1 = b1", "a1 = b2", "a2 = b1", "a2 = b2"}));
  EXPECT_EQ(one.contrasts().size(), 4u);
  EXPECT_EQ(one.full(), (texts{"y ~ Intercept x@a1 z@a2", "y2 ~ Intercept x@b1 z@b2"}));
  EXPECT_EQ(one.restricted(), one.full());
}

TEST(Equality, ConstantsBelongToTheirContrast) {
  const hypotheses run(0, {"y ~ x@a z@b"});
  EXPECT_EQ(run.words_of(run.equal({"a = 0.5", "a = b"})),
            (texts{"y:    Fixed : x = 0.5", "+1 y:    Fixed : x -1 y:    Fixed : z = 0"}));
}

TEST(Equality, FindsLabelsWhereverTheyStand) {
  const hypotheses run(1, {"y ~ x@c (z*p) | 1@vi x@vx", "y ~~ y@s", "y2 ~ x", "y10 ~ x", "y2 <-> y10@r"},
                       {"p ~ normal(0, 1)", "q = c * p"});
  EXPECT_EQ(run.words_of(run.equal({"vi vx s c r p q = 1"})),
            (texts{"y: Variance : L2 : Var(Intercept) = 1", "y: Variance : L2 : Var(x) = 1",
                   "y: Variance : Residual Var. = 1", "y:    Fixed : x = 1", "#_multi_#: Cor(y2,y10) = 1",
                   "p:    Fixed : p = 1", "q:    Fixed : q = 1"}));
  sem::defaults::optimize_models = false;
  const hypotheses phantom(0, {"y ~ x", "y2 ~ x", "y <-> y2@r"});
  sem::defaults::optimize_models = true;
  const waldtest one = phantom.equal({"r = 0"});
  EXPECT_EQ(phantom.words_of(one), (texts{"y#cor#y2: Variance : y <-> y2 = 0"}));
  EXPECT_EQ(one.full(), (texts{"y <-> y2@r"}));
}

TEST(Equality, FindsEachCorrelationOfABlock) {
  const hypotheses run(0, {"y ~ x", "y2 ~ x", "y10 ~ x", "y <-> y2@a", "y <-> y10@b", "y2 <-> y10@c"});
  EXPECT_EQ(run.words_of(run.equal({"a b c = 0"})),
            (texts{"#_multi_#: Cor(y,y2) = 0", "#_multi_#: Cor(y,y10) = 0", "#_multi_#: Cor(y2,y10) = 0"}));
}

TEST(Equality, RefusesWhatIsNone) {
  const hypotheses run(0, {"y ~ x@a"});
  const auto general = [](const std::string& statement) {
    return "ERROR: The WALDTEST command \"" + statement +
           "\" is not correctly specified.\n"
           "       Each equation must be separated by semicolon and take one of the following forms:\n"
           "           outcome ~ predictor1 predictor2;\n"
           "           parameter1 = parameter2 parameter3;\n"
           "           parameter1 = value;";
  };
  for (const char* statement : {"a = 0 = 0", "a == 0", "a =", "= 0", "a"})
    EXPECT_EQ(fault_of([&] { run.equal({statement}); }), general(statement));
  EXPECT_EQ(fault_of([&] { run.equal({"0 = 1"}); }),
            "ERROR: The WALDTEST command \"0 = 1\" is not correctly specified.\n"
            "       Cannot set two values equal. Problem Specification:\n           '0 = 1'");
  EXPECT_EQ(fault_of([&] { run.equal({"a b = 0"}); }),
            "ERROR: The WALDTEST command \"a b = 0\" is not correctly specified.\n"
            "       Cannot find a model with parameter name 'b'");
  EXPECT_NE(fault_of([&] { run.equal({"a = nan"}); }).find("parameter name 'nan'"), std::string::npos);
}

TEST(Equality, ChecksItsSides) {
  model::constraint two_values{parameter::fixed_at(1), parameter::fixed_at(2), -1, -1, ""};
  EXPECT_EQ(fault_of([&] { two_values.compare(); }), "debug: Both Values - No contrast");
  model::constraint twice{parameter::labelled("a"), parameter::fixed_at(2), 3, 4, ""};
  EXPECT_EQ(fault_of([&] { twice.compare(); }), "debug: Value Set already.");
  model::constraint nothing{parameter::labelled("a"), parameter(), 3, -1, ""};
  EXPECT_EQ(fault_of([&] { (void)nothing.string(); }), "Value was never fixed.");
  EXPECT_EQ(fault_of([&] { nothing.compare(); }), "debug: A label of a constraint has no row.");
  const model::constraint a{parameter::labelled("a2"), parameter::fixed_at(0.25), 3, -1, ""};
  EXPECT_EQ(a.string(), "a2 = 0.250000");
}

TEST(Equality, JoinsTheRestrictedEquationOfItsLabel) {
  const hypotheses run(0, {"y ~ x@a z", "y2 ~ x@b"});
  waldtest one = run.test({"y ~ x@a"});
  one.add_constraints("a = b", run.all);
  EXPECT_EQ(one.full(), (texts{"y ~ Intercept x@a z", "y2 ~ Intercept x@b"}));
  EXPECT_EQ(one.restricted(), (texts{"y ~ Intercept x@a", "y2 ~ Intercept x@b"}));
  EXPECT_EQ(run.words_of(one), (texts{"y:    Fixed : z = 0", "+1 y:    Fixed : x -1 y2:    Fixed : x = 0"}));
}

}  // namespace
}  // namespace tovik::tests::waldtest_test
