#include "evaluate/random_functions.hpp"

#include <gtest/gtest.h>

#include "random/random.hpp"
#include "trees.hpp"

namespace tovik::tests::random_functions_test {
namespace {

arma::vec drawn(const std::string& text, const arma::mat& data = sample()) {
  const tree t = make(text);
  t->register_rng(std::make_shared<Random>(11u, 0u));
  return t->eval(data);
}

/// The standard draws of the stream that drawn() uses.
arma::vec uniforms(int n) {
  Random stream(11u, 0u);
  return stream.runif(n);
}
arma::vec normals(int n) {
  Random stream(11u, 0u);
  return stream.randn(n, 1);
}

TEST(RandomColumns, DrawOncePerRowInOrder) {
  const arma::vec u = uniforms(3), z = normals(3), y = sample().col(1), k = sample().col(2);
  expect_column(drawn("uniform(0, 1)"), u, "uniform");
  expect_column(drawn("uniform(2, 5)"), u * 3.0 + 2.0, "scalars");
  expect_column(drawn("uniform(-1, y)"), u % (y + 1.0) - 1.0, "scalar and column");
  expect_column(drawn("uniform(y, 10)"), u % (10.0 - y) + y, "column and scalar");
  expect_column(drawn("uniform(z, z + 1)"), u + k, "columns");
  expect_column(drawn("normal(0, 1)"), z, "normal");
  expect_column(drawn("normal(3, 4)"), z * 2.0 + 3.0, "scalars");
  expect_column(drawn("normal(y, 4)"), z * 2.0 + y, "column and scalar");
  expect_column(drawn("normal(1, y)"), z % arma::sqrt(y) + 1.0, "scalar and column");
  expect_column(drawn("normal(z, y)"), z % arma::sqrt(y) + k, "columns");
}

TEST(RandomColumns, AreColumnsOverNumbers) {
  const arma::vec z = normals(6);
  expect_column(drawn("10 + normal(0, 1) * 2"), z.head(3) * 2.0 + 10.0, "in operators");
  expect_column(drawn("exp(normal(0, 1))"), arma::exp(z.head(3)), "in a function");
  expect_column(drawn("normal(0, 1) - normal(0, 1)"), z.head(3) - z.tail(3), "left before right");
  expect_column(drawn("ifelse(x > 0, normal(0, 1), normal(5, 1))"), {z[0], z[4] + 5.0, nan}, "yes before no");
  expect_column(drawn("ifelse(normal(0, 1) > 9, 1, normal(0, 1))"), z.tail(3), "condition first");
  expect_column(drawn("max(normal(0, 1), 100)"), {100.0, 100.0, 100.0}, "list");
  EXPECT_EQ(drawn("normal(0, 1)", arma::mat(0, 3)).n_elem, 0u);
}

TEST(RandomColumns, AdvanceTheirStream) {
  const auto stream = std::make_shared<Random>(11u, 0u);
  const tree t = make("uniform(0, 1)");
  t->register_rng(stream);
  const arma::vec first = t->eval(sample()), second = t->eval(sample());
  const arma::vec u = uniforms(6);
  expect_column(first, u.head(3), "first");
  expect_column(second, u.tail(3), "second");
}

TEST(RandomColumns, CheckEveryBoundBeforeTheFirstDraw) {
  const std::string bounds = "ERROR: Lower bound is greater than or equal to upper bound.";
  const std::string variance = "ERROR: Variance is not greater than 0.";
  for (const std::string text :
       {"uniform(1, 1)", "uniform(2, 1)", "uniform(y, 1)", "uniform(1, y)", "uniform(y, z)"}) {
    EXPECT_EQ(failure([&] { drawn(text); }), bounds) << text;
  }
  for (const std::string text :
       {"normal(0, 0)", "normal(0, -1)", "normal(0, z)", "normal(y, 0)", "normal(y, z)"}) {
    EXPECT_EQ(failure([&] { drawn(text); }), variance) << text;
  }
  Random stream(11u, 0u);
  EXPECT_THROW(evaluate::normal(&stream, 2, 0.0, arma::vec{1.0, 0.0}), evaluate::error);
  EXPECT_THROW(evaluate::uniform(&stream, 2, 0.0, arma::vec{1.0, 0.0}), evaluate::error);
  EXPECT_DOUBLE_EQ(stream.rnorm(), normals(1)[0]);
}

TEST(RandomColumns, AreMissingWhereAParameterIs) {
  const arma::vec z = normals(3), u = uniforms(3);
  expect_column(drawn("normal(x, 1)"), {z[0] + 1.0, z[1] - 2.0, nan}, "mean");
  expect_column(drawn("uniform(x, 5)"), {u[0] * 4.0 + 1.0, u[1] * 7.0 - 2.0, nan}, "bound");
  expect_column(drawn("normal(0, abs(x))"), {z[0], z[1] * std::sqrt(2.0), nan}, "variance");
}

TEST(RandomColumns, RefuseLengthsThatDoNotMatch) {
  Random stream(1u, 0u);
  const arma::vec two = {1.0, 2.0};
  EXPECT_EQ(failure([&] { evaluate::uniform(&stream, 3, 0.0, two); }), "Elements do not match.");
  EXPECT_EQ(failure([&] { evaluate::normal(&stream, 3, two, two); }), "Elements do not match.");
}

TEST(RandomColumns, TakeTwoInputs) {
  for (const std::string name : {"uniform", "normal"}) {
    const std::string message = "ERROR: Function \"" + name + "\" requires two inputs.";
    EXPECT_EQ(parse_failure(name + "(1)"), message);
    EXPECT_EQ(parse_failure(name + "(1, 2, 3)"), message);
  }
}

}  // namespace
}  // namespace tovik::tests::random_functions_test
