#include "data/save_matrix.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <limits>
#include <sstream>

#include "support/error.hpp"
#include "support/file_writer.hpp"
#include "support/text.hpp"

namespace tovik::save_matrix_test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

class SaveMatrix : public ::testing::Test {
 protected:
  ~SaveMatrix() override { std::remove(path_.c_str()); }
  std::string content() const {
    std::ostringstream text;
    text << std::ifstream(path_).rdbuf();
    return text.str();
  }
  const std::string path_ = ::testing::TempDir() + "tovik_save_matrix_test";
};

TEST_F(SaveMatrix, WritesCommas) {
  const arma::Mat<double> m = {{1, 3.5, nan}, {-0.0, 1.23456, 2e7}, {2147483648.0, -0.00004, 7}};
  save_matrix(m, path_, "csv", {"a", "b", "c"}, "NA", nan, false);
  EXPECT_EQ(content(),
            "a,b,c\n"
            "1,3.5000,NA\n"
            "0,1.2346,20000000\n"
            "2147483648,-0.0000,7\n");
}

TEST_F(SaveMatrix, WritesBlanksAndTheMissingValue) {
  save_matrix(arma::Mat<double>{{1, 3.5}, {-2, nan}}, path_, "dat", {"a", "b"}, "", -99.0, false);
  EXPECT_EQ(content(),
            "           a            b\n"
            "      1.0000       3.5000\n"
            "     -2.0000     -99.0000\n");
}

TEST_F(SaveMatrix, WritesMissingTextInItsColumn) {
  save_matrix(arma::Mat<double>{{nan, 2}}, path_, "dat", "NA", nan, false);
  EXPECT_EQ(content(), "          NA       2.0000\n");
}

TEST_F(SaveMatrix, WritesWholeNumbersWithoutDecimals) {
  save_matrix(arma::Mat<double>{{3.0, 3.5, -2147483648.0, -9000000.0}}, path_, "csv", "", nan, false);
  EXPECT_EQ(content(), "3,3.5000,-2147483648,-9000000\n");
}

TEST_F(SaveMatrix, WritesScientificNotationOnRequest) {
  save_matrix(arma::Mat<double>{{1.0, -nan}}, path_, "csv", "", nan, true);
  EXPECT_EQ(content(), "1.0000000000e+00,nan\n");
}

TEST_F(SaveMatrix, WritesInfinity) {
  const double inf = std::numeric_limits<double>::infinity();
  save_matrix(arma::Mat<double>{{inf, -inf}}, path_, "csv", "", nan, false);
  EXPECT_EQ(content(), "inf,-inf\n");
}

TEST_F(SaveMatrix, WritesTheHeaderOfAnEmptyMatrix) {
  save_matrix(arma::Mat<double>(0, 2), path_, "csv", {"a", "b"}, "", nan, false);
  EXPECT_EQ(content(), "a,b\n");
}

TEST_F(SaveMatrix, WritesNoHeaderWithoutColumns) {
  save_matrix(arma::Mat<double>(3, 0), path_, "csv", {"a", "b"}, "", nan, false);
  EXPECT_EQ(content(), "");
}

TEST_F(SaveMatrix, WritesInfinityAmongBlanks) {
  const double inf = std::numeric_limits<double>::infinity();
  save_matrix(arma::Mat<double>{{inf, -inf, 0.5}, {nan, nan, nan}}, path_, "dat", "", nan, false);
  EXPECT_EQ(content(), "         inf         -inf       0.5000\n         nan          nan          nan\n");
}

TEST_F(SaveMatrix, InfinityMakesItsColumnLarge) {
  const double inf = std::numeric_limits<double>::infinity();
  save_matrix(arma::Mat<double>{{inf, -inf}, {1, 1}}, path_, "csv", "", nan, false);
  EXPECT_EQ(content(), "inf,-inf\n1,1\n");
}

TEST_F(SaveMatrix, OnlyPositiveValuesMakeAColumnLarge) {
  save_matrix(arma::Mat<double>{{10000000.0, 10000000.5, -1e300}, {nan, 1.25, 2}}, path_, "dat", "", nan,
              false);
  const std::string text = content();
  EXPECT_EQ(text.substr(0, 31), "10000000.0000 1.0000000500e+07 ");
  EXPECT_EQ(text.substr(31, text.find('\n') - 31), format("%12.4f", -1e300));
  EXPECT_NE(text.find("\n         nan 1.2500000000e+00       2.0000\n"), std::string::npos) << text;
}

TEST_F(SaveMatrix, TheMissingValueFollowsTheRuleOfNumbers) {
  save_matrix(arma::Mat<double>{{nan, 2e7, 1.5}, {nan, nan, nan}}, path_, "csv", "", -99.0, false);
  EXPECT_EQ(content(), "-99,20000000,1.5000\n-99,-99,-99\n");
  save_matrix(arma::Mat<double>(1, 1).fill(nan), path_, "csv", "", std::numeric_limits<double>::infinity(),
              false);
  EXPECT_EQ(content(), "inf\n");
}

