#include "data/numbers.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/error.hpp"

namespace tovik::numbers_test {
namespace {

const double inf = std::numeric_limits<double>::infinity();

bool real(const std::string& text, double& value) {
  return parse_real(text.data(), text.data() + text.size(), value);
}

TEST(ParseReal, ReadsTheUsualForms) {
  const std::pair<const char*, double> table[] = {
      {"0", 0},           {"1", 1},
      {"-1", -1},         {"+1", 1},
      {"1.5", 1.5},       {".5", .5},
      {"5.", 5},          {"-.25", -.25},
      {"1e3", 1000},      {"1E-3", .001},
      {"1.5e+2", 150},    {"007", 7},
      {"inf", inf},       {"-INF", -inf},
      {"+Infinity", inf}, {"1e999", inf},
      {"-1e999", -inf},   {"1e-999", 0},
      {"5e-324", 5e-324}, {"1.7976931348623157e308", 1.7976931348623157e308}};
  for (const auto& [text, want] : table) {
    double value = 99;
    EXPECT_TRUE(real(text, value)) << text;
    EXPECT_EQ(value, want) << text;
  }
  double value = 0;
  EXPECT_TRUE(real("nan", value));
  EXPECT_TRUE(std::isnan(value));
}

TEST(ParseReal, LeavesTheValueAloneOtherwise) {
  for (const char* text : {"", "+", "-", ".", "e5", "1e", "1e+", "1 ", " 1", "1,5", "++1", "+-1", "--1",
                           "1.2.3", "0x10", "abc", "NA", "1a", "infx"}) {
    double value = 99;
    EXPECT_FALSE(real(text, value)) << text;
    EXPECT_EQ(value, 99) << text;
  }
}

TEST(ToDouble, AllowsWhiteSpaceAround) {
  EXPECT_EQ(toDouble(" \t1.5\r\n"), 1.5);
  EXPECT_EQ(toDouble("+2"), 2);
}

TEST(ToDouble, NamesTheTextThatIsNoNumber) {
  for (const std::string text : {"", " ", "abc", "1 2", "3)"}) {
    try {
      toDouble(text);
      ADD_FAILURE() << text;
    } catch (const error& e) {
      EXPECT_EQ(std::string(e.what()), "Not a numeric value = " + text);
    }
  }
}

TEST(IsNumber, FollowsConstantsAndStrtod) {
  for (const char* text : {"1", "-1.5", "1e5", ".5", " 5", "0x1A", "nan", "-inf", "_pi", "_tau", "+3"})
    EXPECT_TRUE(isNumber(text)) << text;
  for (const char* text : {"", "x", "1x", "5 ", "inf", "Infinity", "1e999", "-", "pi", "_PI", "y1", "1,2"})
    EXPECT_FALSE(isNumber(text)) << text;
  EXPECT_FALSE(isNumber(std::string_view("1\0", 2)));
}

TEST(ParseUint, TakesTheLastRunOfDigits) {
  EXPECT_EQ(parseUint("x12"), 12);
  EXPECT_EQ(parseUint("t1_x34_b"), 34);
  EXPECT_EQ(parseUint("007"), 7);
  EXPECT_EQ(parseUint("x0"), 0);
  EXPECT_EQ(parseUint("abc"), -1);
  EXPECT_EQ(parseUint(""), -1);
  EXPECT_EQ(parseUint("-5"), 5);
  EXPECT_EQ(parseUint("x999999999999999999"), 999999999999999999);
  EXPECT_EQ(parseUint("x99999999999999999999999999"), 999999999999999999);
  EXPECT_EQ(parseUint("x1000000000000000000000000"), 999999999999999999);
}

TEST(ParseUints, ListsRunsFromTheEnd) {
  using Runs = std::vector<std::int64_t>;
  EXPECT_EQ(parseUints("t1_x34_5b"), (Runs{5, 34, 1}));
  EXPECT_EQ(parseUints("12"), Runs{12});
  EXPECT_EQ(parseUints("abc"), Runs{});
  EXPECT_EQ(parseUints(""), Runs{});
}

}  // namespace
}  // namespace tovik::numbers_test
