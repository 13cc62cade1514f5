#include "results/parameter_names.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "model/row_table.hpp"
#include "model/run_models.hpp"
#include "results/fake_predictor.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik::tests::parameter_names_test {
namespace {

using kind = sem::predictor_row::kind;
using texts = std::vector<std::string>;

texts texts_of(const std::vector<parameter_name>& names) {
  texts out;
  for (const parameter_name& name : names) out.push_back(name.text);
  return out;
}

class ParameterNames : public testing::Test {
 protected:
  ~ParameterNames() override { warning::buffer.clear(); }

  static std::vector<parameter_name> names(const ModelList& models) {
    return parameter_names(models, {}, {});
  }
};

TEST_F(ParameterNames, AreTheOutcomeAndTheLabelOfTheTable) {
  run_models run(1, {"y ~ x | x"});
  EXPECT_EQ(texts_of(names(run.all)),
            (texts{"'y': L2 : Var(Intercept)", "'y': L2 : Cov(Intercept,x)", "'y': L2 : Var(x)",
                   "'y': Residual Var.", "'y': Intercept", "'y': x", "'y': Standardized Coefficients: x",
                   "'y': Proportion Variance Explained by Coefficients",
                   "'y': Proportion Variance Explained by Level-2 Random Intercepts",
                   "'y': Proportion Variance Explained by Level-2 Random Slopes",
                   "'y': Proportion Variance Explained by Level-1 Residual Variation"}));
}

texts columns_of(const std::vector<parameter_name>& names) {
  texts out;
  for (const parameter_name& name : names) out.push_back(name.column);
  return out;
}

TEST_F(ParameterNames, OfColumnsReadAsEquationsAndAsPartsOfAnOutcome) {
  run_models run(1, {"y ~ x | x"});
  EXPECT_EQ(
      columns_of(names(run.all)),
      (texts{"y L2 | Var(Intercept)", "y L2 | Cov(Intercept,x)", "y L2 | Var(x)", "y | Residual Var.",
             "y ~ Intercept", "y ~ x", "y ~ x | Standardized", "y | R2: Coefficients",
             "y L2 | R2: Random Intercepts", "y L2 | R2: Random Slopes", "y L1 | R2: Residual Variation"}));
}

TEST_F(ParameterNames, SayWhereARowStandsInTheReport) {
  run_models run(1, {"y ~ x | x"});
  const std::vector<parameter_name> all = names(run.all);
  EXPECT_EQ(all.at(0).block, "model");
  EXPECT_EQ(all.at(0).outcome, "y");
  EXPECT_EQ(all.at(0).section, "Variances");
  EXPECT_EQ(all.at(0).level, 2u);
  EXPECT_EQ(all.at(0).label, "L2 : Var(Intercept)");
  EXPECT_EQ(all.at(5).section, "Coefficients");
  EXPECT_EQ(all.at(5).level, 0u);
  EXPECT_EQ(all.at(7).section, "Proportion Variance Explained");
}

TEST_F(ParameterNames, OfColumnsAreUniqueForEveryKindOfOutcome) {
  run_models run(0, split("y ~ x; grade ~ x; g ~ x; logit(bin) ~ x; visits ~ x; y2 <-> y10", ";", true),
                 {"p ~ normal(0, 1)", "q = p * 2"});
  const texts all = columns_of(names(run.all));
  EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), all.size());
  for (const char* expected :
       {"g.2 ~ x", "g.3 ~ x", "g.2 ~ x | Odds Ratio", "grade | Tau 1", "bin ~ x | Odds Ratio", "p", "q"})
    EXPECT_TRUE(std::find(all.begin(), all.end(), expected) != all.end())
        << expected << " in " << join(all, "; ");
}

TEST_F(ParameterNames, TellAVarianceModelFromTheEquationOfItsOutcome) {
  run_models run(0, {"y ~ x", "var(y) ~ x"});
  const std::vector<parameter_name> all = names(run.all);
  const parameter_name &intercept = all.at(all.size() - 2), &slope = all.back();
  EXPECT_EQ(intercept.column, "var(y) ~ Intercept");
  EXPECT_EQ(slope.column, "var(y) ~ x");
  EXPECT_EQ(slope.text, "'var(y)': x");
  EXPECT_EQ(slope.outcome, "var(y)");
  const texts columns = columns_of(all);
  EXPECT_EQ(std::count(columns.begin(), columns.end(), "y ~ x"), 1);
}