TEST_F(SaveMatrix, ShowsNoMinusOnAWholeZero) {
  save_matrix(arma::Mat<double>(1, 1).fill(-0.0), path_, "csv", "", nan, false);
  EXPECT_EQ(content(), "0\n");
}

TEST_F(SaveMatrix, ReplacesAnOlderFile) {
  save_matrix(arma::Mat<double>(5, 5, arma::fill::ones), path_, "csv", "", nan, false);
  save_matrix(arma::Mat<double>(0, 5), path_, "csv", "", nan, false);
  EXPECT_EQ(content(), "");
}

TEST_F(SaveMatrix, RejectsAnotherNumberOfNames) {
  EXPECT_THROW(save_matrix(arma::Mat<double>(1, 2, arma::fill::zeros), path_, "csv", {"a"}, "", nan, false),
               error_debug);
}

TEST_F(SaveMatrix, WholeNumbersKeepTheirDigitsInLargeColumns) {
  const arma::Mat<double> m = {{123456789012345, 20000000}, {9007199254740991, 1.5}, {-12, 3}};
  save_matrix(m, path_, "csv", "", nan, false);
  EXPECT_EQ(content(), "123456789012345,20000000\n9007199254740991,1.5000000000e+00\n-12,3\n");
  save_matrix(m, path_, "dat", "", nan, false);
  EXPECT_EQ(content(),
            "123456789012345     20000000\n9007199254740991 1.5000000000e+00\n         -12            3\n");
}

TEST_F(SaveMatrix, CellsThatWereReadReadBackAsTheSameNumber) {
  const arma::Col<double> values = {0.5,   0.12345, 1e-7,     1.0 / 3.0, 12345678.25, 123456789.123456,
                                    1e300, 5e-324,  -2.00001, 1e17,      -0.1,        0.30000000000000004};
  for (const char* delimiter : {"csv", "dat"}) {
    save_matrix(values, path_, delimiter, {}, "", nan, false, read_cells(values.n_elem, 1, arma::fill::ones));
    std::istringstream lines(content());
    std::string line;
    for (double v : values) {
      ASSERT_TRUE(std::getline(lines, line));
      EXPECT_EQ(std::strtod(line.c_str(), nullptr), v) << line;
    }
  }
}

TEST_F(SaveMatrix, CellsThatWereReadHaveFourDecimalsWhenTheseAreEnough) {
  save_matrix(arma::Col<double>{0.5, 0.12345, -12.0625, 0.00001}, path_, "csv", {}, "", nan, false,
              read_cells(4, 1, arma::fill::ones));
  EXPECT_EQ(content(), "0.5000\n0.12345\n-12.0625\n1e-05\n");
}

TEST_F(SaveMatrix, ComputedCellsOfANarrowColumnHaveTenDecimals) {
  const arma::Mat<double> m = {{0.012345678, 0.012345678}, {0.02, 0.5}, {0, nan}, {nan, 1.23456}};
  save_matrix(m, path_, "csv", "NA", nan, false);
  EXPECT_EQ(content(), "1.2345678000e-02,0.0123\n2.0000000000e-02,0.5000\n0,NA\nNA,1.2346\n");
}

TEST_F(SaveMatrix, ComputedCellsStandBesideCellsThatWereRead) {
  read_cells read(2, 2, arma::fill::zeros);
  read(0, 0) = read(1, 1) = 1;
  save_matrix(arma::Mat<double>{{1.23456, 1.23456}, {2.23456, 2.23456}}, path_, "csv", {}, "", nan, false,
              read);
  EXPECT_EQ(content(), "1.23456,1.2346\n2.2346,2.23456\n");
  EXPECT_THROW(save_matrix(arma::Mat<double>(3, 3), path_, "csv", {}, "", nan, false, read), error_debug);
}

TEST_F(SaveMatrix, NamesWithCommasStandInQuotes) {
  const arma::Mat<double> m = {{1, 2, 3}};
  save_matrix(m, path_, "csv", {"a,b", "c", "d\"e"}, "", nan, false);
  EXPECT_EQ(content(), "\"a,b\",c,\"d\"\"e\"\n1,2,3\n");
}

TEST_F(SaveMatrix, AFileThatCannotBeWrittenIsNamed) {
  const std::string none = ::testing::TempDir() + "no/such/folder/x.csv";
  save_matrix(arma::Mat<double>(1, 1, arma::fill::zeros), none, "csv", "", nan, false);
  save_matrix(arma::Mat<double>(1, 1, arma::fill::zeros), "/dev/full", "csv", "", nan, false);
  EXPECT_EQ(file_set::failures(), (std::vector<unwritten_file>{{none, ENOENT}, {"/dev/full"}}));
  file_set::failures().clear();
}

}  // namespace
}  // namespace tovik::save_matrix_test
