// The tables of estimates to the character, also for kinds of equations whose numbers are made up here.

#include "results/report_outcomes.hpp"

#include <gtest/gtest.h>

#include "capture.hpp"
#include "model/row_table.hpp"
#include "model/run_models.hpp"
#include "results/settings.hpp"
#include "results/simple_slopes.hpp"
#include "results/summary.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::tests::report_outcomes_test {
namespace {

const std::vector<std::string> columns = {"Median", "ChiSq", "PValue"};
const std::string heading =
    "Parameters                           Median      ChiSq     PValue \n"
    "                                ----------------------------------\n\n";
const std::string closing = "\n                                ----------------------------------";
const std::string summaries = "  Summaries based on 3 iterations using 1 chain.\n\n";

/// Row k holds k + 0.5, 10 k and 0.01 k, from k = 1 on.
Summary numbered(arma::uword rows) {
  arma::mat table(rows, 3);
  for (arma::uword k = 0; k < rows; ++k)
    table.row(k) = arma::rowvec(std::vector<double>{k + 1.5, 10.0 * (k + 1.0), 0.01 * (k + 1.0)});
  return Summary(table, columns);
}

std::string row(const std::string& label, const std::string& number, const std::string& chisq = "---",
                const std::string& pvalue = "---") {
  return format("  %-30s  %9s  %9s  %9s \n", label.c_str(), number.c_str(), chisq.c_str(), pvalue.c_str());
}
/// The k-th row of numbered().
std::string full(const std::string& label, int k) {
  return row(label, format("%.3f", k + 0.5), format("%.3f", 10.0 * k), format("%.3f", 0.01 * k));
}
std::string untested(const std::string& label, int k) {
  return row(label, format("%.3f", k + 0.5));
}
std::string by(const std::string& label, int k) {
  return untested("by " + label, k);
}
std::string title(const std::string& text) {
  return format("%-32s\n", text.c_str());
}

class ReportOutcomes : public testing::Test {
 protected:
  ~ReportOutcomes() override {
    sem::sampler_settings::print_fixed_values = false;
    warning::buffer.clear();
  }

  static arma::uword n_rows(const ModelList& models) { return model::row_table(models).total(); }

  static std::string print(const ModelList& models, const Summary& estimates, const Summary& simple = {},
                           const sem::SimpleList& effects = {}) {
    Capture out;
    print_outcomes(out.stream(), VariableList(), models, estimates, simple, effects);
    return out.text();
  }
  static std::string print(const ModelList& models) { return print(models, numbered(n_rows(models))); }

