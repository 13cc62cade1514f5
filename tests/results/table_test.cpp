#include "results/table.hpp"

#include <gtest/gtest.h>

#include "capture.hpp"
#include "results/summary.hpp"
#include "settings.hpp"

namespace tovik::table_test {
namespace {

const std::vector<std::string> default_columns = {"Median", "StdDev", "2.5%", "97.5%",
                                                  "ChiSq",  "PValue", "N_Eff"};

class TableTest : public ::testing::Test {
 protected:
  tests::SummarySettings settings_;
  tests::Capture capture_;
  Table table_{capture_.stream(), default_columns};
  arma::Row<double> values_ = arma::Row<double>(7, arma::fill::zeros);
};

TEST_F(TableTest, PrintsTheFrameOfAnOutcome) {
  table_.heading();
  table_.section("Variances:");
  table_.row("L2 : Var(Intercept)", values_, Table::tests::blank);
  table_.section("\nCoefficients:");
  table_.row("x", values_, Table::tests::shown);
  table_.section("\nProportion Variance Explained");
  table_.by_row("Level-2 Random Intercepts", values_, Table::tests::blank);
  table_.close("\n");
  EXPECT_EQ(capture_.text(),
            "Parameters                           Median     StdDev       2.5%      97.5%      ChiSq     "
            "PValue      N_Eff \n"
            "                                "
            "------------------------------------------------------------------------------\n"
            "\n"
            "Variances:                      \n"
            "  L2 : Var(Intercept)                 0.000      0.000      0.000      0.000        ---        "
            "---      0.000 \n"
            "\n"
            "Coefficients:                   \n"
            "  x                                   0.000      0.000      0.000      0.000      0.000      "
            "0.000      0.000 \n"
            "\n"
            "Proportion Variance Explained   \n"
            "  by Level-2 Random Intercepts        0.000      0.000      0.000      0.000        ---        "
            "---      0.000 \n"
            "\n"
            "                                "
            "------------------------------------------------------------------------------\n");
}

TEST_F(TableTest, PrintsTheFrameOfAPredictor) {
  table_.heading();
  table_.margin_row("Grand Mean", values_, Table::tests::blank);
  table_.blank_row("\nLevel 1:");
  table_.row("x ~ z", values_, Table::tests::blank);
  table_.blank_row("", "");
  table_.close("\n\n");
  EXPECT_EQ(capture_.text(),
            "Parameters                           Median     StdDev       2.5%      97.5%      ChiSq     "
            "PValue      N_Eff \n"
            "                                "
            "------------------------------------------------------------------------------\n"
            "\n"
            "Grand Mean                            0.000      0.000      0.000      0.000        ---        "
            "---      0.000 \n"
            "\n"
            "Level 1:                                                                                        "
            "              \n"
            "  x ~ z                               0.000      0.000      0.000      0.000        ---        "
            "---      0.000 \n"
            "                                                                                                "
            "              \n"
            "                                "
            "------------------------------------------------------------------------------\n"
            "\n");
}

TEST_F(TableTest, ShowsTestsEverywhereWhenNotSupressed) {
  Summary::supress_print = false;
  table_.row("Residual Var.", values_, Table::tests::blank);
  EXPECT_EQ(
      capture_.text(),
      "  Residual Var.                       0.000      0.000      0.000      0.000      0.000      0.000"
      "      0.000 \n");
}

TEST_F(TableTest, FixedRowShowsItsValueInTheFirstCell) {
  values_.fill(1.0);
  table_.fixed_row("x", values_, fixed_text(1.0), Table::tests::shown);
  table_.fixed_row("Cor(a, b)", values_, "@ " + fixed_text(0.3), Table::tests::shown);
  EXPECT_EQ(
      capture_.text(),
      "  x                                   1.000        ---        ---        ---        ---        ---"
      "        --- \n"
      "  Cor(a, b)                         @ 0.300        ---        ---        ---        ---        ---"
      "        --- \n");
}

TEST_F(TableTest, FixedRowPrintsNumbersUnlessALocationComesFirst) {
  const Table psr(capture_.stream(), {"PSR", "ChiSq"});
  const arma::Row<double> values = {1.0, 2.0};
  psr.fixed_row("x", values, "7.000", Table::tests::shown);
  psr.fixed_row("Residual Var.", values, "7.000", Table::tests::blank);
  Table(capture_.stream(), {"Mean", "ChiSq"}).fixed_row("x", values, "7.000", Table::tests::shown);
  EXPECT_EQ(capture_.text(),
            "  x                                   1.000      2.000 \n"
            "  Residual Var.                       1.000        --- \n"
            "  x                                   7.000        --- \n");
}

TEST_F(TableTest, NanHasNoSign) {
  const Table table(capture_.stream(), {"Mean", "PSR", "N_Eff"});
  table.row("x", arma::Row<double>{-arma::datum::nan, arma::datum::nan, arma::datum::inf},
            Table::tests::shown);
  EXPECT_EQ(capture_.text(), "  x                                     nan        nan        inf \n");
  EXPECT_EQ(fixed_text(-arma::datum::nan), "nan");
}

TEST_F(TableTest, LongLabelContinuesBehindItsNumbers) {
  const Table table(capture_.stream(), {"Mean"});
  table.row("interest_at_start * (interest_at_end - 1.5) / group_size_of_class", arma::Row<double>{1.5},
            Table::tests::shown);
  EXPECT_EQ(capture_.text(),
            "  interest_at_start * (               1.500 \n"
            "    interest_at_end - 1.5) /    \n"
            "    group_size_of_class         \n");
}

TEST_F(TableTest, ALongNameAtTheMarginContinuesBehindItsNumbers) {
  const Table table(capture_.stream(), {"Mean"});
  table.margin_row("Grand Mean: a_code_of_20_letters", arma::Row<double>{1.5}, Table::tests::shown);
  table.margin_row("Grand Mean: a_code_of_a_nominal_variable_9", arma::Row<double>{2.5}, Table::tests::shown);
  EXPECT_EQ(capture_.text(),
            "Grand Mean: a_code_of_20_letters      1.500 \n"
            "Grand Mean:                           2.500 \n"
            "    a_code_of_a_nominal_variabl \n"
            "    e_9                         \n");
}

TEST_F(TableTest, NumbersKeepTheWidthOfTheirCells) {
  for (const auto& [value, text] : {std::pair{0.0, "    0.000"},
                                    {-0.0, "   -0.000"},
                                    {0.0005, "    0.001"},
                                    {0.00049, " 4.90e-04"},
                                    {-0.00049, "-4.90e-04"},
                                    {1e-120, "1.00e-120"},
                                    {-1e-120, "-1.0e-120"},
                                    {99999.999, "99999.999"},
                                    {-12345.678, "-12345.68"},
                                    {123456.789, "123456.79"},
                                    {-123456.789, "-123456.8"},
                                    {999999.9, "999999.90"},
                                    {1e6, " 1.00e+06"},
                                    {-1234567.0, "-1.23e+06"},
                                    {-1e200, "-1.0e+200"}}) {
    EXPECT_EQ(cell_text(value), text) << value;
  }
  EXPECT_EQ(cell_text(0.0001, false), "    0.000");
  EXPECT_EQ(fixed_text(1234567.0), "1.23e+06");
  const Table table(capture_.stream(), {"Mean", "ChiSq", "PValue"});
  table.row("x", arma::Row<double>{0.0001, 0.0001, 0.0001}, Table::tests::shown);
  EXPECT_EQ(capture_.text(), "  x                                1.00e-04      0.000      0.000 \n");
}

TEST_F(TableTest, LabelsBreakAtTokensFirst) {
  const std::string fits(29, 'a');
  EXPECT_EQ(break_label(fits).first, fits);
  EXPECT_TRUE(break_label(fits).rest.empty());
  const broken_label sum =
      break_label("aaaaaaaaaaaaaa+bbbbbbbbbbbbbbb");  // 30 characters, 14 before the operator
  EXPECT_EQ(sum.first, "aaaaaaaaaaaaaa+");
  EXPECT_EQ(sum.rest, std::vector<std::string>{"bbbbbbbbbbbbbbb"});
  const broken_label one = break_label(std::string(35, 'a'));
  EXPECT_EQ(one.first, std::string(29, 'a'));
  EXPECT_EQ(one.rest, std::vector<std::string>{std::string(6, 'a')});
  const broken_label two = break_label("a+" + std::string(60, 'b') + "*c");
  EXPECT_EQ(two.first, "a+");
  EXPECT_EQ(two.rest, (std::vector<std::string>{std::string(27, 'b'), std::string(27, 'b'), "bbbbbb*c"}));
  // Continuation lines hold at most 27 characters.
  const broken_label lines = break_label("a23456789*b23456789*c23456789*d23456789*e23456789*f2345678*g");
  EXPECT_EQ(lines.first, "a23456789*b23456789*c23456789");
  EXPECT_EQ(lines.rest, (std::vector<std::string>{"*d23456789*e23456789*", "f2345678*g"}));
  // Nothing of a label gets lost.
  const std::string label = "L2 : Cov(some_long_name >= 2, another_long_name ** 2)";
  const broken_label cov = break_label(label);
  std::string joined = cov.first;
  for (const std::string& line : cov.rest) joined += line;
  std::string compact, expected;
  for (const char c : joined) {
    if (c != ' ') compact += c;
  }
  for (const char c : label) {
    if (c != ' ') expected += c;
  }
  EXPECT_EQ(compact, expected);
}

TEST_F(TableTest, TableWithoutColumnsKeepsItsLabels) {
  const Table table(capture_.stream(), {});
  table.heading("Correlations");
  table.fixed_row("x", arma::Row<double>(), "1.000", Table::tests::shown);
  EXPECT_EQ(capture_.text(),
            "Correlations                     \n"
            "                                -\n\n"
            "  x                              \n");
}

TEST_F(TableTest, SummariesLineCountsChains) {
  print_summaries_based_on(capture_.stream(), 1000, 2, "\n\n");
  print_summaries_based_on(capture_.stream(), 500, 1, "\n");
  print_summaries_based_on(capture_.stream(), 0, 0, "\n");
  EXPECT_EQ(capture_.text(),
            "  Summaries based on 1000 iterations using 2 chains.\n\n"
            "  Summaries based on 500 iterations using 1 chain.\n"
            "  Summaries based on 0 iterations using 0 chains.\n");
}

}  // namespace
}  // namespace tovik::table_test