TEST_F(ParameterNames, ThatComeTwiceAreNumbered) {
  std::vector<parameter_name> all(4);
  for (parameter_name& one : all) one.column = "y ~ x";
  all[2].column = "y ~ x (2)";
  make_unique(all);
  EXPECT_EQ(columns_of(all), (texts{"y ~ x", "y ~ x (2)", "y ~ x (2) (2)", "y ~ x (3)"}));
}

TEST_F(ParameterNames, AreAsManyAsTheRowsOfTheDraws) {
  run_models run(0, split("y ~ x; grade ~ x; g ~ x; logit(bin) ~ x; visits ~ x; y2 <-> y10", ";", true),
                 {"p ~ normal(0, 1)", "q = p * 2"});
  EXPECT_EQ(names(run.all).size(), model::row_table(run.all).total());
}

TEST_F(ParameterNames, TellOfWhatTheModelFixes) {
  run_models run(0, {"y ~ x z@2"});
  const std::vector<parameter_name> all = names(run.all);
  for (const parameter_name& name : all) EXPECT_EQ(name.fixed, name.text == "'y': z") << name.text;
  EXPECT_EQ(all.at(3).text, "'y': z");
}

TEST_F(ParameterNames, OfANominalOutcomeAreThoseOfItsCodes) {
  run_models run(0, {"g ~ x"});
  EXPECT_EQ(texts_of(names(run.all)),
            (texts{"'g.2': Intercept", "'g.2': x", "'g.2': Odds Ratio: Intercept", "'g.2': Odds Ratio: x",
                   "'g.3': Intercept", "'g.3': x", "'g.3': Odds Ratio: Intercept", "'g.3': Odds Ratio: x"}));
}

TEST_F(ParameterNames, OfLabelledAndComputedParametersAreTheirOwn) {
  run_models run(0, {"y ~ x@p"}, {"p ~ normal(0, 1)", "q = p * 2"});
  const texts all = texts_of(names(run.all));
  EXPECT_EQ(texts(all.end() - 2, all.end()), (texts{"p", "q"}));
}

TEST_F(ParameterNames, OfPredictorModelsStandAtThePlacesOfTheirValues) {
  run_models run(0, {"y ~ x"});
  predictor_models models;
  models.push_back(std::make_unique<FakePredictor>(
      "o", data::type::ordinal,
      std::vector<sem::predictor_row>{{kind::grand_mean, 0, "o", "", 0, false},
                                      {kind::threshold, 0, "o", "", 1, false},
                                      {kind::coefficient, 1, "o", "x", 0, false},
                                      {kind::residual_variance, 1, "o", "", 0, true},
                                      {kind::residual_variance, 2, "o", "", 0, false}}));
  const std::vector<parameter_name> all = parameter_names(run.all, models, {});
  const texts found = texts_of(all);
  EXPECT_EQ(texts(found.end() - 5, found.end()),
            (texts{"'o': Grand Mean", "'o': Tau 1", "'o': Level 1: o ~ x", "'o': Level 1: Residual Var.",
                   "'o': Level 2: Residual Var."}));
  EXPECT_TRUE(all[all.size() - 2].fixed);
  EXPECT_FALSE(all.back().fixed);
  const texts columns = columns_of(all);
  EXPECT_EQ(texts(columns.end() - 5, columns.end()), (texts{"o | Grand Mean", "o | Tau 1", "o L1 ~ x",
                                                            "o L1 | Residual Var.", "o L2 | Residual Var."}));
  EXPECT_EQ(all.back().block, "predictors");
  EXPECT_EQ(all.back().section, "Level 2");
  EXPECT_EQ(all.back().level, 2u);
}

}  // namespace
}  // namespace tovik::tests::parameter_names_test
