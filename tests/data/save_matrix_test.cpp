#include "data/save_matrix.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <limits>
#include <sstream>

#include "support/error.hpp"
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
            "1.0000000000e+00,3.5000,NA\n"
            "-0.0000000000e+00,1.2346,2.0000000000e+07\n"
            "2.1474836480e+09,-0.0000,7.0000000000e+00\n");
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
  EXPECT_EQ(content(), "3,3.5000,-2147483648.0000,-9000000\n");
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
  EXPECT_EQ(content(), "inf,-inf\n1.0000000000e+00,1\n");
}

TEST_F(SaveMatrix, OnlyPositiveValuesMakeAColumnLarge) {
  save_matrix(arma::Mat<double>{{10000000.0, 10000000.5, -1e300}, {nan, 1, 2}}, path_, "dat", "", nan, false);
  const std::string text = content();
  EXPECT_EQ(text.substr(0, 31), "10000000.0000 1.0000000500e+07 ");
  EXPECT_EQ(text.substr(31, text.find('\n') - 31), format("%12.4f", -1e300));
  EXPECT_NE(text.find("\n         nan 1.0000000000e+00       2.0000\n"), std::string::npos) << text;
}

TEST_F(SaveMatrix, TheMissingValueFollowsTheRuleOfNumbers) {
  save_matrix(arma::Mat<double>{{nan, 2e7, 1.5}, {nan, nan, nan}}, path_, "csv", "", -99.0, false);
  EXPECT_EQ(content(), "-99,2.0000000000e+07,1.5000\n-99,-9.9000000000e+01,-99\n");
  save_matrix(arma::Mat<double>(1, 1).fill(nan), path_, "csv", "", std::numeric_limits<double>::infinity(), false);
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

TEST_F(SaveMatrix, PathThatCannotBeOpenedWritesNothing) {
  save_matrix(arma::Mat<double>(1, 1, arma::fill::zeros), ::testing::TempDir() + "no/such/folder/x.csv",
              "csv", "", nan, false);
  EXPECT_EQ(content(), "");
}

}  // namespace
}  // namespace tovik::save_matrix_test
