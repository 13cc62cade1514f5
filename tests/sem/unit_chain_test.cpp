#include "sem/predictors/unit_chain.hpp"

#include <gtest/gtest.h>

#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem::unit_chain_test {
namespace {

using arma::uword;

/// Columns: district, school. Districts of three and two schools; schools of 3, 2, 1, 2 and 2 rows.
const working_data& schools() {
  static const working_data working(
      arma::mat{{2, 21}, {1, 12}, {1, 11}, {2, 22}, {1, 12}, {2, 21}, {1, 13}, {1, 11}, {2, 22}, {1, 11}},
      {1, 0});
  return working;
}

std::vector<uword> list(const arma::Col<uword>& column) {
  return {column.begin(), column.end()};
}

TEST(UnitChain, PassesThroughAllLevelsAtWhichTheVariableVaries) {
  const unit_chain chain(schools(), 0, {true, true, true});
  ASSERT_EQ(chain.n_above(), 2u);
  EXPECT_EQ(chain.level(1), 1u);
  EXPECT_EQ(chain.level(2), 2u);
  EXPECT_EQ(chain.n_units(0), 10u);
  EXPECT_EQ(chain.n_units(1), 5u);
  EXPECT_EQ(chain.n_units(2), 2u);
  EXPECT_EQ(list(chain.parent(0)), (std::vector<uword>{0, 0, 0, 1, 1, 2, 3, 3, 4, 4}));
  EXPECT_EQ(list(chain.parent(1)), (std::vector<uword>{0, 0, 0, 1, 1}));
  EXPECT_EQ(list(chain.n_children(1)), (std::vector<uword>{3, 2, 1, 2, 2}));
  EXPECT_EQ(list(chain.n_children(2)), (std::vector<uword>{3, 2}));
}

TEST(UnitChain, ASkippedLevelJoinsTheUnitsOfItsNeighbours) {
  const unit_chain chain(schools(), 0, {true, false, true});
  ASSERT_EQ(chain.n_above(), 1u);
  EXPECT_EQ(chain.level(1), 2u);
  EXPECT_EQ(chain.place(2), 1u);
  EXPECT_THROW(chain.place(1), error_debug);
  EXPECT_EQ(list(chain.parent(0)), (std::vector<uword>{0, 0, 0, 0, 0, 0, 1, 1, 1, 1}));
  EXPECT_EQ(list(chain.n_children(1)), (std::vector<uword>{6, 4}));
}

TEST(UnitChain, AVariableOfTheMiddleLevelStartsThere) {
  const unit_chain chain(schools(), 1, {true, true});
  EXPECT_EQ(chain.n_above(), 1u);
  EXPECT_EQ(chain.level(0), 1u);
  EXPECT_EQ(chain.place(0), 0u);
  EXPECT_EQ(chain.place(1), 1u);
  EXPECT_EQ(chain.n_units(0), 5u);
  EXPECT_EQ(list(chain.parent(0)), (std::vector<uword>{0, 0, 0, 1, 1}));
}

TEST(UnitChain, WithoutVariationAboveThereIsNoParent) {
  for (const unit_chain& chain :
       {unit_chain(schools(), 2, {true}), unit_chain(schools(), 0, {true, false, false}),
        unit_chain(schools(), 0, {})}) {
    EXPECT_EQ(chain.n_above(), 0u);
    EXPECT_EQ(chain.place(0), 0u);
    EXPECT_THROW(chain.place(1), error_debug);
    EXPECT_THROW(chain.n_children(0), error_debug);
  }
}

TEST(UnitChain, SingleLevelData) {
  const working_data rows(arma::mat(4, 1, arma::fill::zeros), {});
  const unit_chain chain(rows, 0, {true});
  EXPECT_EQ(chain.n_above(), 0u);
  EXPECT_EQ(chain.n_units(0), 4u);
}

TEST(UnitChain, RejectsALevelThatTheDataDoNotHave) {
  EXPECT_THROW(unit_chain(schools(), 3, {true}), error_debug);
}

}  // namespace
}  // namespace tovik::sem::unit_chain_test
