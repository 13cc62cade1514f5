#include "data/levels.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "support/error.hpp"

namespace tovik::levels_test {
namespace {

const double na = std::nan("");
using Levels = std::vector<unsigned>;

TEST(DetermineMissing, FlagsColumnsWithAMissingCell) {
  EXPECT_EQ(determineMissing({{1, na, 3}, {4, 5, na}}), (std::vector<char>{0, 1, 1}));
  EXPECT_EQ(determineMissing(arma::Mat<double>(0, 2)), (std::vector<char>{0, 0}));
}

/// Columns: school, class, y (level 1), m (level 2), s (level 3), constant.
const arma::Mat<double> three_level = {{1, 11, 1, 5, 7, 1}, {1, 11, 2, 5, 7, 1}, {1, 12, 3, 6, 7, 1},
                                       {1, 12, 4, 6, 7, 1}, {2, 21, 5, 5, 8, 1}, {2, 21, 6, 5, 8, 1},
                                       {2, 22, 7, 9, 8, 1}, {2, 22, 8, 9, 8, 1}};

TEST(DetermineNLevels, CountsTheLevelsAbove) {
  const Levels want{0, 1, 2, 1, 0, 0};
  EXPECT_EQ(determineNLevels(three_level, {1, 0}), want);
  EXPECT_EQ(determineNLevels(three_level, {0, 1}), want) << "the order of the identifiers does not matter";
}

TEST(DetermineNLevels, DoesNotDependOnTheOrderOfRows) {
  const arma::Mat<double> shuffled = three_level.rows(arma::uvec{5, 0, 7, 2, 4, 1, 6, 3});
  EXPECT_EQ(determineNLevels(shuffled, {1, 0}), (Levels{0, 1, 2, 1, 0, 0}));
}

TEST(DetermineNLevels, TwoLevelsAndOne) {
  EXPECT_EQ(determineNLevels(three_level, {0}), (Levels{0, 1, 1, 1, 0, 0}));
  EXPECT_EQ(determineNLevels(three_level, {}), (Levels{0, 0, 0, 0, 0, 0}));
}

TEST(DetermineNLevels, MarksHalfObservedClusters) {
  //                id  level 1, missing  level 2, all or none  level 2, some rows
  const arma::Mat<double> data = {{1, 1, 5, 5}, {1, na, 5, na}, {1, 2, 5, 5}, {2, 3, na, 6}, {2, 4, na, 6}};
  EXPECT_EQ(determineNLevels(data, {0}), (Levels{0, 1, 0, inconsistent_level}));
}

TEST(DetermineNLevels, ColumnWithoutObservedCellsIsLowest) {
  const arma::Mat<double> data = {{1, na}, {1, na}, {2, na}};
  EXPECT_EQ(determineNLevels(data, {0}), (Levels{0, 1}));
}

TEST(DetermineNLevels, RowsWithoutIdentifierBelongToNoCluster) {
  const arma::Mat<double> data = {{1, 5}, {1, 5}, {na, 6}, {na, 7}};
  EXPECT_EQ(determineNLevels(data, {0}), (Levels{0, 0}));
}

TEST(DetermineNLevels, AgreesWithAPlainSearchOnRandomData) {
  unsigned state = 7;
  const auto next = [&](unsigned n) { return (state = state * 1664525u + 1013904223u) / 65536u % n; };
  for (int round = 0; round < 200; ++round) {
    arma::Mat<double> data(12, 4);
    for (arma::uword i = 0; i < data.n_rows; ++i) {
      data(i, 0) = next(4);
      for (arma::uword j = 1; j < data.n_cols; ++j)
        data(i, j) = next(8) == 0 ? na : j == 1 ? data(i, 0) : next(2);
    }
    const Levels got = determineNLevels(data, {0});
    for (arma::uword j = 1; j < data.n_cols; ++j) {
      bool observed = false, varies = false, mixed = false;
      for (arma::uword a = 0; a < data.n_rows; ++a) {
        observed = observed || !std::isnan(data(a, j));
        for (arma::uword b = 0; b < data.n_rows; ++b) {
          if (data(a, 0) != data(b, 0)) continue;
          if (std::isnan(data(a, j)) != std::isnan(data(b, j)))
            mixed = true;
          else if (!std::isnan(data(a, j)) && data(a, j) != data(b, j))
            varies = true;
        }
      }
      const unsigned want = !observed || varies ? 1u : mixed ? inconsistent_level : 0u;
      ASSERT_EQ(got[j], want) << round << " " << j;
    }
  }
}

TEST(OrderIdentifiers, FinestFirstTiesAsGiven) {
  EXPECT_EQ(order_identifiers(three_level, {0, 1}), (std::vector<std::size_t>{1, 0}));
  EXPECT_EQ(order_identifiers(three_level, {1, 0}), (std::vector<std::size_t>{0, 1}));
  EXPECT_EQ(order_identifiers(three_level, {4, 0}), (std::vector<std::size_t>{0, 1}));
  EXPECT_TRUE(order_identifiers(three_level, {}).empty());
}

TEST(CheckNesting, AcceptsNestedIdentifiers) {
  const std::vector<std::string> names{"school", "class", "y", "m", "s", "k"};
  EXPECT_NO_THROW(check_nesting(three_level, {0, 1}, names));
  EXPECT_NO_THROW(check_nesting(three_level, {1, 0}, names));
  EXPECT_NO_THROW(check_nesting(three_level, {0}, names));
  EXPECT_NO_THROW(check_nesting(three_level, {}, names));
}

TEST(CheckNesting, RefusesClassesNumberedAnewInEachSchool) {
  const arma::Mat<double> data = {{1, 1}, {1, 2}, {1, 3}, {2, 1}, {2, 2}, {2, 3}};
  for (const std::vector<unsigned>& ids : {std::vector<unsigned>{0, 1}, std::vector<unsigned>{1, 0}}) {
    try {
      check_nesting(data, ids, {"school", "class"});
      ADD_FAILURE();
    } catch (const error& e) {
      EXPECT_STREQ(e.what(),
                   "ERROR: Identifier variable 'class' is not nested in identifier variable 'school'.\n"
                   "       Use identifiers that are unique across clusters.");
    }
  }
}

TEST(CheckNesting, RefusesTwoNamesOfTheSameClusters) {
  const arma::Mat<double> data = {{1, 7}, {1, 7}, {2, 5}, {3, 9}};
  try {
    check_nesting(data, {0, 1}, {"a", "b"});
    ADD_FAILURE() << "no error";
  } catch (const error& e) {
    EXPECT_STREQ(e.what(),
                 "ERROR: Identifier variables 'a' and 'b' define the same clusters.\n"
                 "       Remove one of them from the CLUSTERID command.");
  }
}

TEST(SamplerLevel, CountsFromTheLowest) {
  EXPECT_EQ(sampler_level(2, 2), 0u);
  EXPECT_EQ(sampler_level(2, 1), 1u);
  EXPECT_EQ(sampler_level(2, 0), 2u);
  EXPECT_EQ(sampler_level(1, 1), 0u);
  EXPECT_EQ(sampler_level(1, 0), 1u);
  EXPECT_EQ(sampler_level(0, 0), 0u);
}

}  // namespace
}  // namespace tovik::levels_test
