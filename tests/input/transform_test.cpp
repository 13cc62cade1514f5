#include "input/transform.hpp"

#include <cmath>

#include "command_file.hpp"
#include "evaluate/error.hpp"
#include "input/name_index.hpp"

namespace tovik::tests::transform_test {
namespace {

struct Transform : ::testing::Test {
  /// Carries out one statement over two columns, x = 1, 2, NaN and w = 4, 5, 6.
  void apply(const std::vector<std::string>& statements, std::shared_ptr<Random> rng = nullptr) {
    const double nan = arma::datum::nan;
    data = {{1, 4}, {2, 5}, {nan, 6}};
    names = {"x", "w"};
    apply_transforms(data, names, statements, rng);
  }
  std::string fault(const std::string& statement) {
    try {
      apply({statement});
    } catch (const error& e) {
      return e.what();
    }
    return "";
  }

  arma::Mat<double> data;
  std::vector<std::string> names;
};

TEST_F(Transform, AppendsAndReplaces) {
  apply({"z = x + w", "W = w * 10", "Z = z - 1"});
  EXPECT_EQ(names, (Names{"x", "w", "z"}));
  ASSERT_EQ(data.n_cols, 3u);
  EXPECT_EQ(data(0, 2), 4.0);
  EXPECT_EQ(data(1, 1), 50.0);
  EXPECT_TRUE(std::isnan(data(2, 2)));
}

TEST_F(Transform, ReplacedColumnIsReadWithItsOldValues) {
  apply({"x = x + x * 10"});
  EXPECT_EQ(data(0, 0), 11.0);
  EXPECT_EQ(data(1, 0), 22.0);
}

TEST_F(Transform, WithoutStatementsNothingChanges) {
  apply({});
  EXPECT_EQ(data.n_cols, 2u);
}

TEST_F(Transform, ReadsStatements) {
  const auto one = transform_statement::read("  z  = x  ! = w ");
  EXPECT_EQ(one.name, "z");
  EXPECT_EQ(one.expression, "x  != w");
  EXPECT_EQ(one.text.substr(one.offset), one.expression);
  EXPECT_EQ(transform_statement::read("z=a<=b").expression, "a<=b");
  EXPECT_EQ(transform_statement::read("z = x == 1 = 2").expression, "x == 1 = 2");
}

TEST_F(Transform, InternalReferencesAreNoLanguage) {
  EXPECT_EQ(fault("z = #VAR(0)"),
            "ERROR: TRANSFORM command cannot contain parameters.\n       Problem command: z = #VAR(0)");
  EXPECT_EQ(fault("z = #DATA(0)"),
            "ERROR: The TRANSFORM command had an error.\n"
            "       Unable to find variable \"#DATA\" in data set.\n"
            "       Problem command: z = #DATA(0)\n       See \"#DATA(0)\"");
}

TEST_F(Transform, DrawsComeFromTheStreamInRowOrder) {
  const auto rng = std::make_shared<Random>(7u, 0u);
  apply({"u = uniform(x, 10)", "v = normal(w, 4)"}, rng);
  Random same(7u, 0u);
  const double first = same.runif();
  const double second = same.runif();
  same.runif();  // a row whose bound is missing takes its draw too
  EXPECT_DOUBLE_EQ(data(0, 2), 1 + 9 * first);
  EXPECT_DOUBLE_EQ(data(1, 2), 2 + 8 * second);
  EXPECT_TRUE(std::isnan(data(2, 2)));
  for (unsigned i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(data(i, 3), data(i, 1) + 2 * same.rnorm());
  EXPECT_EQ(rng->output(), same.output());
  EXPECT_THROW(apply({"u = uniform(0, 1)"}), evaluate::error_debug_rng);
}

TEST_F(Transform, LettersThatShareBytesWithDashesStayWhole) {
  data = arma::Col<double>({1.0, 2.0});
  names = {"\xE2\x80\x9Cx\xE2\x80\x9D"};  // quotation marks, whose first bytes are those of a dash
  apply_transforms(data, names, {"z = " + names[0] + " \xE2\x88\x92 1"}, nullptr);
  EXPECT_EQ(data(1, 1), 1.0);
}

TEST_F(Transform, NumbersAreNotNames) {
  data = {{1, 4}, {2, 5}};
  names = {"x", "2"};
  apply_transforms(data, names, {"z = x * 2"}, nullptr);
  EXPECT_EQ(data(1, 2), 4.0);
}

TEST_F(Transform, WhatCannotBeEvaluatedIsToldWithTheStatement) {
  try {
    apply({"z = x == x"});
    ADD_FAILURE() << "no error";
  } catch (const error& e) {
    EXPECT_STREQ(e.what(), "ERROR: The expression could not be evaluated.\n       See \"z = x == x\"");
  }
}

TEST_F(Transform, LongStatementsEndInPlainWords) {
  std::string sum = "z = x";
  for (int i = 0; i < 200000; ++i) sum += "+w";
  EXPECT_NE(fault(sum).find("ERROR: The expression is"), std::string::npos);
  const std::string nested = "z = " + std::string(20000, '(') + "x" + std::string(20000, ')');
  EXPECT_NE(fault(nested).find("ERROR: The expression is nested too deeply."), std::string::npos);
}

TEST(NameIndex, FirstOfEqualNamesCounts) {
  name_index index({"a", "B", "A"});
  EXPECT_EQ(index.find("A"), 0u);
  EXPECT_EQ(index.find("b"), 1u);
  EXPECT_EQ(index.find("c"), name_index::none);
  index.add("C", 7);
  EXPECT_TRUE(index.has("c"));
}

}  // namespace
}  // namespace tovik::tests::transform_test
