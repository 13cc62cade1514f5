#include "sem/predictors/level_scores.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "random/random.hpp"
#include "support/error.hpp"

namespace tovik::sem::level_scores_test {
namespace {

using columns = arma::Col<arma::uword>;

void expect_products(level_scores& level, const columns& x, const columns& y) {
  arma::mat const expected = level.data().cols(x).t() * level.data().cols(y);
  EXPECT_LT(arma::abs(level.products(x, y) - expected).max(), 1e-10);
}

/// Seven columns of which five take part, all written.
struct Filled {
  Random rng{7, 0U};
  columns used = {0, 2, 3, 5, 6};
  level_scores level{20, 7, used};
  Filled() { level.write({0, 1, 2, 3, 4, 5, 6}, rng.randn(20, 7)); }
};

TEST(LevelScores, StartAtZero) {
  level_scores level(4, 3, columns{0, 2});
  EXPECT_EQ(level.n_units(), 4u);
  EXPECT_EQ(arma::accu(arma::abs(level.data())), 0.0);
  EXPECT_EQ(arma::accu(arma::abs(level.products({0, 2}, {0, 2}))), 0.0);
}

TEST(LevelScores, ProductsAreThoseOfTheColumnsInTheOrderAskedFor) {
  Filled f;
  expect_products(f.level, f.used, f.used);
  expect_products(f.level, {6, 0}, {3});
  expect_products(f.level, {5, 2, 3}, {3, 6});
}

TEST(LevelScores, ProductsFollowEveryWrite) {
  Filled f;
  expect_products(f.level, f.used, f.used);
  for (const columns& moved : {columns{3}, columns{6, 0}, columns{0, 2, 3, 5}, columns{5}}) {
    f.level.write(moved, f.rng.randn(20, static_cast<int>(moved.n_elem)));
    expect_products(f.level, {0, 6}, {2, 3});
    expect_products(f.level, f.used, f.used);
  }
}

TEST(LevelScores, TwoWritesBeforeOneProductBothCount) {
  Filled f;
  f.level.products(f.used, f.used);
  f.level.write({2}, f.rng.randn(20, 1));
  f.level.write({5}, f.rng.randn(20, 1));
  expect_products(f.level, f.used, f.used);
}

TEST(LevelScores, AColumnThatPredictsNothingIsKeptWithoutProducts) {
  Filled f;
  arma::mat const values = f.rng.randn(20, 1);
  f.level.write({4}, values);
  EXPECT_EQ(arma::abs(f.level.data().col(4) - values).max(), 0.0);
  EXPECT_THROW(f.level.products({0, 4}, {0}), error_debug);
  EXPECT_THROW(f.level.products({0}, {9}), error_debug);
}

void expect_sums(const level_scores& level, const unit_groups& by, arma::uword column) {
  std::vector<double> expected(by.n, 0.0);
  for (arma::uword i = 0; i < level.n_units(); ++i)
    expected[by.of_unit == nullptr ? 0 : by.of_unit[i]] += level.data()(i, column);
  const double* const sums = level.sums(by, column);
  for (arma::uword g = 0; g < by.n; ++g) EXPECT_NEAR(sums[g], expected[g], 1e-12);
}

TEST(LevelScores, SumsByGroupFollowEveryWrite) {
  Filled f;
  // Groups in any order, one of them without a unit, and the whole.
  const columns group = {2, 2, 0, 0, 0, 3, 3, 2, 0, 3, 3, 3, 5, 5, 4, 4, 2, 0, 5, 3};
  const unit_groups some{1, 6, group.memptr()}, all;
  for (const columns& moved : {columns{3}, columns{6, 0}, columns{5}}) {
    f.level.write(moved, f.rng.randn(20, static_cast<int>(moved.n_elem)));
    for (arma::uword column : f.used) {
      expect_sums(f.level, some, column);
      expect_sums(f.level, all, column);
    }
  }
  f.level.rewrite(5)[7] += 2.5;
  expect_sums(f.level, some, 5);
  expect_sums(f.level, all, 5);
  expect_products(f.level, {5, 2}, {5, 6});
  EXPECT_THROW(f.level.sums(all, 4), error_debug);
  EXPECT_THROW(f.level.sums({1, 7, group.memptr()}, 5), error_debug);
  EXPECT_THROW(f.level.rewrite(7), error_debug);
}

TEST(LevelScores, ProductsOfColumnsSideBySideAreTakenWhereTheyStand) {
  Random rng(8, 0U);
  level_scores level(30, 5, columns{1, 2, 3});
  level.write({0, 1, 2, 3, 4}, rng.randn(30, 5));
  expect_products(level, {1, 2, 3}, {1, 2, 3});
  level.write({2}, rng.randn(30, 1));
  expect_products(level, {1, 2, 3}, {1, 2, 3});
}

TEST(LevelScores, NoColumnsGiveEmptyProducts) {
  Filled f;
  EXPECT_EQ(f.level.products({}, {0}).n_rows, 0u);
  level_scores none(3, 2, columns{});
  EXPECT_EQ(none.products({}, {}).n_elem, 0u);
}

TEST(LevelScores, RejectsDeviationsOfAnotherShapeAndColumnsThatDoNotExist) {
  Filled f;
  EXPECT_THROW(f.level.write({0}, arma::mat(19, 1)), error_debug);
  EXPECT_THROW(f.level.write({0, 1}, arma::mat(20, 1)), error_debug);
  EXPECT_THROW(f.level.write({7}, arma::mat(20, 1)), error_debug);
  EXPECT_THROW(level_scores(3, 2, columns{2}), error_debug);
}

}  // namespace
}  // namespace tovik::sem::level_scores_test
