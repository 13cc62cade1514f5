#include "sem/predictors/varies.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "data/variable.hpp"
#include "random/random.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem::varies_test {
namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();

/// Columns: the cluster, the value.
working_data two_level(const std::vector<double>& ids, const std::vector<double>& values) {
  return {arma::join_rows(arma::vec(ids), arma::vec(values)), {0}};
}

TEST(IntraclassCorrelations, ByHandForTwoUnequalClusters) {
  // Means 2 and 6, SSW = 10 with 3 df, SSB = 19.2 with 1 df, n0 = (5 - 13/5) / 1.
  const auto w = two_level({1, 1, 2, 2, 2}, {1, 3, 4, 6, 8});
  const double between = (19.2 - 10.0 / 3.0) / 2.4;
  const auto icc = intraclass_correlations(w, w.data, 1, 0).value();
  ASSERT_EQ(icc.size(), 1u);
  EXPECT_NEAR(icc[0], between / (between + 10.0 / 3.0), 1e-12);
}

TEST(IntraclassCorrelations, OnlyObservedCellsCount) {
  const auto w = two_level({1, 1, 1, 2, 2, 2, 3}, {1, missing, 3, 4, 6, 8, missing});
  const auto complete = two_level({1, 1, 2, 2, 2}, {1, 3, 4, 6, 8});
  EXPECT_NEAR(intraclass_correlations(w, w.data, 1, 0).value()[0],
              intraclass_correlations(complete, complete.data, 1, 0).value()[0], 1e-12);
}

TEST(IntraclassCorrelations, ANegativeComponentCountsAsZero) {
  const auto w = two_level({1, 1, 2, 2}, {-1, 1, -1, 1});
  EXPECT_EQ(intraclass_correlations(w, w.data, 1, 0).value()[0], 0.0);
}

TEST(IntraclassCorrelations, IsZeroWithoutReplicationAndInASingleCluster) {
  const auto lone = two_level({1, 1, 2, 3}, {5, missing, 7, 9});
  EXPECT_EQ(intraclass_correlations(lone, lone.data, 1, 0).value()[0], 0.0);
  const auto one = two_level({1, 1, 1}, {5, 6, 9});
  EXPECT_EQ(intraclass_correlations(one, one.data, 1, 0).value()[0], 0.0);
}

TEST(IntraclassCorrelations, ThereAreNoneWithoutVariationWithinClusters) {
  const auto w = two_level({1, 1, 1, 2, 2}, {0.1, 0.1, 0.1, 0.7, 0.7});
  EXPECT_FALSE(intraclass_correlations(w, w.data, 1, 0).has_value());
  const auto constant = two_level({1, 1, 2}, {4, 4, 4});
  EXPECT_FALSE(intraclass_correlations(constant, constant.data, 1, 0).has_value());
}

/// Columns: district, school, value; unequal sizes at both levels.
working_data three_level(std::uint32_t seed, double top, double middle) {
  Random rng(seed, 0U);
  const std::vector<std::vector<int>> sizes = {{3, 1, 4}, {2, 5}, {6, 2, 2, 1}, {3, 3}, {4}};
  std::vector<double> d, s, x;
  for (std::size_t k = 0, school = 0; k < sizes.size(); ++k) {
    const double a = top * rng.rnorm();
    for (int size : sizes[k]) {
      const double b = middle * rng.rnorm();
      for (int i = 0; i < size; ++i) {
        d.push_back(static_cast<double>(k));
        s.push_back(static_cast<double>(school));
        x.push_back(a + b + rng.rnorm());
      }
      ++school;
    }
  }
  return {arma::join_rows(arma::vec(d), arma::vec(s), arma::vec(x)), {1, 0}};
}

arma::mat incidence(const arma::Col<arma::uword>& group) {
  arma::mat Z(group.n_elem, group.max() + 1, arma::fill::zeros);
  for (arma::uword i = 0; i < group.n_elem; ++i) Z(i, group[i]) = 1.0;
  return Z;
}

/// Components whose expected sums of squares, tr(A V) for each quadratic form A, are the observed ones.
arma::vec matched_components(const working_data& w, const arma::vec& x) {
  arma::uword const n = x.n_elem;
  arma::mat const Zm = incidence(w.units(1)), Zt = incidence(w.units(2)), one(n, 1, arma::fill::ones);
  const auto projection = [](const arma::mat& Z) { return arma::mat(Z * arma::inv(Z.t() * Z) * Z.t()); };
  arma::mat const I(n, n, arma::fill::eye), Pm = projection(Zm), Pt = projection(Zt), P1 = projection(one);
  const std::vector<arma::mat> forms = {I - Pm, Pm - Pt, Pt - P1}, parts = {I, Zm * Zm.t(), Zt * Zt.t()};
  arma::mat expected(3, 3);
  arma::vec observed(3);
  for (arma::uword i = 0; i < 3; ++i) {
    observed[i] = arma::as_scalar(x.t() * forms[i] * x);
    for (arma::uword j = 0; j < 3; ++j) expected(i, j) = arma::trace(forms[i] * parts[j]);
  }
  return arma::solve(expected, observed);
}

TEST(IntraclassCorrelations, TwoUpperLevelsMatchExpectedSumsOfSquares) {
  unsigned compared = 0;
  for (std::uint32_t seed = 1; seed <= 6; ++seed) {
    const auto w = three_level(seed, 1.5, 1.2);
    arma::vec const s2 = matched_components(w, w.data.col(2));
    if (s2.min() < 0.0) continue;
    ++compared;
    const auto icc = intraclass_correlations(w, w.data, 2, 0).value();
    ASSERT_EQ(icc.size(), 2u);
    EXPECT_NEAR(icc[0], s2[1] / arma::accu(s2), 1e-10);
    EXPECT_NEAR(icc[1], s2[2] / arma::accu(s2), 1e-10);
  }
  EXPECT_GE(compared, 3u);
}

