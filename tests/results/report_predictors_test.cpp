// The tables of predictor models to the character; their numbers are made up.

#include "results/report_predictors.hpp"

#include <gtest/gtest.h>

#include "capture.hpp"
#include "results/fake_predictor.hpp"
#include "results/settings.hpp"
#include "results/summary.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::tests::report_predictors_test {
namespace {

using kind = sem::predictor_row::kind;

const std::vector<std::string> columns = {"Median", "ChiSq", "N_Eff"};
const std::string heading =
    "\nParameters                           Median      ChiSq      N_Eff \n"
    "                                ----------------------------------\n\n";
const std::string closing =
    "                                                                  \n"
    "                                ----------------------------------\n\n";
const std::string summaries = "  Summaries based on 3 iterations using 1 chain.\n";

/// Row k holds k + 0.5, 10 k and 100 k, from k = 1 on.
Summary numbered(arma::uword rows) {
  arma::mat table(rows, 3);
  for (arma::uword k = 0; k < rows; ++k)
    table.row(k) = arma::rowvec(std::vector<double>{k + 1.5, 10.0 * (k + 1.0), 100.0 * (k + 1.0)});
  return Summary(table, columns);
}

std::string cells(int k) {
  return format(" %9.3f  %9s  %9.3f \n", k + 0.5, "---", 100.0 * k);
}
std::string row(const std::string& label, int k) {
  return format("  %-30s ", label.c_str()) + cells(k);
}
std::string grand_mean(const std::string& label, int k) {
  return format("%-32s ", label.c_str()) + cells(k);
}
std::string fixed(const std::string& label, const std::string& value) {
  return format("  %-30s  %9s  %9s  %9s \n", label.c_str(), value.c_str(), "---", "---");
}
std::string section(const std::string& title) {
  return format("\n%-32s %10s %10s %10s \n", title.c_str(), "", "", "");
}

sem::predictor_row mean(const std::string& name) {
  return {kind::grand_mean, 0, name, "", 0, false};
}
sem::predictor_row slope(unsigned level, const std::string& name, const std::string& other) {
  return {kind::coefficient, level, name, other, 0, false};
}
sem::predictor_row residual(unsigned level, const std::string& name, bool held = false) {
  return {kind::residual_variance, level, name, "", 0, held};
}
sem::predictor_row tau(unsigned k, const std::string& name) {
  return {kind::threshold, 0, name, "", k, false};
}
sem::predictor_row var(unsigned level, const std::string& name, bool held = false) {
  return {kind::variance, level, name, "", 0, held};
}
sem::predictor_row cov(unsigned level, const std::string& a, const std::string& b, bool held = false) {
  return {kind::covariance, level, a, b, 0, held};
}

FakePredictor continuous() {
  return FakePredictor("x", data::type::continuous,
                       {mean("x"), slope(1, "x", "z"), residual(1, "x"), residual(2, "x")});
}

class ReportPredictors : public testing::Test {
 protected:
  ~ReportPredictors() override { sem::sampler_settings::print_fixed_values = false; }

  void add(const FakePredictor& model) { models_.push_back(std::make_unique<FakePredictor>(model)); }

  std::string print(const Summary& values, bool has_outcomes = true) const {
    Capture out;
    print_predictors(out.stream(), models_, {}, has_outcomes, values);
    return out.text();
  }

