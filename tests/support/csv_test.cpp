#include "support/csv.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tovik::tests::csv_test {
namespace {

std::string number(double value) {
  std::string out;
  append_number(out, value);
  return out;
}

std::string ten(double value) {
  std::string out;
  append_number(out, value, 10);
  return out;
}

TEST(CsvCell, StandsInQuotesWhereItMust) {
  EXPECT_EQ(csv_cell("y ~ x"), "y ~ x");
  EXPECT_EQ(csv_cell(""), "");
  EXPECT_EQ(csv_cell("Cov(a,b)"), "\"Cov(a,b)\"");
  EXPECT_EQ(csv_cell("a \"b\""), "\"a \"\"b\"\"\"");
  EXPECT_EQ(csv_cell("a\nb"), "\"a\nb\"");
  EXPECT_EQ(csv_cell("a\rb"), "\"a\rb\"");
}

TEST(CsvCells, AreThoseThatWereWritten) {
  const std::vector<std::string> cells = {"y ~ x", "", "Cov(a,b)", "a \"b\"", "\"", ""};
  std::string line;
  for (const std::string& cell : cells) line += csv_cell(cell) + ",";
  line.pop_back();
  EXPECT_EQ(csv_cells(line), cells);
  EXPECT_EQ(csv_cells(""), std::vector<std::string>{""});
}

TEST(CsvNumber, HasTheDigitsThatReadAsItself) {
  for (const double x : {0.1, 1.0 / 3.0, 1e300, -2.5e-300, 123456789.123456789, 0.0}) {
    EXPECT_EQ(std::stod(number(x)), x);
  }
  EXPECT_EQ(number(0.1), "0.1");
}

TEST(CsvNumber, HasTenSignificantDigitsWhenAsked) {
  EXPECT_EQ(ten(1.0 / 3.0), "0.3333333333");
  EXPECT_EQ(ten(-12345678.9012345), "-12345678.9");
  EXPECT_EQ(ten(2.0), "2");
  EXPECT_EQ(ten(1e-12 / 3), "3.333333333e-13");
}

TEST(CsvNumber, WritesWhatIsNoNumberInWords) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const auto& text : {number, ten}) {
    EXPECT_EQ(text(std::nan("")), "NaN");
    EXPECT_EQ(text(-std::nan("")), "NaN");
    EXPECT_EQ(text(infinity), "Inf");
    EXPECT_EQ(text(-infinity), "-Inf");
  }
}

}  // namespace
}  // namespace tovik::tests::csv_test