TEST(IntraclassCorrelations, TwoUpperLevelsByHand) {
  // District 0: schools {0, 2}, {4, 6}; district 1: schools {10, 12}, {10, 16}. SSW = 2 + 2 + 2 + 18 = 24
  // (4 df), SSB(A) = 2 (4 + 4) + 2 (1 + 1) = 20 (2 df), SSA = 8 * 4.5^2 = 162 (1 df).
  const working_data w(
      arma::mat{{0, 0, 0}, {0, 0, 2}, {0, 1, 4}, {0, 1, 6}, {1, 2, 10}, {1, 2, 12}, {1, 3, 10}, {1, 3, 16}},
      {1, 0});
  const double e = 6.0, middle = (20.0 - 2.0 * e) / 4.0, top = (162.0 - 2.0 * middle - e) / 4.0;
  const auto icc = intraclass_correlations(w, w.data, 2, 0).value();
  EXPECT_NEAR(icc[0], middle / (e + middle + top), 1e-12);
  EXPECT_NEAR(icc[1], top / (e + middle + top), 1e-12);
}

TEST(IntraclassCorrelations, AVariableOfTheMiddleLevelIsTakenOncePerUnit) {
  // Schools with values 1, 3 | 4, 6, 8; the number of rows of a school does not matter.
  const working_data w(
      arma::mat{{0, 0, 1}, {0, 0, 1}, {0, 0, 1}, {0, 1, 3}, {1, 2, 4}, {1, 3, 6}, {1, 3, 6}, {1, 4, 8}},
      {1, 0});
  const double between = (19.2 - 10.0 / 3.0) / 2.4;
  const auto icc = intraclass_correlations(w, w.data, 2, 1).value();
  ASSERT_EQ(icc.size(), 1u);
  EXPECT_NEAR(icc[0], between / (between + 10.0 / 3.0), 1e-12);
  EXPECT_TRUE(intraclass_correlations(w, w.data, 0, 2).value().empty());
}

TEST(IntraclassCorrelations, OneRowPerMiddleUnitLeavesTheTopLevel) {
  const working_data w(arma::mat{{0, 0, 1}, {0, 1, 3}, {1, 2, 4}, {1, 3, 6}, {1, 4, 8}}, {1, 0});
  const double between = (19.2 - 10.0 / 3.0) / 2.4;
  const auto icc = intraclass_correlations(w, w.data, 2, 0).value();
  EXPECT_EQ(icc[0], 0.0);
  EXPECT_NEAR(icc[1], between / (between + 10.0 / 3.0), 1e-12);
}

TEST(IntraclassCorrelations, OneMiddleUnitPerTopUnitLeavesTheTopLevel) {
  const working_data w(arma::mat{{0, 0, 1}, {0, 0, 3}, {1, 1, 4}, {1, 1, 6}, {1, 1, 8}}, {1, 0});
  const double between = (19.2 - 10.0 / 3.0) / 2.4;
  const auto icc = intraclass_correlations(w, w.data, 2, 0).value();
  EXPECT_EQ(icc[0], 0.0);
  EXPECT_NEAR(icc[1], between / (between + 10.0 / 3.0), 1e-12);
}

TEST(IntraclassCorrelations, RejectsWhatIsNotThere) {
  const auto w = two_level({1, 1}, {1, 2});
  EXPECT_THROW(intraclass_correlations(w, w.data, 2, 0), error_debug);
  EXPECT_THROW(intraclass_correlations(w, w.data, 1, 2), error_debug);
}

TEST(Varies, ComparesWithTheCutoffAndIsTrueAtTheOwnLevel) {
  const auto w = two_level({1, 1, 2, 2, 2}, {1, 3, 4, 6, 8});
  data::variable const x("x", data::type::continuous, 1, 1);
  EXPECT_EQ(varies(w, w.data, x, 0, 0.66), (std::vector<bool>{true, true}));
  EXPECT_EQ(varies(w, w.data, x, 0, 0.67), (std::vector<bool>{true, false}));
}

TEST(Varies, TellsWhichVariableIsConstantWithinClusters) {
  const auto w = two_level({1, 1, 2, 2}, {1, 1, 2, 2});
  data::variable const x("income", data::type::continuous, 1, 1);
  try {
    varies(w, w.data, x, 0, 0.01);
    FAIL();
  } catch (const error& e) {
    EXPECT_STREQ(e.what(),
                 "ERROR: Variable 'income' does not vary within its clusters.\n       Remove it and rerun.");
  }
}

TEST(Varies, OfANominalVariableTheDummyCodeWithTheLargestShareCounts) {
  // Dummy in column 1 as above; that in column 2 varies within clusters only, that in column 3 nowhere.
  arma::mat const data = {{1, 1, 0, 0}, {1, 3, 1, 0}, {2, 4, 0, 0}, {2, 6, 1, 0}, {2, 8, 0.5, 0}};
  const working_data w(data, {0});
  data::variable v("v", data::type::nominal, data::variable::no_column, 1);
  for (unsigned column : {2u, 1u, 3u})
    v.dummies.push_back(std::make_shared<data::variable>("v.d", data::type::dummy, column, 1));
  EXPECT_EQ(varies(w, w.data, v, 0, 0.66), (std::vector<bool>{true, true}));
  EXPECT_EQ(varies(w, w.data, v, 0, 0.67), (std::vector<bool>{true, false}));
}

}  // namespace
}  // namespace tovik::sem::varies_test
