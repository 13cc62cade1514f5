// Lists of outcomes and of indicators, long ones too.

#include <chrono>

#include "catalogue.hpp"

namespace tovik::tests::sequential_test {
namespace {

texts commands(const ModelList& list) {
  texts out;
  for (const Model& model : list) out.push_back(model.command());
  return out;
}

texts sequence(const std::string& statement) {
  const VariableList list = catalogue(0);
  return commands(equations(list, {statement}));
}

TEST(Sequential, EachOutcomeIsRegressedOnThoseBehindIt) {
  EXPECT_EQ(sequence("Y x z ~ y2"),
            (texts{"y ~ Intercept x z y2", "x ~ Intercept z y2", "z ~ Intercept y2"}));
  EXPECT_EQ(sequence("y x ~ 0"), (texts{"y ~ 0 x", "x ~ 0"}));
}

TEST(Sequential, KeepsLinksAndTransformationsOnTheLeft) {
  EXPECT_EQ(sequence("log( Y ) logit(bin) yjt(x, 0.5) ~ z"),
            (texts{"log( Y ) ~ Intercept bin x z", "logit(bin) ~ Intercept x z",
                   "yjt(x, 0.500000) ~ Intercept z"}));
  EXPECT_EQ(sequence("{ var(y) var( x ) } ~ z"), (texts{"var(y) ~ Intercept z", "var(x) ~ Intercept z"}));
  EXPECT_EQ(sequence("{ (y) log(x) } ~ z"), (texts{"y ~ Intercept z", "log(x) ~ Intercept z"}));
}

TEST(Sequential, MissingIndicatorsPredictEachOther) {
  EXPECT_EQ(sequence("x.missing y.missing ~ z"),
            (texts{"x.missing ~ Intercept y.missing z", "y.missing ~ Intercept z"}));
}

TEST(Sequential, ABarInFrontOfTheTildeIsOneModel) {
  Model::allow_multivariate = true;
  EXPECT_EQ(sequence("y x | ~ z"), texts{"y x | ~ Intercept z"});
  EXPECT_EQ(sequence("y | x ~ z"), texts{"y x | ~ Intercept z"});
  EXPECT_EQ(sequence("y x | ~ z")[0], sequence(sequence("y x | ~ z")[0])[0]);
  Model::allow_multivariate = false;
}

TEST(Loadings, FixTheFirstOfEachStatement) {
  const VariableList list = catalogue(0);
  ModelList all{block::map()};
  all.add_loading({"eta -> x z%1", ""}, list);
  EXPECT_EQ(commands(all), (texts{"x ~ Intercept eta@1", "z ~ Intercept eta%1", "eta ~ Intercept"}));
  EXPECT_FALSE(all[2].fixed_intercept_given);
  all.add_loading({"eta =~ y y2", ""}, list);
  EXPECT_EQ(all.size(), 5u);
  EXPECT_EQ(all[3].command(), "y ~ Intercept eta@1");
}

TEST(Loadings, FreeOnRequest) {
  const VariableList list = catalogue(0);
  ModelList all{block::map()};
  sem::defaults::freeloadings = true;
  all.add_loading({"eta -> x z@0.5", ""}, list);
  sem::defaults::freeloadings = false;
  EXPECT_EQ(commands(all), (texts{"x ~ Intercept eta", "z ~ Intercept eta@0.500000", "eta ~ Intercept"}));
}

TEST(LongStatements, GrowLittleMoreThanTheirLength) {
  const auto seconds = [](const std::string& piece, std::size_t n) {
    std::string text = "y ~ x";
    for (std::size_t k = 0; k < n; ++k) text += piece;
    const VariableList list = catalogue(1);
    const auto start = std::chrono::steady_clock::now();
    equations(list, {text});
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  // A quadratic reader would need 100 times as long for ten times the text.
  for (const char* piece : {" x@b", " (x*z)", " x.mean%2", " z@(1/3)"}) {
    const double small = seconds(piece, 3000);
    EXPECT_LT(seconds(piece, 30000), 40 * small + 1) << piece;
  }
}

}  // namespace
}  // namespace tovik::tests::sequential_test