  SummarySettings settings_;
};

TEST_F(ReportOutcomes, ANormalEquation) {
  run_models run(0, {"y ~ x z@2"});
  EXPECT_EQ(print(run.all), summaries + "\nOutcome Variable:  y          \n\n" + heading +
                                title("Variances:") + untested("Residual Var.", 1) + "\n" +
                                title("Coefficients:") + full("Intercept", 2) + full("x", 3) +
                                row("z", "2.000") + "\n" + title("Standardized Coefficients:") +
                                full("x", 5) + full("z", 6) + "\n" + title("Proportion Variance Explained") +
                                by("Coefficients", 7) + by("Residual Variation", 8) + closing + "\n\n\n");
}

TEST_F(ReportOutcomes, FixedValuesAreNumbersOnRequestAndBehindOtherFirstColumns) {
  run_models run(0, {"y ~ x@2 z"});
  sem::sampler_settings::print_fixed_values = true;
  EXPECT_NE(print(run.all).find(full("x", 3)), std::string::npos);
  sem::sampler_settings::print_fixed_values = false;
  EXPECT_NE(print(run.all).find(row("x", "2.000")), std::string::npos);
  const Summary psr(numbered(n_rows(run.all)).summary(), {"PSR", "ChiSq", "PValue"});
  EXPECT_NE(print(run.all, psr).find(full("x", 3)), std::string::npos);
}

TEST_F(ReportOutcomes, TestsAreShownEverywhereWithoutSuppression) {
  run_models run(0, {"y ~ x"});
  Summary::supress_print = false;
  EXPECT_NE(print(run.all).find(full("Residual Var.", 1)), std::string::npos);
}

TEST_F(ReportOutcomes, AFixedResidualVarianceShowsItsValue) {
  run_models run(0, split("y ~ x; y <-> y@3", ";", true));
  EXPECT_NE(print(run.all).find(row("Residual Var.", "3.000")), std::string::npos);
}

TEST_F(ReportOutcomes, AProbitHasAVarianceOfOneAndThresholds) {
  run_models run(0, {"grade ~ x"});
  EXPECT_EQ(print(run.all), summaries + "\nOutcome Variable:  grade      \n\n" + heading +
                                title("Variances:") + row("Residual Var.", "1.000") + "\n" +
                                title("Coefficients:") + full("Intercept", 2) + full("x", 3) + "\n" +
                                title("Thresholds:") + untested("Tau 1", 4) + "\n" +
                                title("Standardized Coefficients:") + full("x", 5) + "\n" +
                                title("Proportion Variance Explained") + by("Coefficients", 6) +
                                by("Residual Variation", 7) + closing + "\n\n\n");
}

TEST_F(ReportOutcomes, ALogitHasOddsRatios) {
  run_models run(0, {"logit(bin) ~ x"});
  EXPECT_EQ(print(run.all), summaries + "\nOutcome Variable:  bin        \n\n" + heading + "\n" +
                                title("Coefficients:") + full("Intercept", 1) + full("x", 2) + "\n" +
                                title("Odds Ratio:") + untested("Intercept", 3) + untested("x", 4) + "\n" +
                                title("Proportion Variance Explained") + by("Coefficients", 5) +
                                by("Residual Variation", 6) + closing + "\n\n\n");
}

TEST_F(ReportOutcomes, ACountHasADispersionAndExponentiatedCoefficients) {
  run_models run(0, {"visits ~ x"});
  EXPECT_EQ(print(run.all), summaries + "\nOutcome Variable:  visits     \n\n" + heading +
                                title("Variances:") + untested("Dispersion Parameter", 1) + "\n" +
                                title("Coefficients:") + full("Intercept", 2) + full("x", 3) + "\n" +
                                title("Exponentiated Coefficients:") + untested("Intercept", 4) +
                                untested("x", 5) + closing + "\n\n\n");
}

TEST_F(ReportOutcomes, ANominalOutcomeRepeatsForEachCode) {
  run_models run(0, {"g ~ x"});
  const auto rows = [&](int first) {
    return "\n" + title("Coefficients:") + full("Intercept", first) + full("x", first + 1) + "\n" +
           title("Odds Ratio:") + untested("Intercept", first + 2) + untested("x", first + 3);
  };
  EXPECT_EQ(print(run.all), summaries + "\nOutcome Variable:  g          \n\n" + heading + title("g.2") +
                                rows(1) + title("g.3") + rows(5) + closing + "\n\n\n");
}

TEST_F(ReportOutcomes, ALatentVariableAndItsTitle) {
  run_models run(0, {"eta -> y y2 y10"});
  const std::string text = print(run.all);
  EXPECT_NE(text.find("\nLatent Variable:   eta        \n\n"), std::string::npos) << text;
}

TEST_F(ReportOutcomes, ATransformationHasItsLambda) {
  run_models run(0, {"yjt(y) ~ x"});
  EXPECT_NE(print(run.all).find("\n" + title("Transformation:") + untested("Yeo-Johnson (lambda)", 4)),
            std::string::npos);
}

TEST_F(ReportOutcomes, ABlockHasCovariancesAndCorrelations) {
  run_models run(0, split("y ~ x; y2 ~ x; y10 ~ x; y y2 <-> y10; y <-> y2@0.3", ";", true));
  const std::string text = print(run.all);
  const std::size_t at = text.find("\nCovariance Matrix:");
  ASSERT_NE(at, std::string::npos) << text;
  const unsigned block = run.all.subset_multi().at(0);
  const int k = static_cast<int>(model::row_table(run.all).first(block));
  EXPECT_EQ(text.substr(at),
            "\nCovariance Matrix: y y2 y10   \n\n" + heading + title("Covariances:") +
                untested("Var(y)", k + 1) + untested("Cov(y,y2)", k + 2) + untested("Cov(y,y10)", k + 3) +
                untested("Var(y2)", k + 4) + untested("Cov(y2,y10)", k + 5) + untested("Var(y10)", k + 6) +
                "\n" + title("Correlations:") + full(" SD(y)", k + 7) + row("Cor(y,y2)", "@ 0.300") +
                full("Cor(y,y10)", k + 9) + full(" SD(y2)", k + 10) + full("Cor(y2,y10)", k + 11) +
                full(" SD(y10)", k + 12) + closing + "\n\n\n");
}

TEST_F(ReportOutcomes, PhantomsFollowTheirBlock) {
  run_models run(1, split("y ~ x | 1; y2 ~ x | 1; y[school] <-> y2[school]", ";", true));
  const std::string text = print(run.all);
  const std::size_t at = text.find("\nPhantom Variable Correlations:");
  ASSERT_NE(at, std::string::npos) << text;
  unsigned place = 0;
  while (run.all[place].kind() != model::kind::phantom) ++place;
  EXPECT_EQ(text.substr(at), "\nPhantom Variable Correlations:\n\n" + heading +
                                 full("y2[school] <-> y[school]",
                                      static_cast<int>(model::row_table(run.all).first(place)) + 1) +
                                 closing + "\n\n\n");
}

TEST_F(ReportOutcomes, AFixedPhantomCorrelationShowsItsValue) {
  run_models run(1, split("y ~ x | 1; y2 ~ x | 1; y[school] <-> y2[school]@0.3", ";", true));
  const std::string label = "y2[school] <-> y[school]";
  EXPECT_NE(print(run.all).find(heading + row(label, "@ 0.300") + closing), std::string::npos)
      << print(run.all);
  sem::sampler_settings::print_fixed_values = true;
  EXPECT_EQ(print(run.all).find("@ 0.300"), std::string::npos);
}

TEST_F(ReportOutcomes, ParametersAndComputationsStandAtTheEnd) {
  run_models run(0, {"y ~ x@a z@b"}, {"b ~ normal(0, 1)", "indirect = a * b"});
  const std::string text = print(run.all);
  const std::size_t at = text.find("\nAdditional Parameters:");
  ASSERT_NE(at, std::string::npos) << text;
  EXPECT_EQ(text.substr(at), "\nAdditional Parameters:\n\n" + heading + full("b", 9) + closing + "\n\n\n" +
                                 "\nGENERATED PARAMETERS:\n\n" + summaries.substr(0, summaries.size() - 1) +
                                 "\n" + heading + full("indirect", 10) + closing + "\n");
}

TEST_F(ReportOutcomes, HiddenEquationsKeepTheirRows) {
  run_models run(0, split("y ~ x; y2 ~ x; z ~ x", ";", true));
  run.all[1].block = block::predef::hidden;
  const std::string text = print(run.all);
  EXPECT_EQ(text.substr(0, summaries.size() + 57),
            summaries + "  WARNING: 1 model was suppressed from printing.\n\n\nOutcom");
  EXPECT_EQ(text.find("Outcome Variable:  " + run.all[1].name() + " "), std::string::npos);
  const int k = static_cast<int>(model::row_table(run.all).first(2));
  EXPECT_NE(text.find(title("Variances:") + untested("Residual Var.", k + 1)), std::string::npos);
}

TEST_F(ReportOutcomes, NamedBlocksHaveHeadings) {
  run_models run(0, split("y ~ x; y2 ~ x; z ~ x", ";", true));
  run.all[0].block = run.all[1].block = "First";
  run.all[2].block = "second";
  const std::string text = print(run.all);
  EXPECT_EQ(text.find("  first block:\n"), summaries.size());
  EXPECT_EQ(text.find("  first block:\n", summaries.size() + 1), std::string::npos);
  EXPECT_NE(text.find("\n\n\n  second block:\n\nOutcome Variable:  "), std::string::npos);
}

TEST_F(ReportOutcomes, LongLabelsContinueBelowTheNumbers) {
  run_models run(0, {"y ~ (x * z * x * z * x * z * x * z * x * z)"});
  EXPECT_NE(print(run.all).find(full("x*z*x*z*x*z*x*z*x*z", 3)), std::string::npos);
  run_models longer(0, {"y ~ (x * z * x * z * x * z * x * z * x * z * x * z * x * z * x * z * x)"});
  EXPECT_NE(
      print(longer.all).find(full("x*z*x*z*x*z*x*z*x*z*x*z*x*z*x", 3) + "    *z*x                        \n"),
      std::string::npos)
      << print(longer.all);
}

TEST_F(ReportOutcomes, ConditionalEffectsStandBelowTheirEquation) {
  run_models run(0, split("y ~ x; y2 ~ x; z ~ x", ";", true));
  run.all[0].block = block::predef::hidden;
  sem::moderator at;
  at.name = "m";
  at.text = "1";
  sem::SimpleList effects;
  for (std::uint32_t model : {0u, 1u, 2u})
    effects.push_back({model, {sem::SimpleSlopes(model, "x", {3}, 14, {at})}});
  const std::string text = print(run.all, numbered(n_rows(run.all)), numbered(6), effects);
  const std::size_t first = text.find(closing + "\n\n\n\nConditional Effects");
  ASSERT_NE(first, std::string::npos) << text;
  EXPECT_NE(text.find(full("  Intercept", 3) + full("  Slope", 4)), std::string::npos);
  EXPECT_NE(text.find(full("  Intercept", 5) + full("  Slope", 6)), std::string::npos);
  EXPECT_EQ(text.find(full("  Intercept", 1)), std::string::npos);
  EXPECT_NE(text.find("conditional effect to zero.\n\n\n\nOutcome Variable:"), std::string::npos);
}

TEST_F(ReportOutcomes, AnEmptyTableHasFramesOnly) {
  run_models run(0, {"y ~ x"}, {"k ~ normal(0, 1)"});
  EXPECT_EQ(print(run.all, Summary(arma::mat(0, 3), columns)),
            summaries + "\nOutcome Variable:  y          \n\n" + heading + closing + "\n\n\n");
}

class ReportCorrelations : public ReportOutcomes {
 protected:
  static std::string correlations(const ModelList& models, unsigned n_levels, arma::uword rows,
                                  bool sorted = false, bool all = false) {
    arma::mat table = numbered(rows).summary();
    for (arma::uword k = 1; k < rows; k += 2) table(k, 0) *= -1;
    Capture out;
    print_correlations(out.stream(), models, n_levels, Summary(table, columns), sorted, all);
    return out.text();
  }

