#include "results/simple_slopes.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "capture.hpp"
#include "data/levels.hpp"
#include "evaluate/defines.hpp"
#include "evaluate/parser.hpp"
#include "evaluate/value.hpp"
#include "results/moderator_deviation.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem::simple_slopes_test {
namespace {

// Columns of the data: 0 the constant, 1 the focal predictor x, 2 and 3 the moderators m and w, 4 another z.
constexpr unsigned constant = 0, x = 1, m = 2, w = 3, z = 4, n_columns = 5;

moderator at(unsigned column, double value, bool in_sd = false) {
  moderator out;
  out.name = column == m ? "m" : "w";
  out.text = "v";
  out.value = value;
  out.in_sd = in_sd;
  out.columns = {{column, value}};
  return out;
}

std::vector<estimator::compute> computed(const std::vector<std::string>& texts) {
  std::vector<estimator::compute> out;
  for (const std::string& text : texts) out.emplace_back(evaluate::ast(text, evaluate::defines()));
  return out;
}

/// An equation with coefficients 1, 2, 3, ... for the constant, plain columns and computed ones.
struct equation {
  arma::Col<arma::uword> plain;
  std::vector<estimator::compute> terms;
  arma::Mat<double> betas;

  equation(std::vector<arma::uword> columns, const std::vector<std::string>& texts)
      : plain(columns), terms(computed(texts)), betas(columns.size() + texts.size(), 1) {
    for (arma::uword j = 0; j < betas.n_rows; ++j) betas(j, 0) = static_cast<double>(j + 1);
  }

  SimpleSlopes effect(std::vector<moderator> moderators, std::vector<const double*> deviations = {}) const {
    if (deviations.empty()) deviations.resize(moderators.size(), nullptr);
    SimpleSlopes out(0, "x", {x}, constant, std::move(moderators));
    out.bind(betas, plain, terms, n_columns, std::move(deviations));
    out.compute();
    return out;
  }
};

const char* const xm = "#DATA(1)*#DATA(2)";
const char* const xw = "#DATA(1)*#DATA(3)";

TEST(SimpleSlopes, AreLinearInTheCoefficients) {
  const equation y({constant, x, m, z}, {xm});  // 1 + 2x + 3m + 4z + 5xm
  const SimpleSlopes effect = y.effect({at(m, 1.5)});
  EXPECT_DOUBLE_EQ(effect.intercept, 1 + 3 * 1.5);
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 5 * 1.5);
}

TEST(SimpleSlopes, FollowTheCoefficients) {
  equation y({constant, x, m}, {xm});
  SimpleSlopes effect = y.effect({at(m, -1)});
  y.betas = arma::vec(std::vector<double>{0.5, -1, 2, 0.25});
  effect.compute();
  EXPECT_DOUBLE_EQ(effect.intercept, 0.5 - 2);
  EXPECT_DOUBLE_EQ(effect.slope, -1 - 0.25);
}

TEST(SimpleSlopes, TakeSquaresAndProductsOfModerators) {
  // 1 + 2x + 3m + 4w + 5mm + 6xx + 7xm + 8xw + 9xmw
  const equation y({constant, x, m, w},
                   {"#DATA(2)*#DATA(2)", "#DATA(1)^2", xm, xw, "#DATA(1)*#DATA(2)*#DATA(3)"});
  const SimpleSlopes effect = y.effect({at(m, 2), at(w, -3)});
  EXPECT_DOUBLE_EQ(effect.intercept, 1 + 3 * 2 + 4 * -3 + 5 * 4);
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 7 * 2 + 8 * -3 + 9 * 2 * -3);
}

TEST(SimpleSlopes, DoWithoutAnInterceptAndWithoutAMainEffectOfTheFocalPredictor) {
  const equation y({m}, {xm});
  const SimpleSlopes effect = y.effect({at(m, 3)});
  EXPECT_DOUBLE_EQ(effect.intercept, 3);
  EXPECT_DOUBLE_EQ(effect.slope, 2 * 3);
}

