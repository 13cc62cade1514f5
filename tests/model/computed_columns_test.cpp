// Computed terms as trees with their cells, and what can be solved for a label.

#include "evaluate/error.hpp"
#include "evaluate/value.hpp"
#include "run_models.hpp"

namespace tovik::tests::computed_columns_test {
namespace {

/// A run with its names, its cells and a row of data.
struct bound : run_models {
  std::unordered_map<std::string, model::parameter_info> map;
  arma::Mat<double> data = arma::Mat<double>(1, 300, arma::fill::zeros);

  bound(unsigned identifiers, const std::vector<std::string>& texts,
        const std::vector<std::string>& parameters = {})
      : run_models(identifiers, texts, parameters) {
    prepare(list);
    all.define_parameters();
    map = all.generate_map();
    for (arma::uword j = 0; j < data.n_cols; ++j) data(0, j) = static_cast<double>(j + 1);
  }
  double at(const char* name) const { return static_cast<double>(list.find(name)->column + 1); }
  void set(const char* label, double value) { map.at(label).cell->number = value; }
};

model::parameter label(const char* name) {
  return model::parameter::labelled(name);
}

TEST(ComputedColumns, TreesReadTheCellsOfTheMap) {
  bound run(0, {"y ~ z@b (x*b + z)"});
  const auto trees = run["y"].xindCompute(run.map);
  ASSERT_EQ(trees.size(), 1u);
  ASSERT_EQ(trees[0].size(), 1u);
  EXPECT_FALSE(trees[0][0]->has_unbound_var());
  for (double value : {2.0, -0.5}) {
    run.set("b", value);
    EXPECT_EQ(trees[0][0]->eval(run.data)(0), run.at("x") * value + run.at("z"));
  }
}

TEST(ComputedColumns, ATreeForEachDesignColumn) {
  bound run(0, {"y ~ (g*x) (z*z)"});
  const auto trees = run["y"].xindCompute(run.map);
  ASSERT_EQ(trees.size(), 2u);
  ASSERT_EQ(trees[0].size(), 2u);
  for (std::size_t k = 0; k < 2; ++k) {
    const double code = static_cast<double>(run.list.find("g")->dummies[k]->column + 1);
    EXPECT_EQ(trees[0][k]->eval(run.data)(0), code * run.at("x"));
  }
  EXPECT_EQ(trees[1][0]->eval(run.data)(0), run.at("z") * run.at("z"));
}

TEST(ComputedColumns, WithoutAMapParametersStayUnbound) {
  bound run(0, {"y ~ z@b (x*b)"});
  const auto trees = run["y"].xindCompute();
  EXPECT_TRUE(trees[0][0]->has_unbound_var());
  EXPECT_THROW(trees[0][0]->eval(run.data), evaluate::error_debug_var);
}

TEST(ComputedColumns, EachCallMakesItsOwnTrees) {
  bound run(0, {"y ~ z@b (x*b)"});
  const auto first = run["y"].xindCompute(run.map);
  const auto other = run.all.generate_map();
  const auto second = run["y"].xindCompute(other);
  run.set("b", 2);
  other.at("b").cell->number = 7;
  EXPECT_EQ(first[0][0]->eval(run.data)(0), 2 * run.at("x"));
  EXPECT_EQ(second[0][0]->eval(run.data)(0), 7 * run.at("x"));
}

TEST(ComputedColumns, RandomTermsComeByLevelFromTheNearestUp) {
  bound run(2, {"y ~ x | (x*z) (w*v)"});
  const auto trees = run["y"].zindCompute(run.map);
  ASSERT_EQ(trees.size(), 2u);
  ASSERT_EQ(trees[0].size(), 1u);
  ASSERT_EQ(trees[1].size(), 2u);
  EXPECT_EQ(trees[0][0][0]->eval(run.data)(0), run.at("x") * run.at("z"));
  EXPECT_EQ(trees[1][1][0]->eval(run.data)(0), run.at("w") * run.at("v"));
}

TEST(ComputedColumns, VarianceNamesAreCellsToo) {
  bound run(0, {"y ~ x", "y2 ~ (z*y.totalvar)"});
  const auto trees = run["y2"].xindCompute(run.map);
  run.set("y.totalvar", 4);
  EXPECT_EQ(trees[0][0]->eval(run.data)(0), 4 * run.at("z"));
}

TEST(ComputedColumns, PositionsOfColumnsThatReadALabel) {
  bound run(0, {"y ~ x@b (z*z) (g*b) (b+x)"});
  EXPECT_EQ(run["y"].fixedComputeIndicators(label("B")), (columns{1, 2, 3}));
  EXPECT_TRUE(run["y"].fixedComputeIndicators(label("c")).empty());
  EXPECT_TRUE(run["y"].fixedComputeIndicators(model::parameter()).empty());
}

TEST(CheckFixedCompute, SumsOfProductsWithOneFactor) {
  for (const char* text :
       {"(x*b)", "(b*x + z)", "((x+z)*b)", "(x*z - b)", "(x*b/z)", "(z*(x + 2*b))", "(b*exp(x))"}) {
    bound run(0, {std::string("y ~ z@b ") + text});
    EXPECT_TRUE(run["y"].checkFixedCompute(label("b"))) << text;
  }
}

TEST(CheckFixedCompute, OtherForms) {
  for (const char* text :
       {"(exp(b)*x)", "(x*b*c)", "(x/b)", "(b*x + b*z)", "(b*b*x)", "((x+c)*b)", "(ifelse(x > b, 1, 0))"}) {
    bound run(0, {std::string("y ~ z@b v@c ") + text});
    EXPECT_FALSE(run["y"].checkFixedCompute(label("b"))) << text;
  }
}

TEST(CheckFixedCompute, AnotherParameterInTheSumIsNoMatter) {
  bound run(0, {"y ~ z@b v@c (x*b + z*c)"});
  EXPECT_TRUE(run["y"].checkFixedCompute(label("b")));
  EXPECT_TRUE(run["y"].checkFixedCompute(label("c")));
}

TEST(CheckFixedCompute, HoldsWithoutSuchATerm) {
  bound run(0, {"y ~ z@b (x*z)"});
  EXPECT_TRUE(run["y"].checkFixedCompute(label("b")));
  EXPECT_TRUE(run["y"].checkFixedCompute(model::parameter()));
}

}  // namespace
}  // namespace tovik::tests::computed_columns_test