  SummarySettings settings_;
  predictor_models models_;
};

TEST_F(ReportPredictors, AnIncompleteContinuousPredictorAtTwoLevels) {
  add(continuous().incomplete());
  EXPECT_EQ(print(numbered(4)), summaries + "\n\nMissing predictor:  x          \n" + heading +
                                    grand_mean("Grand Mean", 1) + section("Level 1:") + row("x ~ z", 2) +
                                    row("Residual Var.", 3) + section("Level 2:") + row("Residual Var.", 4) +
                                    closing);
}

TEST_F(ReportPredictors, TitlesSayWhatIsKnownOfTheVariable) {
  const FakePredictor complete = continuous();
  EXPECT_EQ(predictor_title(complete, true), "Complete predictor: x          ");
  EXPECT_EQ(predictor_title(complete, false), "Complete variable:  x          ");
  EXPECT_EQ(predictor_title(continuous().incomplete(), false), "Missing variable:   x          ");
  EXPECT_EQ(predictor_title(continuous().only_means(), true), "Means Model:        x          ");
}

TEST_F(ReportPredictors, AMeansModelSaysWhatItIsFor) {
  add(continuous().only_means());
  const std::string title =
      "\n\nMeans Model:        x          \n"
      "\n    NOTE: This model is used to estimate the grand mean and latent group means needed \n"
      "          to center outcome variables that appear as predictors in other models.\n";
  EXPECT_EQ(print(numbered(4)).substr(0, (summaries + title + heading).size()), summaries + title + heading);
}

TEST_F(ReportPredictors, ThresholdsFollowTheLevelsWhateverTheirPlaceAmongTheValues) {
  FakePredictor ordinal("o", data::type::ordinal,
                        {mean("o"), tau(1, "o"), tau(2, "o"), slope(1, "o", "x"), residual(1, "o", true),
                         slope(2, "o", "w"), residual(2, "o")});
  add(ordinal.incomplete());
  EXPECT_EQ(print(numbered(7)), summaries + "\n\nMissing predictor:  o          \n" + heading +
                                    grand_mean("Grand Mean", 1) + section("Level 1:") + row("o ~ x", 4) +
                                    fixed("Residual Var.", "1.000") + section("Level 2:") + row("o ~ w", 6) +
                                    row("Residual Var.", 7) + section("Thresholds:") + row("Tau 1", 2) +
                                    row("Tau 2", 3) + closing);
}

TEST_F(ReportPredictors, ANominalVariableHasAMatrixAtEachLevel) {
  FakePredictor nominal(
      "g", data::type::nominal,
      {mean("g.2"), mean("g.3"), slope(1, "g.2", "x"), slope(1, "g.3", "x"), var(1, "g.2", true),
       cov(1, "g.3", "g.2", true), var(1, "g.3", true), var(2, "g.2"), cov(2, "g.3", "g.2"), var(2, "g.3")});
  nominal.value(5, 0.5);
  add(nominal);
  EXPECT_EQ(print(numbered(10)), summaries + "\n\nComplete predictor: g          \n" + heading +
                                     grand_mean("Grand Mean: g.2", 1) + grand_mean("Grand Mean: g.3", 2) +
                                     section("Level 1:") + row("g.2 ~ x", 3) + row("g.3 ~ x", 4) +
                                     fixed("Var(g.2)", "1.000") + fixed("Cov(g.3, g.2)", "0.500") +
                                     fixed("Var(g.3)", "1.000") + section("Level 2:") + row("Var(g.2)", 8) +
                                     row("Cov(g.3, g.2)", 9) + row("Var(g.3)", 10) + closing);
}

TEST_F(ReportPredictors, TablesFollowEachOtherWithTheirOwnRows) {
  add(continuous());
  add(FakePredictor("w", data::type::continuous, {mean("w"), residual(2, "w")}));
  const std::string text = print(numbered(6), false);
  EXPECT_EQ(text.substr(text.find("\n\nComplete variable:  w")),
            "\n\nComplete variable:  w          \n" + heading + grand_mean("Grand Mean", 5) +
                section("Level 2:") + row("Residual Var.", 6) + closing);
}

TEST_F(ReportPredictors, FixedValuesAreNumbersOnRequest) {
  add(FakePredictor("o", data::type::ordinal, {mean("o"), residual(1, "o", true)}));
  sem::sampler_settings::print_fixed_values = true;
  EXPECT_NE(print(numbered(2)).find(row("Residual Var.", 2)), std::string::npos);
}

TEST_F(ReportPredictors, TestsAreShownWithoutSuppression) {
  add(continuous());
  Summary::supress_print = false;
  EXPECT_NE(print(numbered(4)).find(format("  %-30s  %9.3f  %9.3f  %9.3f \n", "x ~ z", 2.5, 20.0, 200.0)),
            std::string::npos);
}

TEST_F(ReportPredictors, WithoutDrawsThereAreFramesOnly) {
  add(continuous());
  EXPECT_EQ(print(Summary(arma::mat(0, 3), columns)),
            "  Summaries based on 3 iterations using 1 chain.\n\n\nComplete predictor: x          \n" +
                heading + closing);
}

TEST_F(ReportPredictors, LongLabelsContinueBelowTheNumbers) {
  add(FakePredictor("a_variable_name", data::type::continuous,
                    {mean("a_variable_name"), slope(1, "a_variable_name", "another_variable_name"),
                     residual(1, "a_variable_name")}));
  EXPECT_NE(print(numbered(3)).find(row("a_variable_name ~", 2) + "    another_variable_name       \n"),
            std::string::npos)
      << print(numbered(3));
}

TEST_F(ReportPredictors, RowsMustMatchTheParameters) {
  add(continuous().n_params(3));
  EXPECT_THROW(print(numbered(3)), error_debug);
}

}  // namespace
}  // namespace tovik::tests::report_predictors_test