TEST(SimpleSlopes, DummyCodesOfAModeratorStandAtOneAndZero) {
  const equation y({constant, x, m, w}, {xm, xw});  // m and w are the codes
  moderator nominal = at(m, 4);
  nominal.columns = {{m, 0.0}, {w, 1.0}};
  const SimpleSlopes effect = y.effect({nominal});
  EXPECT_DOUBLE_EQ(effect.intercept, 1 + 4);
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 6);
}

TEST(SimpleSlopes, ValuesInStandardDeviationsFollowTheDeviation) {
  const equation y({constant, x, m}, {xm});
  double sd = 2.0;
  SimpleSlopes effect = y.effect({at(m, -1.5, true)}, {&sd});
  EXPECT_TRUE(effect.isSD());
  EXPECT_DOUBLE_EQ(effect.intercept, 1 + 3 * -3.0);
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 4 * -3.0);
  sd = 4.0;
  effect.compute();
  EXPECT_DOUBLE_EQ(effect.intercept, 1 + 3 * -6.0);
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 4 * -6.0);
}

TEST(SimpleSlopes, PlainValuesAndDeviationsGoTogether) {
  const equation y({constant, x, m, w}, {xm, xw});
  double sd = 0.5;
  const SimpleSlopes effect = y.effect({at(m, 2, true), at(w, 2)}, {&sd, nullptr});
  EXPECT_DOUBLE_EQ(effect.intercept, 1 + 3 * 1 + 4 * 2);
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 5 * 1 + 6 * 2);
}

TEST(SimpleSlopes, TermsWithParametersFollowThem) {
  equation y({constant, x, m}, {"#VAR(0)*#DATA(1)*#DATA(2)"});
  evaluate::value cell(0.5);
  y.terms[0].node->register_var(&cell, 0);
  SimpleSlopes effect = y.effect({at(m, 2)});
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 4 * 0.5 * 2);
  *cell.get() = 3.0;
  effect.compute();
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 4 * 3.0 * 2);
}

TEST(SimpleSlopes, OtherPredictorsStandAtZeroAlsoWhereTheyReadAStatistic) {
  const equation y({constant, x, m}, {xm, "scale(#DATA(4))", "exp(#DATA(4))"});
  const SimpleSlopes effect = y.effect({at(m, 1)});
  EXPECT_DOUBLE_EQ(effect.intercept, 1 + 3 + 6);  // exp(0) is 1
  EXPECT_DOUBLE_EQ(effect.slope, 2 + 4);
}

std::string failure(const equation& y) {
  try {
    y.effect({at(m, 1)});
  } catch (const error& fault) {
    return fault.what();
  }
  return "";
}

TEST(SimpleSlopes, RefuseStatisticsOfTheirVariables) {
  EXPECT_EQ(failure(equation({constant, x, m}, {"#DATA(1)*center(#DATA(2))"})),
            "ERROR: A conditional effect of \"x\" cannot be computed\n"
            "       from a model term that depends on a column statistic\n"
            "       of the focal or moderator variable.");
}

TEST(SimpleSlopes, RefuseTermsWithoutValueAtZero) {
  EXPECT_EQ(failure(equation({constant, x, m}, {xm, "ln(#DATA(4))"})),
            "ERROR: The conditional effect of \"x\" is not defined\n"
            "       when all predictors not involved in it are set to zero.");
}

TEST(SimpleSlopes, HaveAFocalPredictorAndFitTheirEquation) {
  try {
    SimpleSlopes(0, "x", {}, constant, {at(m, 1)});
    ADD_FAILURE() << "a focal predictor without a column of its own";
  } catch (const error_debug& fault) {
    EXPECT_NE(std::string(fault.what()).find("Nominal Simple Slopes not allowed."), std::string::npos);
  }
  SimpleSlopes effect(0, "x", {x}, constant, {at(m, 1)});
  EXPECT_THROW(effect.compute(), error_debug);
  const equation y({constant, x, m}, {xm});
  EXPECT_THROW(effect.bind(y.betas, y.plain, y.terms, n_columns, {}), error_debug);
  EXPECT_THROW(effect.bind(y.betas, y.plain, y.terms, m, {nullptr}), error_debug);
}

