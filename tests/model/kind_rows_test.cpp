// The names of the rows of every kind of outcome and every link.

#include "model/row_table.hpp"
#include "run_models.hpp"

namespace tovik::tests::kind_rows_test {
namespace {

/// The rows of one model of a run, cell by cell.
void expect_rows(const Model& model, const texts& parameters, const texts& standardized,
                 const texts& rsquare) {
  SCOPED_TRACE(model.name());
  EXPECT_EQ(model.parameters(), parameters);
  EXPECT_EQ(model.standardized(), standardized);
  EXPECT_EQ(model.rsquare(), rsquare);
  EXPECT_EQ(model.n_rows(), model.n_codes() * (parameters.size() + standardized.size() + rsquare.size()));
}

const texts single_level = {"R2: Coefficients", "R2: Residual Variation"};
const texts two_levels = {"R2: Coefficients", "R2: Level-2 Random Intercepts",
                          "R2: Level-1 Residual Variation"};
const texts three_levels = {"R2: Coefficients", "R2: Level-2 Random Intercepts",
                            "R2: Level-3 Random Intercepts", "R2: Level-1 Residual Variation"};
const texts five = {"Variance : Heterogeneity Index", "Variance : Q25% Residual Var.",
                    "Variance : Q50% Residual Var.", "Variance : Mean Residual Var.",
                    "Variance : Q75% Residual Var."};

texts join_rows(const std::vector<texts>& lists) {
  texts out;
  for (const texts& list : lists) out.insert(out.end(), list.begin(), list.end());
  return out;
}

TEST(KindRows, Normal) {
  run_models none(0, {"y ~ x (x*z)"});
  expect_rows(none["y"],
              {"Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x", "   Fixed : x*z"},
              {"x", "x*z"}, single_level);
  run_models two(1, {"y ~ x | x (x*z)"});
  expect_rows(
      two["y"],
      {"Variance : L2 : Var(Intercept)", "Variance : L2 : Cov(Intercept,x)",
       "Variance : L2 : Cov(Intercept,x*z)", "Variance : L2 : Var(x)", "Variance : L2 : Cov(x,x*z)",
       "Variance : L2 : Var(x*z)", "Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x"},
      {"x"},
      {"R2: Coefficients", "R2: Level-2 Random Intercepts", "R2: Level-2 Random Slopes",
       "R2: Level-1 Residual Variation"});
  run_models three(2, {"y ~ x (x*w) | 1[school] (w*v)"});
  expect_rows(three["y"],
              {"Variance : L3 : Var(w*v)", "Variance : L2 : Var(Intercept)", "Variance : Residual Var.",
               "   Fixed : Intercept", "   Fixed : x", "   Fixed : x*w"},
              {"x", "x*w"},
              {"R2: Coefficients", "R2: Level-2 Random Intercepts", "R2: Level-3 Random Slopes",
               "R2: Level-1 Residual Variation"});
}

TEST(KindRows, PlainColumnsStandBeforeComputedOnesWhateverTheStatement) {
  run_models run(1, {"y ~ (x*z) x | (x*z) x"});
  EXPECT_EQ(run["y"].reName(0), (texts{"Intercept", "x", "x*z"}));
  EXPECT_EQ(run["y"].standardized(), (texts{"x", "x*z"}));
}

TEST(KindRows, ANominalFactorOfAComputedTermHasARowForEachCode) {
  run_models run(0, {"y ~ (g*x)"});
  EXPECT_EQ(run["y"].standardized(), (texts{"g.2*x", "g.3*x"}));
  EXPECT_EQ(run["y"].fixedParameters().size(), 3u);
}

TEST(KindRows, Latent) {
  run_models run(2, {"zeta ~ v"});
  expect_rows(
      run["zeta"],
      {"Variance : L3 : Var(Intercept)", "Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : v"},
      {"v"}, {"R2: Coefficients", "R2: Level-3 Random Intercepts", "R2: Level-2 Residual Variation"});
}

TEST(KindRows, Weighted) {
  run_models run(1, {"y ~ x"});
  run["y"].setWeights();
  ASSERT_EQ(run["y"].link, model::link::weighted);
  expect_rows(
      run["y"],
      {"Variance : L2 : Var(Intercept)", "Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x"},
      {"x"}, two_levels);
}

TEST(KindRows, HeterogeneousVariances) {
  run_models run(1, {"y ~ x"});
  run["y"].link = model::link::hev;
  expect_rows(run["y"],
              join_rows({{"Variance : L2 : Var(Intercept)"}, five, {"   Fixed : Intercept", "   Fixed : x"}}),
              {"x"}, two_levels);
}

TEST(KindRows, VarianceModel) {
  run_models run(0, {"y ~ x", "var(y) ~ z (x*z)"});
  expect_rows(run["y"], join_rows({five, {"   Fixed : Intercept", "   Fixed : x"}}), {"x"}, single_level);
  expect_rows(run.of_kind(model::kind::log_variance),
              {"   Fixed : Intercept", "   Fixed : z", "   Fixed : x*z"}, {}, {});
}

TEST(KindRows, VarianceModelOfAFactorAndOfAnOrdinalOutcome) {
  run_models run(0, {"eta ~ x", "var(eta) ~ z", "grade ~ x", "var(grade) ~ z"});
  expect_rows(run["eta"], join_rows({five, {"   Fixed : Intercept", "   Fixed : x"}}), {"x"}, single_level);
  expect_rows(run["grade"], join_rows({five, {"   Fixed : Intercept", "   Fixed : x", "Threshold: Tau 1"}}),
              {"x"}, single_level);
}

TEST(KindRows, YeoJohnson) {
  run_models run(1, {"yjt(y) ~ x"});
  expect_rows(run["y"],
              {"Variance : L2 : Var(Intercept)", "Variance : Residual Var.", "   Fixed : Intercept",
               "   Fixed : x", "Transform: Yeo-Johnson (lambda)"},
              {"x"}, two_levels);
  run_models scale(0, {"yjt(y) ~ x", "var(y) ~ z"});
  expect_rows(scale["y"],
              join_rows({five, {"   Fixed : Intercept", "   Fixed : x", "Transform: Yeo-Johnson (lambda)"}}),
              {"x"}, single_level);
}

TEST(KindRows, OrdinalWithAnInterceptLeavesTheFirstThresholdOut) {
  run_models binary(0, {"bin ~ x"});
  expect_rows(binary["bin"], {"Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x"}, {"x"},
              single_level);
  run_models three(2, {"grade ~ x"});
  expect_rows(three["grade"],
              {"Variance : L3 : Var(Intercept)", "Variance : L2 : Var(Intercept)", "Variance : Residual Var.",
               "   Fixed : Intercept", "   Fixed : x", "Threshold: Tau 1"},
              {"x"}, three_levels);
}

TEST(KindRows, OrdinalWithoutAnInterceptHasAllThresholds) {
  run_models binary(0, {"bin ~ 0 x"});
  expect_rows(binary["bin"], {"Variance : Residual Var.", "   Fixed : x", "Threshold: Tau 1"}, {"x"},
              single_level);
  for (const char* text : {"grade ~ 0 x", "grade ~ 1@0 x"}) {
    run_models three(0, {text});
    EXPECT_EQ(three["grade"].parameters(),
              (texts{"Variance : Residual Var.", "   Fixed : x", "Threshold: Tau 1", "Threshold: Tau 2"}))
        << text;
  }
}

TEST(KindRows, AnInterceptFixedAtZeroPlacesNoScale) {
  run_models run(0, {"grade ~ Intercept@(1-1) x"});
  EXPECT_EQ(run["grade"].parameters(),
            (texts{"Variance : Residual Var.", "   Fixed : x", "Threshold: Tau 1", "Threshold: Tau 2"}));
  run_models other(0, {"grade ~ Intercept@2 x"});
  EXPECT_EQ(other["grade"].parameters(),
            (texts{"Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x", "Threshold: Tau 1"}));
}

TEST(KindRows, MissingIndicator) {
  run_models run(1, {"y.missing ~ x"});
  expect_rows(
      run["y.missing"],
      {"Variance : L2 : Var(Intercept)", "Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x"},
      {"x"}, two_levels);
  run_models without(0, {"grade.missing ~ 0 x"});
  expect_rows(without["grade.missing"], {"Variance : Residual Var.", "   Fixed : x", "Threshold: Tau 1"},
              {"x"}, single_level);
}

TEST(KindRows, Logit) {
  run_models run(1, {"logit(bin) ~ x | x"});
  expect_rows(run["bin"],
              {"Variance : L2 : Var(Intercept)", "Variance : L2 : Cov(Intercept,x)", "Variance : L2 : Var(x)",
               "   Fixed : Intercept", "   Fixed : x"},
              {"Intercept", "x"},
              {"R2: Coefficients", "R2: Level-2 Random Intercepts", "R2: Level-2 Random Slopes",
               "R2: Level-1 Residual Variation"});
  run_models without(0, {"logit(bin) ~ 0 x (x*z)"});
  expect_rows(without["bin"], {"   Fixed : x", "   Fixed : x*z"}, {"x", "x*z"}, single_level);
}

TEST(KindRows, Count) {
  run_models run(2, {"visits ~ x"});
  expect_rows(run["visits"],
              {"Variance : L3 : Var(Intercept)", "Variance : L2 : Var(Intercept)",
               "Variance : Dispersion Parameter", "   Fixed : Intercept", "   Fixed : x"},
              {"Intercept", "x"}, {});
}

TEST(KindRows, NominalRowsRepeatForEachCode) {
  for (const char* text : {"g ~ x", "logit(g) ~ x"}) {
    run_models run(1, {text});
    expect_rows(run["g"], {"Variance : L2 : Var(Intercept)", "   Fixed : Intercept", "   Fixed : x"},
                {"Intercept", "x"}, {});
    EXPECT_EQ(run["g"].n_codes(), 2u);
    EXPECT_EQ(run["g"].n_rows(), 10u);
    EXPECT_EQ(run.all.estimates_span(run["g"]).second, 10u);
  }
}

TEST(KindRows, Block) {
  run_models run(0, {"y ~ x", "y2 ~ x", "z ~ x", "y2 <-> y", "y <-> z"});
  expect_rows(run.of_kind(model::kind::block),
              {"Variance : Var(y)", "Variance : Cov(y,y2)", "Variance : Cov(y,z)", "Variance : Var(y2)",
               "Variance : Cov(y2,z)", "Variance : Var(z)"},
              {" SD(y)", "Cor(y,y2)", "Cor(y,z)", " SD(y2)", "Cor(y2,z)", " SD(z)"}, {});
  expect_rows(run["y2"], {"Variance : Residual Var.", "   Fixed : Intercept", "   Fixed : x"}, {"x"},
              single_level);
}

TEST(KindRows, BlockMembersStandInNaturalOrder) {
  run_models run(0, {"y10 <-> y2"});
  EXPECT_EQ(run.of_kind(model::kind::block).parameters(),
            (texts{"Variance : Var(y2)", "Variance : Cov(y2,y10)", "Variance : Var(y10)"}));
}

TEST(KindRows, PhantomHasOneRow) {
  sem::defaults::optimize_models = false;
  run_models run(1, {"y ~ x", "z ~ x", "y <-> z"});
  sem::defaults::optimize_models = true;
  expect_rows(run.of_kind(model::kind::phantom), {"Variance : y <-> z"}, {}, {});
  EXPECT_EQ(run.of_kind(model::kind::phantom).n_rows(), 1u);
}

TEST(KindRows, RandomEffectCorrelationKeepsItsBrackets) {
  run_models run(1, {"y ~ x", "z ~ x", "y[school] <-> z[school]"});
  EXPECT_EQ(run.of_kind(model::kind::phantom).parameters(), texts{"Variance : y[school] <-> z[school]"});
}

TEST(KindRows, ParametersAndComputationsHaveOneRow) {
  run_models run(0, {"y ~ x@a"}, {"a ~ normal(0, 1)", "d = a * 2"});
  expect_rows(run["a"], {"   Fixed : a"}, {}, {});
  expect_rows(run["d"], {"   Fixed : d"}, {}, {});
}

TEST(KindRows, SeveralOutcomesInOneEquation) {
  Model::allow_multivariate = true;
  ModelList all;
  VariableList list = rich_catalogue(0);
  const Model model("y y2 ~ x", list, all.names.get());
  Model::allow_multivariate = false;
  expect_rows(model,
              {"Variance : y : Residual Var.", "   Fixed : y : Intercept", "   Fixed : y : x",
               "Variance : y2 : Residual Var.", "   Fixed : y2 : Intercept", "   Fixed : y2 : x"},
              {" SD(y)", "Cor(y,y2)", " SD(y2)"}, {});
}

TEST(KindRows, LatentMeansNameTheirIdentifierInThreeLevels) {
  run_models two(1, {"y ~ x.mean g.mean"});
  EXPECT_EQ(two["y"].standardized(), (texts{"x.mean", "g.2.mean", "g.3.mean"}));
  run_models three(2, {"y ~ x.mean w.mean"});
  EXPECT_EQ(three["y"].standardized(), (texts{"x.mean[school]", "x.mean[district]", "w.mean"}));
  run_models chosen(2, {"y ~ x.mean[district]"});
  EXPECT_EQ(chosen["y"].standardized(), texts{"x.mean[district]"});
}

TEST(KindRows, AnOutcomeDependsOnMeansOfItsLevelAndAbove) {
  run_models run(2, {"w ~ x.mean"});
  EXPECT_EQ(run["w"].standardized(), (texts{"x.mean[school]", "x.mean[district]"}));
}

TEST(KindRows, PropensitiesIndicatorsAndNamedEffectsKeepTheirNames) {
  run_models run(1, {"z ~ grade.latent y.missing rs", "y ~ x | x"});
  EXPECT_EQ(run["z"].standardized(), (texts{"grade.latent", "y.missing", "rs"}));
}

TEST(KindRows, SpansFollowEachOther) {
  run_models run(1, {"y ~ x@a | x", "g ~ x", "visits ~ x", "grade ~ x", "y <-> grade"},
                 {"a ~ normal(0, 1)", "d = 2 * a"});
  const model::row_table table(run.all);
  const std::vector<unsigned>& starts = table.starts();
  ASSERT_EQ(starts.size(), run.all.size() + 1);
  EXPECT_EQ(starts.front(), 0u);
  EXPECT_EQ(starts.back(), table.total());
  for (std::size_t i = 0; i < run.all.size(); ++i) {
    EXPECT_EQ(run.all.estimates_span(run.all[i]), std::make_pair(starts[i], run.all[i].n_rows()));
    EXPECT_EQ(starts[i + 1], starts[i] + run.all[i].n_rows());
    EXPECT_EQ(table.first(i), starts[i]);
    EXPECT_EQ(table.count(i), run.all[i].n_rows());
    EXPECT_EQ(table.rows(i).size() * run.all[i].n_codes(), run.all[i].n_rows());
  }
}

TEST(KindRows, AModelOutsideTheListHasNoSpan) {
  run_models run(0, {"y ~ x"});
  run_models other(0, {"y2 ~ x"});
  try {
    run.all.estimates_span(other["y2"]);
    FAIL();
  } catch (const error_debug& fault) {
    EXPECT_STREQ(fault.what(), "No model found for wald test");
  }
}

}  // namespace
}  // namespace tovik::tests::kind_rows_test