  const std::string head_ =
      "\nCorrelations                         Median      ChiSq     PValue " + heading.substr(66);
};

TEST_F(ReportCorrelations, OneEquationHasNone) {
  run_models run(0, {"y ~ x"});
  EXPECT_EQ(correlations(run.all, 1, 0), "  No residual correlations.\n\n\n");
}

TEST_F(ReportCorrelations, ASingleLevelHasNoTitle) {
  run_models run(0, split("y ~ x; y2 ~ x", ";", true));
  EXPECT_EQ(correlations(run.all, 1, 1), "  Summaries based on 3 iterations using 1 chain.\n" + head_ +
                                             full("y <-> y2", 1) + closing + "\n\n\n");
}

TEST_F(ReportCorrelations, LevelsFollowEachOther) {
  run_models run(2, {"w ~ 1", "v ~ 1"});
  const std::string label = run.all.rcorr_names(0).at(0);
  EXPECT_EQ(correlations(run.all, 3, 1),
            "  Summaries based on 3 iterations using 1 chain.\n"
            "   No residual correlations at Level-1.\n   No residual correlations at Level-2.\n"
            "\n   Level-3:\n" +
                head_ + full(label, 1) + closing + "\n\n\n");
}

TEST_F(ReportCorrelations, SortsByAbsoluteValue) {
  run_models run(0, split("y ~ x; y2 ~ x; y10 ~ x", ";", true));
  const std::string text = correlations(run.all, 1, 3, true);
  const std::string third = full("y2 <-> y10", 3);
  EXPECT_NE(text.find(third + row("y <-> y10", "-2.500", "20.000", "0.020") + full("y <-> y2", 1)),
            std::string::npos)
      << text;
}

TEST_F(ReportCorrelations, LeavesOutPairsWithParametersOfTheirOwn) {
  run_models run(0, split("y ~ x; y2 ~ x; y10 ~ x; y <-> y2; y2 <-> y10@0", ";", true));
  const std::string some = correlations(run.all, 1, 3);
  EXPECT_EQ(some.find("y <-> y2 "), std::string::npos) << some;
  EXPECT_NE(some.find("y <-> y10 "), std::string::npos);
  const std::string all = correlations(run.all, 1, 3, false, true);
  EXPECT_NE(all.find(full("y <-> y2", 1)), std::string::npos);
}

TEST_F(ReportCorrelations, LeavesOutHiddenEquations) {
  run_models run(0, split("y ~ x; y2 ~ x; y10 ~ x", ";", true));
  ASSERT_EQ(run.all[1].name(), "y2");
  run.all[1].block = block::predef::hidden;
  for (bool all : {false, true})
    EXPECT_EQ(correlations(run.all, 1, 3, false, all),
              "  Summaries based on 3 iterations using 1 chain.\n" + head_ +
                  row("y <-> y10", "-2.500", "20.000", "0.020") + closing + "\n\n\n");
}

TEST_F(ReportCorrelations, LeavesOutThePairOfAPhantomAtItsLevel) {
  run_models run(1, split("y ~ x | 1; y2 ~ x | 1; y[school] <-> y2[school]", ";", true));
  const std::string some = correlations(run.all, 2, 2);
  EXPECT_NE(some.find("y <-> y2"), std::string::npos);
  EXPECT_NE(some.find("   No residual correlations at Level-2.\n"), std::string::npos) << some;
  EXPECT_NE(correlations(run.all, 2, 2, false, true).find("y Intercept <-> y2 Intercept"), std::string::npos);
}

}  // namespace
}  // namespace tovik::tests::report_outcomes_test
