#include "evaluate/operations.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tovik::evaluate::operations_test {
namespace {

operations number(int n) {
  return static_cast<operations>(n);
}

TEST(Operations, PrintTheirNamesByNumber) {
  const std::vector<std::string> names = {
      "+",      "-",      "*",         "/",       "^",       ",",      "==",     "!=",   "<",
      ">",      ">=",     "<=",        "and",     "or",      "log",    "logit",  "sigm", "exp",
      "log1p",  "expm1",  "sin",       "cos",     "tan",     "asin",   "acos",   "atan", "abs",
      "sqrt",   "phi",    "iphi",      "mean",    "sd",      "stand",  "center", "clmn", "clsd",
      "max",    "min",    "ismissing", "missing", "uniform", "normal", "lag1",   "yjt",  "iyjt",
      "ifelse", "switch", "scalar",    "#VAR",    "#DATA",   "vec"};
  ASSERT_EQ(names.size(), 51u);
  for (int n = 0; n < 51; ++n) EXPECT_EQ(CMD::get_name(number(n)), names[n]) << n;
  EXPECT_EQ(CMD::get_name(number(51)), "undefined");
  EXPECT_EQ(CMD::get_name(number(52)), "undefined");
  EXPECT_EQ(CMD::get_name(number(-1)), "undefined");
}

TEST(Operations, KnowLogicAndColumns) {
  for (int n = 0; n <= 51; ++n) {
    EXPECT_EQ(isLogic(number(n)), n >= 6 && n <= 13) << n;
    EXPECT_EQ(isReturnVector(number(n)), n == 40 || n == 41 || n == 49 || n == 50) << n;
    EXPECT_EQ(isTransformOnly(number(n)), (n >= 38 && n <= 42)) << n;
  }
}

struct row {
  std::string token;
  int operation, precedence, associativity, comma_class;
};

TEST(Operations, FillTheTable) {
  const std::vector<row> rows = {
      {"^", 4, 6, 2, 0},         {"**", 4, 6, 2, 0},          {"*", 2, 5, 1, 0},
      {"/", 3, 5, 1, 0},         {"+", 0, 4, 1, 0},           {"-", 1, 4, 1, 0},
      {"\u2013", 1, 4, 1, 0},    {"\u2212", 1, 4, 1, 0},      {"==", 6, 3, 1, 0},
      {"!=", 7, 3, 1, 0},        {"<", 8, 3, 1, 0},           {">", 9, 3, 1, 0},
      {"<=", 11, 3, 1, 0},       {">=", 10, 3, 1, 0},         {"and", 12, 2, 1, 0},
      {"or", 13, 2, 1, 0},       {",", 5, 1, 0, 0},           {"(", 51, -2, 0, 0},
      {")", 51, -3, 0, 0},       {"abs", 26, -1, 0, 0},       {"sqrt", 27, -1, 0, 0},
      {"exp", 17, -1, 0, 0},     {"log", 14, -1, 0, 0},       {"ln", 14, -1, 0, 0},
      {"logit", 15, -1, 0, 0},   {"sigm", 16, -1, 0, 0},      {"log1p", 18, -1, 0, 0},
      {"expm1", 19, -1, 0, 0},   {"sin", 20, -1, 0, 0},       {"cos", 21, -1, 0, 0},
      {"tan", 22, -1, 0, 0},     {"asin", 23, -1, 0, 0},      {"acos", 24, -1, 0, 0},
      {"atan", 25, -1, 0, 0},    {"phi", 28, -1, 0, 0},       {"iphi", 29, -1, 0, 0},
      {"probit", 29, -1, 0, 0},  {"ismissing", 38, -1, 0, 0}, {"missing", 39, -1, 0, 1},
      {"uniform", 40, -1, 0, 1}, {"normal", 41, -1, 0, 1},    {"yjt", 43, -1, 0, 1},
      {"iyjt", 44, -1, 0, 1},    {"mean", 30, -1, 0, 1},      {"sd", 31, -1, 0, 1},
      {"scale", 32, -1, 0, 1},   {"stand", 32, -1, 0, 1},     {"center", 33, -1, 0, 1},
      {"clmn", 34, -1, 0, 1},    {"clsd", 35, -1, 0, 1},      {"max", 36, -1, 0, 1},
      {"min", 37, -1, 0, 1},     {"lag1", 42, -1, 0, 2},      {"ifelse", 45, -1, 0, 2},
      {"switch", 46, -1, 0, 2},  {"vec", 50, -1, 0, 0},       {"#VAR", 48, -1, 0, 0},
      {"#DATA", 49, -1, 0, 0}};
  EXPECT_EQ(op.size(), rows.size());
  for (const row& wanted : rows) {
    ASSERT_TRUE(op.contains(wanted.token)) << wanted.token;
    const CMD& found = op.at(wanted.token);
    EXPECT_EQ(static_cast<int>(found.operation), wanted.operation) << wanted.token;
    EXPECT_EQ(found.precedence, wanted.precedence) << wanted.token;
    EXPECT_EQ(found.associativity, wanted.associativity) << wanted.token;
    EXPECT_EQ(found.comma_class, wanted.comma_class) << wanted.token;
  }
  EXPECT_FALSE(op.contains("LOG"));
  EXPECT_FALSE(op.contains("{"));
}

}  // namespace
}  // namespace tovik::evaluate::operations_test
