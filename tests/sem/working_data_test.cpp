#include "sem/wiring/working_data.hpp"

#include <gtest/gtest.h>

#include "data/variable_list.hpp"
#include "support/error.hpp"

namespace tovik::sem::working_data_test {
namespace {

using arma::uword;

/// Columns: district, school, value. Five schools in two districts, in no order; a school of one row.
arma::mat shuffled() {
  return {{2, 21, 0}, {1, 12, 1}, {1, 11, 2}, {2, 22, 3}, {1, 12, 4},
          {2, 21, 5}, {1, 13, 6}, {1, 11, 7}, {2, 22, 8}, {1, 11, 9}};
}

const std::vector<uword> school_district = {1, 0};

std::vector<uword> elements(const arma::Col<uword>& column) {
  return {column.begin(), column.end()};
}

TEST(WorkingData, SortsByCoarsestIdentifierThenFinerThenFileOrder) {
  const working_data working(shuffled(), school_district);
  EXPECT_EQ(elements(working.file_rows()), (std::vector<uword>{2, 7, 9, 1, 4, 6, 0, 5, 3, 8}));
  for (uword i = 0; i < 10; ++i) EXPECT_EQ(working.data(i, 2), static_cast<double>(working.file_rows()[i]));
}

TEST(WorkingData, NumbersUnitsOfEveryLevelInRowOrder) {
  const working_data working(shuffled(), school_district);
  EXPECT_EQ(working.n_levels(), 3u);
  EXPECT_EQ(working.n_units(0), 10u);
  EXPECT_EQ(working.n_units(1), 5u);
  EXPECT_EQ(working.n_units(2), 2u);
  EXPECT_EQ(elements(working.units(1)), (std::vector<uword>{0, 0, 0, 1, 1, 2, 3, 3, 4, 4}));
  EXPECT_EQ(elements(working.units(2)), (std::vector<uword>{0, 0, 0, 0, 0, 0, 1, 1, 1, 1}));
  EXPECT_EQ(elements(working.first_rows(1)), (std::vector<uword>{0, 3, 5, 6, 8}));
  EXPECT_EQ(elements(working.first_rows(2)), (std::vector<uword>{0, 6}));
}

TEST(WorkingData, OneIdentifierGivesTwoLevelsAndNoneGivesOne) {
  const working_data two(shuffled(), {1});
  EXPECT_EQ(two.n_levels(), 2u);
  EXPECT_EQ(two.n_units(1), 5u);
  const working_data one(shuffled(), {});
  EXPECT_EQ(one.n_levels(), 1u);
  EXPECT_EQ(elements(one.file_rows()), elements(one.units(0)));
}

TEST(WorkingData, AClusterEndsWhereACoarserIdentifierChanges) {
  const arma::mat same_number = {{1, 5}, {2, 5}, {1, 5}};
  const working_data working(same_number, {1, 0});
  EXPECT_EQ(working.n_units(1), 2u);
}

TEST(WorkingData, PutsRowsBackInFileOrder) {
  const working_data working(shuffled(), school_district);
  EXPECT_TRUE(arma::approx_equal(working.in_file_order(working.data), shuffled(), "absdiff", 0.0));
  EXPECT_THROW(working.in_file_order(arma::mat(3, 1)), error_debug);
}

TEST(WorkingData, SelectorsOfALevelOneOutcomeHoldTheRowsOfEachCluster) {
  const working_data working(shuffled(), school_district);
  const estimator::cluster structure = working.clusters(0);
  ASSERT_EQ(structure.n_levels(), 2u);
  EXPECT_EQ(structure.n_clusters(0), 5u);
  EXPECT_EQ(structure.n_clusters(1), 2u);
  EXPECT_EQ(elements(structure.sel(0, 2)), (std::vector<uword>{5}));
  EXPECT_EQ(elements(structure.sel(1, 1)), (std::vector<uword>{6, 7, 8, 9}));
  EXPECT_EQ(structure.sel0(0, 3), 6u);
}

TEST(WorkingData, SelectorsOfALevelTwoOutcomeHoldItsClusters) {
  const working_data working(shuffled(), school_district);
  const estimator::cluster structure = working.clusters(1);
  ASSERT_EQ(structure.n_levels(), 1u);
  EXPECT_EQ(elements(structure.sel(0, 1)), (std::vector<uword>{3, 4}));
  EXPECT_EQ(elements(*structure.own_rows[0]), (std::vector<uword>{0, 3, 5, 6, 8}));
  EXPECT_EQ(working.clusters(2).n_levels(), 0u);
}

TEST(WorkingData, ClustersDependOnIdentifiersAndNotOnTheOrderOfRows) {
  const arma::mat file = shuffled();
  const arma::Col<uword> sorted_rows = {2, 7, 9, 1, 4, 6, 0, 5, 3, 8};
  const working_data a(file, school_district);
  const working_data b(arma::mat(file.rows(sorted_rows)), school_district);
  EXPECT_TRUE(arma::approx_equal(a.data, b.data, "absdiff", 0.0));
  for (unsigned level = 0; level < 3; ++level) EXPECT_EQ(elements(a.units(level)), elements(b.units(level)));
}

TEST(WorkingData, FindsMissingUnitsAndWritesAllRowsOfAUnit) {
  arma::mat file = shuffled();
  for (uword row : {1u, 4u, 3u, 8u}) file(row, 2) = arma::datum::nan;  // schools 12 and 22
  working_data working(file, school_district);
  const arma::Col<uword> missing = working.missing_units(working.data, 2, 1);
  EXPECT_EQ(elements(missing), (std::vector<uword>{1, 4}));
  EXPECT_EQ(working.missing_units(working.data, 2, 0).n_elem, 4u);
  working.write(working.data, 2, 1, missing, {50.0, 60.0});
  const arma::mat back = working.in_file_order(working.data.col(2));
  EXPECT_EQ(back[1], 50.0);
  EXPECT_EQ(back[4], 50.0);
  EXPECT_EQ(back[3], 60.0);
  EXPECT_EQ(back[8], 60.0);
  EXPECT_EQ(back[0], 0.0);
  EXPECT_THROW(working.write(working.data, 2, 1, missing, {1.0}), error_debug);
}

TEST(WorkingData, MissingIdentifierIsAnInternalError) {
  arma::mat file = shuffled();
  file(3, 1) = arma::datum::nan;
  EXPECT_THROW(working_data(file, school_district), error_debug);
  EXPECT_THROW(working_data(file, {9}), error_debug);
}

TEST(WorkingData, NoRowsIsNoFault) {
  const working_data working(arma::mat(0, 3), {1});
  EXPECT_EQ(working.n_units(0), 0u);
  EXPECT_EQ(working.n_units(1), 0u);
}

TEST(WorkingData, TranslatesCatalogueLevels) {
  VariableList list;
  for (const auto& [name, level] : {std::pair{"school", 1u}, {"district", 0u}}) {
    list.variables.push_back(std::make_shared<data::variable>(name, data::type::id, level, level));
  }
  EXPECT_EQ(level_of(data::variable("x", data::type::continuous, 2, 2), list), 0u);
  EXPECT_EQ(level_of(data::variable("w", data::type::continuous, 3, 1), list), 1u);
  EXPECT_EQ(level_of(data::variable("v", data::type::continuous, 4, 0), list), 2u);
}

}  // namespace
}  // namespace tovik::sem::working_data_test
