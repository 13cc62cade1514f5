// How a linear predictor depends on an unknown: A and B of each kind of solution.

#include "sem/autosolver/solution.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "evaluate/parser.hpp"
#include "fault_message.hpp"
#include "random/random.hpp"
#include "support/error.hpp"

namespace tovik::tests::solution_test {
namespace {

using evaluate::node;
using sem::autosolver::computation;
using sem::autosolver::solution;

std::shared_ptr<node> tree(const std::string& text) {
  return evaluate::ast(text, evaluate::defines());
}

arma::mat data() {
  return {{1.0, 2.0, 3.0}, {-1.0, 0.5, 4.0}, {0.0, 7.0, -2.0}};
}

const arma::vec b = {10.0, 2.0, -3.0, 0.5};

TEST(ConstantSolution, AIsTheCoefficientInEveryRow) {
  const solution x = solution::constant(2, 1);
  EXPECT_TRUE(arma::approx_equal(x.A_vec(data(), b), arma::vec{-3, -3, -3}, "absdiff", 0));
  EXPECT_TRUE(arma::approx_equal(x.B_vec(data(), b), arma::vec(-3.0 * data().col(1)), "absdiff", 0));
  EXPECT_EQ(x.indicator(), 1u);
  EXPECT_EQ(x.indicators()(0), 2u);
  EXPECT_EQ(x.size(), 1u);
}

TEST(ConstantSolution, HasNoComputations) {
  solution x = solution::constant(2, 1);
  EXPECT_EQ(message([&] { x += computation(tree("#DATA(0)"), 1); }),
            "Constant solution does not have computations.");
  EXPECT_THROW(x.elem(0), error_debug);
}

TEST(ProductSolution, AddsCoefficientsAndCofactors) {
  solution x = solution::product({0, 1}, 1);
  x += computation(tree("#DATA(0) * 2"), 2);
  x += computation(tree("#DATA(2)"), 3);
  const arma::vec A = 12.0 - 6.0 * data().col(0) + 0.5 * data().col(2);
  EXPECT_TRUE(arma::approx_equal(x.A_vec(data(), b), A, "absdiff", 1e-14));
  EXPECT_TRUE(arma::approx_equal(x.B_vec(data(), b), arma::vec(A % data().col(1)), "absdiff", 1e-14));
  EXPECT_EQ(x.indicators().n_elem, 4u);
  arma::vec some(2);
  const arma::uvec rows = {2, 0};
  x.A_at(data(), b, &rows, some.memptr());
  EXPECT_DOUBLE_EQ(some[0], A[2]);
  EXPECT_DOUBLE_EQ(some[1], A[0]);
}

TEST(ProductSolution, NeedsACoefficientForEachProduct) {
  solution x = solution::product({0}, 1);
  EXPECT_THROW(x += computation(tree("#DATA(0)")), error_debug);
}

TEST(Solution, GivesAColumnForEachColumnOfCoefficients) {
  const solution x = solution::constant(0, 1);
  const arma::mat both = {{2.0, 5.0}};
  EXPECT_TRUE(arma::approx_equal(x.A_mat(data(), both), arma::mat{{2, 5}, {2, 5}, {2, 5}}, "absdiff", 0));
  EXPECT_TRUE(arma::approx_equal(x.B_mat(data(), both), arma::mat(data().col(1) * both), "absdiff", 0));
}

/// "#VAR(0)" with its value.
struct Label {
  std::unique_ptr<node> cell = node::literal(0.7);
  std::shared_ptr<node> target = tree("#VAR(0)");
  Label() { target->register_var(cell.get(), 0); }
  std::shared_ptr<node> bound(const std::string& text) const {
    auto out = tree(text);
    out->register_var(cell.get(), 0);
    return out;
  }
};

TEST(ParameterSolution, IsTheSumOfItsColumnsAndCofactors) {
  const Label label;
  solution x = solution::parameter(label.target, {1, 2}, {0, 2});
  x += computation(label.bound("#DATA(1) * #VAR(0)"), 3);
  x += computation(label.bound("#DATA(1)"), 3);                   // does not hold it
  x += computation(label.bound("#DATA(1)^2"), computation::one);  // it is the coefficient
  const arma::mat X = data();
  const arma::vec A = X.col(0) + X.col(2) + 0.5 * X.col(1) + arma::square(X.col(1));
  EXPECT_TRUE(arma::approx_equal(x.A_vec(X, b), A, "absdiff", 1e-14));
  EXPECT_TRUE(arma::approx_equal(x.B_vec(X, b), arma::vec(0.7 * A), "absdiff", 1e-14));
}

TEST(ParameterSolution, RefusesWhatIsNoParameter) {
  const Label label;
  EXPECT_EQ(message([] { solution::parameter(tree("#DATA(0)"), {}, {}); }),
            "Parameter is not correctly set.");
  EXPECT_EQ(message([] { solution::parameter(nullptr, {}, {}); }), "Parameter is not correctly set.");
  EXPECT_EQ(message([&] { solution::parameter(label.target, {1}, {}); }), "Indicators must be same length.");
  EXPECT_THROW((void)solution::parameter(label.target, {}, {}).indicator(), error_debug);
}

TEST(MultivariateSolution, AsksItsParts) {
  const solution x = solution::multivariate({solution::constant(1, 0), solution::constant(2, 2)}, {0, 2});
  EXPECT_EQ(x.size(), 2u);
  EXPECT_EQ(x.elem(1).indicator(), 2u);
  EXPECT_EQ(x.indicators().n_elem, 2u);
  EXPECT_EQ(message([&] { (void)x.A_mat(data(), b); }), "Multivariate solution does not have a A_mat");
  EXPECT_EQ(message([&] { (void)x.B_mat(data(), b); }), "Multivariate solution does not have a B_mat");
  EXPECT_EQ(message([&] { (void)x.A_vec(data(), b); }), "Multivariate solution does not have a A_vec");
  EXPECT_EQ(message([&] { (void)x.B_vec(data(), b); }), "Multivariate solution does not have a B_vec");
  EXPECT_EQ(message([&] { (void)x.indicator(); }), "Multivariate solution does not have a indicator");
  EXPECT_THROW((void)x.elem(2), error_debug);
}

}  // namespace
}  // namespace tovik::tests::solution_test
