#include "data/category.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "support/error.hpp"

namespace tovik::category_test {
namespace {

const double na = std::nan("");
using Values = std::vector<double>;

TEST(DummyValues, SortsDistinctObservedValues) {
  EXPECT_EQ(dummyvalues({3, 1, na, 2.5, 1, 3}, true), (Values{1, 2.5, 3}));
  EXPECT_EQ(dummyvalues({2, 1, 2}, false), (Values{1, 2}));
  EXPECT_TRUE(dummyvalues({na, na}, true).empty());
}

TEST(DummyValues, PutsTheReferenceInFront) {
  EXPECT_EQ(dummyvalues({3, 1, na, 2, 4}, true, 3), (Values{3, 1, 2, 4}));
  EXPECT_EQ(dummyvalues({3, 1, 2}, false, 1), (Values{1, 2, 3}));
  EXPECT_THROW(dummyvalues({3, 1, 2}, false, 9), error_debug);
}

TEST(HasValue, LooksForTheValue) {
  EXPECT_TRUE(has_value({1, 2.5}, 2.5));
  EXPECT_FALSE(has_value({1, 2.5}, 2));
  EXPECT_FALSE(has_value({}, 2));
}

TEST(DummyCode, GivesAColumnForEachValueButTheReference) {
  const arma::Mat<double> codes = dummycode({3, 1, na, 2, 1}, {2, 1, 3}, true);
  ASSERT_EQ(codes.n_rows, 5u);
  ASSERT_EQ(codes.n_cols, 2u);
  const double want[5][2] = {{0, 1}, {1, 0}, {na, na}, {0, 0}, {1, 0}};
  for (arma::uword i = 0; i < 5; ++i)
    for (arma::uword j = 0; j < 2; ++j) {
      if (std::isnan(want[i][j]))
        EXPECT_TRUE(std::isnan(codes(i, j)));
      else
        EXPECT_EQ(codes(i, j), want[i][j]) << i << "," << j;
    }
}

TEST(DummyCode, OneValueNeedsNoColumn) {
  EXPECT_EQ(dummycode({1, 1}, {1}, false).n_cols, 0u);
  EXPECT_EQ(dummycode({1, 1}, {}, false).n_cols, 0u);
}

}  // namespace
}  // namespace tovik::category_test