SimpleSlopes named(std::uint32_t model, double intercept, double slope) {
  SimpleSlopes out(model, "x", {x}, constant, {at(m, 1)});
  out.intercept = intercept;
  out.slope = slope;
  return out;
}

TEST(SimpleList, JoinsListsOfOneEquationAndDropsEmptyOnes) {
  SimpleList list;
  list.push_back({3, {named(3, 1, 2)}});
  list.push_back({1, {}});
  list.push_back({0, {named(0, 5, 6)}});
  list.push_back({3, {named(3, 3, 4)}});
  list.reduce();
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].model, 3u);
  EXPECT_EQ(list.n_estimates(), 6u);
  const arma::vec expected = {1, 2, 3, 4, 5, 6};
  EXPECT_TRUE(arma::approx_equal(list.estimates(), expected, "absdiff", 0.0));
  EXPECT_EQ(list.find(1), nullptr);
  EXPECT_EQ(list.find(0)->effects.size(), 1u);
}

const std::string rule = "\n                                ----------------------------------";

TEST(PrintSimpleSlopes, PrintsTheBlockToTheCharacter) {
  moderator second = at(w, -1.5, true);
  SimpleList list;
  list.push_back({2,
                  {SimpleSlopes(2, "x", {x}, constant, {at(m, 1)}),
                   SimpleSlopes(2, "a_focal_name", {x}, constant, {at(m, 1), second})}});
  const arma::mat table = {
      {1.25, 4, 0.5}, {-2, 30, 0.000125}, {0, 0, 1}, {arma::datum::nan, 5, 0.001}, {9, 9, 9}};
  tests::Capture out;
  EXPECT_EQ(print_simple_slopes(out.stream(), list, 2, table, {"Median", "ChiSq", "PValue"}), 4u);
  EXPECT_EQ(out.text(),
            "\n\n\n"
            "Conditional Effects                  Median      ChiSq     PValue " +
                rule +
                "\n\n"
                "  x | m @ v                                                       \n"
                "    Intercept                         1.250      4.000      0.500 \n"
                "    Slope                            -2.000     30.000  1.250e-04 \n"
                "  a_focal_name | m @ v                                            \n"
                "        w @ -1.50 SD                                              \n"
                "    Intercept                         0.000      0.000      1.000 \n"
                "    Slope                               nan      5.000      0.001 \n" +
                rule +
                "\n\n"
                "                                NOTE: Intercepts are computed by setting all predictors\n"
                "                                      not involved in the conditional effect to zero.\n"
                "\n"
                "                                NOTE: Standard deviation units are determined by\n"
                "                                      centering. Group mean centering uses a within-\n"
                "                                      cluster standard deviation, and grand mean\n"
                "                                      centering uses a total standard deviation.\n");
}

TEST(PrintSimpleSlopes, BreaksLongLabelsBetweenModeratorsThenAnywhere) {
  moderator long_one = at(m, 1);
  long_one.name = "a_moderator_with_an_uncommonly_long_name";
  const SimpleSlopes effect(0, "focal_predictor_of_a_long_name", {x}, constant, {at(w, 1), long_one});
  tests::Capture out;
  effect.print(out.stream(), {}, {});
  EXPECT_EQ(out.text(),
            "  focal_predictor_of_a_long_nam  \n"
            "        e | w @ v                \n"
            "        a_moderator_with_an_unco \n"
            "        mmonly_long_name @ v     \n"
            "    Intercept                    \n"
            "    Slope                        \n");
}

