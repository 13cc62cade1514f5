#include "data/patterns.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "capture.hpp"
#include "support/error.hpp"

namespace tovik::patterns_test {
namespace {

const double na = std::nan("");

class PatternsTest : public ::testing::Test {
 protected:
  void TearDown() override {
    patterns::max_row_print = 10;
    patterns::print_all = false;
  }

  static std::string table(const patterns& p, const std::vector<std::string>& names) {
    tests::Capture out;
    p.print(out.stream(), names);
    return out.text();
  }

  /// Five variables; pattern k (its bits are the flags) stands in 40 - k rows, for k below `n`.
  static arma::Mat<double> many(unsigned n) {
    std::vector<arma::Row<double>> rows;
    for (unsigned k = 0; k < n; ++k)
      for (unsigned r = 0; r < 40 - k; ++r) {
        arma::Row<double> row(5);
        for (unsigned j = 0; j < 5; ++j) row(j) = k >> j & 1u ? na : 1.0;
        rows.push_back(row);
      }
    arma::Mat<double> out(rows.size(), 5);
    for (std::size_t i = 0; i < rows.size(); ++i) out.row(i) = rows[i];
    return out;
  }
};

TEST_F(PatternsTest, CountsAndOrdersPatterns) {
  const patterns p(arma::Mat<double>{{1, na}, {na, 2}, {1, 2}, {1, na}, {na, 3}});
  EXPECT_EQ(p.nrows(), 5u);
  EXPECT_EQ(p.ncols(), 2u);
  EXPECT_EQ(p.size(), 3u);
  EXPECT_EQ(p.rates(), (std::vector<double>{0.4, 0.4}));
  const auto sorted = p.sorted_vec();
  ASSERT_EQ(sorted.size(), 3u);
  EXPECT_EQ(sorted[0].key(), "01") << "of equal counts the smaller key comes first";
  EXPECT_EQ(sorted[0].count, 2u);
  EXPECT_EQ(sorted[1].key(), "10");
  EXPECT_EQ(sorted[1].count, 2u);
  EXPECT_EQ(sorted[2].key(), "00");
  EXPECT_EQ(sorted[2].count, 1u);
}

TEST_F(PatternsTest, FlagsOfARow) {
  const arma::Col<double> flags = patterns::pattern::is_na({1, na, 0});
  ASSERT_EQ(flags.n_elem, 3u);
  EXPECT_EQ(flags(0), 0);
  EXPECT_EQ(flags(1), 1);
  EXPECT_EQ(flags(2), 0);
}

TEST_F(PatternsTest, WideRowsSpanSeveralWords) {
  arma::Mat<double> data(300, 130, arma::fill::ones);
  std::map<std::string, unsigned> want;
  unsigned state = 3;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    std::string key(130, '0');
    for (arma::uword j : {arma::uword{0}, arma::uword{63}, arma::uword{64}, arma::uword{129}}) {
      state = state * 1664525u + 1013904223u;
      if (state >> 31) {
        data(i, j) = na;
        key[j] = '1';
      }
    }
    ++want[key];
  }
  const patterns p(data);
  std::map<std::string, unsigned> got;
  for (const auto& one : p.sorted_vec()) got[one.key()] = static_cast<unsigned>(one.count);
  EXPECT_EQ(got, want);
}

TEST_F(PatternsTest, PrintsTheReportTable) {
  const patterns p(arma::Mat<double>{{1, 2, 3}, {1, na, 3}, {1, 2, 3}, {4, 5, 6}});
  tests::Capture out;
  p.print(out.stream(), {"y", "x", "z"}, {0, 0, 0});
  EXPECT_EQ(out.text(),
            "                          miss %       1     2\n"
            "                                 --------------\n"
            "                        y =  0.0       -     -  \n"
            "                        x =  0.0       -     M  \n"
            "                        z =  0.0       -     -  \n"
            "                                 --------------\n"
            "                                 %  75.0  25.0\n");
}

TEST_F(PatternsTest, PercentagesAreThoseOfTheCaller) {
  const patterns p(arma::Mat<double>{{1, na}, {1, 2}});
  tests::Capture out;
  p.print(out.stream(), {"y", "school_size"}, {0, 12.34});
  EXPECT_NE(out.text().find("      school_size = 12.3       -     M  \n"), std::string::npos);
  EXPECT_NE(table(p, {"y", "school_size"}).find("      school_size = 50.0       -     M  \n"),
            std::string::npos);
}

TEST_F(PatternsTest, CompleteDataGiveOnePattern) {
  EXPECT_EQ(table(patterns(arma::Mat<double>(2, 1, arma::fill::ones)), {"y"}),
            "                          miss %       1\n"
            "                                 --------\n"
            "                        y =  0.0       -  \n"
            "                                 --------\n"
            "                                 % 100.0\n");
}

TEST_F(PatternsTest, NoRowsNoTable) {
  EXPECT_EQ(table(patterns(arma::Mat<double>(0, 2)), {"a", "b"}), "");
  EXPECT_EQ(table(patterns(), {}), "");
}

TEST_F(PatternsTest, SetsRarePatternsAside) {
  const std::string text = table(patterns(many(25)), {"a", "b", "c", "d", "e"});
  EXPECT_NE(text.find("miss %       1     2     3     4     5     6     7     8     9    10\n"),
            std::string::npos);
  EXPECT_EQ(text.find("   11"), std::string::npos);
  // Counts are 40 - k for k = 0..24, 700 in all; those from k = 10 on add to 345.
  EXPECT_EQ(text.substr(text.find("  NOTE")),
            "  NOTE: Suppressing printing of 15 missing data patterns.\n"
            "        These patterns consist of 49.3% of the data.\n"
            "        Use keyword 'allpatterns' in options to print all patterns.\n");
}

TEST_F(PatternsTest, PrintsAllInBands) {
  patterns::print_all = true;
  const std::string text = table(patterns(many(25)), {"a", "b", "c", "d", "e"});
  EXPECT_EQ(text.find("NOTE"), std::string::npos);
  EXPECT_NE(text.find("\n\n                          miss %      11    12    13"), std::string::npos);
  EXPECT_NE(text.find("\n\n                          miss %      21    22    23    24    25\n"),
            std::string::npos);
  std::size_t bands = 0;
  for (std::size_t at = 0; (at = text.find("miss %", at)) != std::string::npos; ++at) ++bands;
  EXPECT_EQ(bands, 3u);
  EXPECT_EQ(text.find("\n\n\n"), std::string::npos);
}

TEST_F(PatternsTest, FullBandLeavesNothingAside) {
  patterns::max_row_print = 25;
  EXPECT_EQ(table(patterns(many(25)), {"a", "b", "c", "d", "e"}).find("NOTE"), std::string::npos);
  patterns::max_row_print = 5;
  patterns::print_all = true;
  const std::string text = table(patterns(many(10)), {"a", "b", "c", "d", "e"});
  EXPECT_EQ(text.find("    11"), std::string::npos);
  EXPECT_NE(text.find("miss %       6     7     8     9    10\n"), std::string::npos);
}

TEST_F(PatternsTest, WrongNumberOfNames) {
  const patterns p(arma::Mat<double>{{1, 2}});
  tests::Capture out;
  try {
    p.print(out.stream(), {"y"});
    ADD_FAILURE();
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "Incorrect names to variables.");
  }
  EXPECT_THROW(p.print(out.stream(), {"y", "x"}, {0}), error_debug);
}

}  // namespace
}  // namespace tovik::patterns_test
