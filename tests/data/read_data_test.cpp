#include "data/read_data.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "data/temp_file.hpp"
#include "support/error.hpp"

namespace tovik::read_data_test {
namespace {

using tests::TempFile;
using Names = std::vector<std::string>;

/// Reads text with the default missing code.
arma::Mat<double> read(const std::string& text, Names& names, std::string& delimiter) {
  const TempFile file(text);
  return readData(file.path(), names, delimiter, "NA", 1000);
}

arma::Mat<double> read(const std::string& text, Names names = {}) {
  std::string delimiter;
  return read(text, names, delimiter);
}

/// Equal in shape and cells, missing cells matching missing cells.
::testing::AssertionResult holds(const arma::Mat<double>& got, const arma::Mat<double>& want) {
  if (got.n_rows != want.n_rows || got.n_cols != want.n_cols)
    return ::testing::AssertionFailure() << got.n_rows << " x " << got.n_cols;
  for (arma::uword i = 0; i < got.n_rows; ++i)
    for (arma::uword j = 0; j < got.n_cols; ++j)
      if (!(got(i, j) == want(i, j) || (std::isnan(got(i, j)) && std::isnan(want(i, j)))))
        return ::testing::AssertionFailure() << "cell " << i << "," << j << " is " << got(i, j);
  return ::testing::AssertionSuccess();
}

const double na = std::nan("");

TEST(ReadData, ReadsCommaSeparatedTextWithHeader) {
  Names names;
  std::string delimiter;
  EXPECT_TRUE(holds(read("a,b,c\n1,2.5,-3\n4,5e2,+6\n", names, delimiter), {{1, 2.5, -3}, {4, 500, 6}}));
  EXPECT_EQ(names, (Names{"a", "b", "c"}));
  EXPECT_EQ(delimiter, ",");
}

TEST(ReadData, ReadsBlankAndTabSeparatedText) {
  Names names;
  std::string delimiter;
  EXPECT_TRUE(holds(read("a  b\tc\n1 \t 2   3\n  4\t5 6\n", names, delimiter), {{1, 2, 3}, {4, 5, 6}}));
  EXPECT_EQ(names, (Names{"a", "b", "c"}));
  EXPECT_EQ(delimiter, " ");
}

TEST(ReadData, TrailingBlanksOfALineAreTrimmed) {
  EXPECT_TRUE(holds(read("a b  \n1 2 \t \n3 4  "), {{1, 2}, {3, 4}}));
}

TEST(ReadData, GivenNamesMeanNoHeader) {
  for (const char* text : {"1,2\n3,4\n", "1 2\n3 4\n", "1\t2\n3\t4", " 1 2\r\n 3 4\r\n"})
    EXPECT_TRUE(holds(read(text, {"x", "y"}), {{1, 2}, {3, 4}})) << text;
}

TEST(ReadData, OneColumnNeedsGivenNames) {
  EXPECT_TRUE(holds(read("1\n2\nNA\n", {"x"}), arma::Mat<double>(arma::Col<double>{1, 2, na})));
}

TEST(ReadData, ExtensionDoesNotMatter) {
  for (const char* extension : {".csv", ".txt", ".dat", ""}) {
    const TempFile file("a,b\n1,2\n", extension);
    Names names;
    std::string delimiter;
    EXPECT_TRUE(holds(readData(file.path(), names, delimiter, "NA", 1000), {{1, 2}}));
  }
}

TEST(ReadData, ByteOrderMarkIsDropped) {
  Names names;
  std::string delimiter;
  EXPECT_TRUE(holds(read("\xEF\xBB\xBF"
                         "a,b\n1,2\n",
                         names, delimiter),
                    {{1, 2}}));
  EXPECT_EQ(names, (Names{"a", "b"}));
  EXPECT_TRUE(holds(read("\xEF\xBB\xBF"
                         "1,2\n3,4",
                         {"a", "b"}),
                    {{1, 2}, {3, 4}}));
}

TEST(ReadData, LineEndsOfOtherSystemsAreTrimmed) {
  Names names;
  std::string delimiter;
  EXPECT_TRUE(holds(read("a,b\r\n1,2\r\nNA,4\r\n", names, delimiter), {{1, 2}, {na, 4}}));
  EXPECT_EQ(names, (Names{"a", "b"}));
}

TEST(ReadData, HeaderLosesItsQuotes) {
  Names names;
  std::string delimiter;
  EXPECT_TRUE(holds(read("\"a\",'b',\"it's\"\n1,2,3\n", names, delimiter), {{1, 2, 3}}));
  EXPECT_EQ(names, (Names{"a", "b", "its"}));
  EXPECT_TRUE(holds(read("' a','b'\n1,2\n"), {{1, 2}}));
}

TEST(ReadData, ReadsCellsInQuotesBetweenCommas) {
  EXPECT_DOUBLE_EQ(read("a,b\n\"1\",2\n3,4\n")(0, 0), 1.0);
  EXPECT_THROW(read("a,b\n\"1,5\",2\n"), error);
  EXPECT_THROW(read("a,b\n\"1,2\n"), error) << "a quote that stays open";
  EXPECT_THROW(read("a b\n\"1\" 2\n"), error) << "between blanks";
}

TEST(ReadData, BlankLinesArePassedOver) {
  Names names;
  std::string delimiter;
  EXPECT_TRUE(holds(read("\n \t\na,b\n\n1,2\n\r\n  \n3,4\n\n", names, delimiter), {{1, 2}, {3, 4}}));
  EXPECT_EQ(names, (Names{"a", "b"}));
  EXPECT_TRUE(holds(read("\n\n1,2\n", {"a", "b"}), {{1, 2}}));
}

TEST(ReadData, WhiteSpaceAroundCellsIsNoPartOfThem) {
  EXPECT_TRUE(holds(read("a,b,c\n 1 , 2\t,  NA \n\v3\v,4,5\n"), {{1, 2, na}, {3, 4, 5}}));
}

TEST(ReadData, MissingCodeIsComparedExactly) {
  Names names;
  std::string delimiter;
  const TempFile file("a,b\n.,1\n2,.\n");
  EXPECT_TRUE(holds(readData(file.path(), names, delimiter, ".", 1000), {{na, 1}, {2, na}}));
}

TEST(ReadData, NumericMissingCodeWins) {
  Names names;
  std::string delimiter;
  const TempFile file("a,b\n-9,1\n2,-9.0\n");
  EXPECT_TRUE(holds(readData(file.path(), names, delimiter, "-9", 1000), {{na, 1}, {2, -9}}));
}

TEST(ReadData, GivenDelimiterIsUsed) {
  Names names;
  std::string delimiter = ";";
  const TempFile file("a;b\n1;2\n3; 4\n");
  EXPECT_TRUE(holds(readData(file.path(), names, delimiter, "NA", 1000), {{1, 2}, {3, 4}}));
  EXPECT_EQ(delimiter, ";");
  names = {"a", "b"};
  delimiter = "\t";
  const TempFile tabs("1\t2\n3 \t 4\n");
  EXPECT_TRUE(holds(readData_fast(tabs.path(), names, delimiter, 1000), {{1, 2}, {3, 4}}));
}

TEST(ReadData, HeaderWithoutDataGivesNoRows) {
  Names names;
  std::string delimiter;
  for (const char* text : {"a,b,c", "a,b,c\n", "a b c\n\n \n"}) {
    names.clear();
    delimiter.clear();
    const arma::Mat<double> data = read(text, names, delimiter);
    EXPECT_EQ(data.n_rows, 0u);
    EXPECT_EQ(data.n_cols, 3u);
  }
}

TEST(ReadData, OneRowIsRead) {
  EXPECT_TRUE(holds(read("a,b\n7,8"), {{7, 8}}));
}

TEST(ReadData, LastLineNeedsNoEnd) {
  EXPECT_TRUE(holds(read("a,b\n1,2\n3,4"), {{1, 2}, {3, 4}}));
}

TEST(ReadData, AdjacentCommasOfAHeaderCountAsOne) {
  Names names;
  std::string delimiter;
  EXPECT_TRUE(holds(read("a,,b\n1,2\n", names, delimiter), {{1, 2}}));
  EXPECT_EQ(names, (Names{"a", "b"}));
}

TEST(ReadData, BlockEndsFallAnywhere) {
  const std::string text = "\xEF\xBB\xBFname1,name2,name3\r\n1.25,-2,3e3\r\n\r\nNA,5.5,-6\r\n7,8,9";
  for (std::size_t block = 1; block < text.size() + 2; ++block) {
    Names names;
    std::string delimiter;
    EXPECT_TRUE(holds(readData_memory(text, "text", names, delimiter, "NA", 10, block),
                      {{1.25, -2, 3000}, {na, 5.5, -6}, {7, 8, 9}}))
        << block;
    EXPECT_EQ(names, (Names{"name1", "name2", "name3"}));
  }
}

TEST(ReadData, LongLinesAreRead) {
  // Ten megabytes in one line, above one short row.
  const std::size_t columns = 2'000'000;
  std::string header;
  std::string row;
  for (std::size_t k = 0; k < columns; ++k) {
    header += (k > 0 ? ",v" : "v") + std::to_string(k % 1000);
    row += k > 0 ? ",1.25" : "1.25";
  }
  Names names;
  std::string delimiter;
  const arma::Mat<double> data =
      readData_memory(header + "\n" + row + "\n" + row, "wide", names, delimiter, "", 1000);
  EXPECT_EQ(data.n_rows, 2u);
  EXPECT_EQ(data.n_cols, columns);
  EXPECT_EQ(arma::accu(data), 2.5 * static_cast<double>(columns));
}

TEST(ReadData, ReserveIsOnlyAHint) {
  std::string text = "a b\n";
  for (int i = 0; i < 5000; ++i) text += std::to_string(i) + " " + std::to_string(2 * i) + "\n";
  for (std::size_t reserve : {std::size_t{0}, std::size_t{1}, ~std::size_t{0}}) {
    Names names;
    std::string delimiter;
    const arma::Mat<double> data = readData_memory(text, "text", names, delimiter, "NA", reserve);
    ASSERT_EQ(data.n_rows, 5000u);
    EXPECT_EQ(data(4999, 1), 9998);
  }
}

TEST(ReadData, BothPathsReadTheSameCells) {
  const std::string text =
      "a b c\n1 -0.1 123456789012345678901\n1e-400 .5 5.\n0.30000000000000004 1E+3 -7e22\n";
  const TempFile file(text);
  Names slow_names, fast_names;
  std::string slow_delimiter, fast_delimiter;
  const arma::Mat<double> slow = readData(file.path(), slow_names, slow_delimiter, "NA", 1000);
  EXPECT_TRUE(holds(readData_fast(file.path(), fast_names, fast_delimiter, 1000), slow));
  EXPECT_TRUE(
      holds(slow, {{1, -0.1, 123456789012345678901.0}, {0, .5, 5}, {0.30000000000000004, 1000, -7e22}}));
}

TEST(ReadData, ShortDecimalsRoundAsTheLibraryDoes) {
  std::string text = "x y\n";
  std::vector<double> want;
  unsigned state = 1;
  for (int i = 0; i < 20000; ++i) {
    char cell[64];
    state = state * 1664525u + 1013904223u;
    std::snprintf(cell, sizeof cell, "%.*f", static_cast<int>(state >> 28),
                  (state % 1000003u) / 997.0 - 500.0);
    text += std::string(cell) + " 0\n";
    want.push_back(std::strtod(cell, nullptr));
  }
  Names names;
  std::string delimiter;
  const arma::Mat<double> data = readData_memory(text, "text", names, delimiter, "", 1000);
  ASSERT_EQ(data.n_rows, want.size());
  for (arma::uword i = 0; i < data.n_rows; ++i) ASSERT_EQ(data(i, 0), want[i]) << i;
}

TEST(Delimeter, TakesItsWordFromTheExtension) {
  EXPECT_EQ(delimeter("a.csv"), "csv");
  EXPECT_EQ(delimeter("dir.x/a.CSV "), "csv");
  EXPECT_EQ(delimeter("a.csv.txt"), "dat");
  EXPECT_EQ(delimeter("a"), "dat");
  EXPECT_EQ(delimeter("csv"), "dat");
  EXPECT_EQ(delimeter("a.dat"), "dat");
  EXPECT_EQ(delimeter(""), "dat");
}

}  // namespace
}  // namespace tovik::read_data_test