TEST(PrintSimpleSlopes, NumbersKeepTheWidthOfTheirCells) {
  const SimpleSlopes effect(0, "x", {x}, constant, {at(m, 1)});
  tests::Capture out;
  effect.print(out.stream(), {{1234567, 1234567, 1e-120}, {0.0001, 0.0001, 0.00123}},
               {"Mean", "ChiSq", "PValue"});
  EXPECT_EQ(out.text(),
            "  x | m @ v                                                       \n"
            "    Intercept                      1.23e+06   1.23e+06  1.00e-120 \n"
            "    Slope                          1.00e-04      0.000      0.001 \n");
}

TEST(PrintSimpleSlopes, CountsWithoutAStream) {
  SimpleList list;
  list.push_back({2, {named(2, 0, 0), named(2, 0, 0)}});
  EXPECT_EQ(print_simple_slopes(nullptr, list, 2, {}, {"Mean"}), 4u);
  try {
    print_simple_slopes(nullptr, list, 0, {}, {"Mean"});
    FAIL();
  } catch (const error& fault) {
    EXPECT_STREQ(fault.what(), "ERROR: Unable to find model for simple slopes.");
  }
}

// Rows of three schools in two districts; v varies within schools, s between them.
working_data schools() {
  const arma::mat data = {
      // school, district, v, s, v less its latent mean
      {1, 1, 1.0, 4.0, -0.5}, {1, 1, 2.0, 4.0, 0.5}, {1, 1, 6.0, 4.0, 4.5},
      {2, 1, 3.0, 7.0, 1.0},  {2, 1, 5.0, 7.0, 3.0}, {3, 2, 8.0, 5.0, 1.0},
  };
  return working_data(data, {0, 1});
}

double deviation(unsigned column, unsigned level, data::center centering, bool latent = false) {
  const working_data working = schools();
  return *ModeratorDeviation({column, level, centering, latent}, working).value();
}

TEST(ModeratorDeviation, IsThatOfAllUnitsAroundTheGrandMean) {
  EXPECT_NEAR(deviation(2, 2, data::center::grand), arma::stddev(arma::vec{1, 2, 6, 3, 5, 8}), 1e-12);
  EXPECT_NEAR(deviation(2, 2, data::center::grand, true), arma::stddev(arma::vec{1, 2, 6, 3, 5, 8}), 1e-12);
}

TEST(ModeratorDeviation, CountsUnitsOfItsOwnLevelOnce) {
  EXPECT_NEAR(deviation(3, 1, data::center::grand), arma::stddev(arma::vec{4, 7, 5}), 1e-12);
}

TEST(ModeratorDeviation, IsThatWithinClustersAroundTheirMeans) {
  const double squares = 4 + 1 + 9 + 1 + 1;  // around 3, 4 and 8
  EXPECT_NEAR(deviation(2, 2, data::center::cluster), std::sqrt(squares / (6 - 3)), 1e-12);
  EXPECT_NEAR(deviation(3, 1, data::center::cluster), std::sqrt((1.5 * 1.5 * 2) / (3 - 2)), 1e-12);
}

TEST(ModeratorDeviation, IsThatAroundLatentMeans) {
  const double squares = 0.25 + 0.25 + 4.5 * 4.5 + 1 + 9 + 1;
  EXPECT_NEAR(deviation(4, 2, data::center::cluster, true), std::sqrt(squares / 5), 1e-12);
}

TEST(ModeratorDeviation, FollowsTheDataAndIsNaNForASingleUnit) {
  working_data working(arma::mat{{1, 2}, {2, 4}}, {});
  ModeratorDeviation sd({1, 0, data::center::grand, false}, working);
  EXPECT_NEAR(*sd.value(), std::sqrt(2.0), 1e-12);
  working.data(1, 1) = 10;
  sd.update();
  EXPECT_NEAR(*sd.value(), std::sqrt(32.0), 1e-12);
  working_data one(arma::mat{{1, 2}}, {});
  EXPECT_TRUE(std::isnan(*ModeratorDeviation({1, 0, data::center::grand, false}, one).value()));
}

}  // namespace
}  // namespace tovik::sem::simple_slopes_test
