// Whole chains allocate nothing in a scan once their sizes are known.

#include <gtest/gtest.h>

#include "allocation_count.hpp"
#include "sem/outcomes/normal.hpp"
#include "small_run.hpp"

namespace tovik::tests::chain_allocation_test {
namespace {

void expect_none(const small_run& run) {
  const auto chain = run.chain(Random(12, 1));
  EXPECT_EQ(allocations_of_scans(50, [&] { chain->oneRep(); }), 0U);
}

/// Columns school, x, m, w, y: 40 schools of 10 rows.
arma::mat schools() {
  Random rng(41, 2);
  arma::mat out(400, 5);
  double a = 0.0, w = 0.0;
  for (arma::uword i = 0; i < 400; ++i) {
    if (i % 10 == 0) {
      a = rng.rnorm();
      w = rng.rnorm();
    }
    const double x = rng.rnorm(), m = 0.5 * x + rng.rnorm();
    out.row(i) = arma::rowvec{static_cast<double>(i / 10), x, m, w, a + 0.4 * m + 0.3 * w + rng.rnorm()};
  }
  return out;
}

const std::vector<std::string> names = {"school", "x", "m", "w", "y"};

arma::mat with_gaps(arma::mat data, std::initializer_list<arma::uword> columns) {
  for (arma::uword j : columns)
    for (arma::uword i = j; i < data.n_rows; i += 3) data(i, j) = arma::datum::nan;
  return data;
}

TEST(ChainAllocation, NoneForAnIncompleteMediatorAndItsProducts) {
  expect_none({names, with_gaps(schools(), {2}), {}, {"m ~ x", "y ~ m x (m*x) (exp(m / 4))"}});
}

TEST(ChainAllocation, NoneForTwoIncompleteMediatorsInThreeEquations) {
  expect_none({names, with_gaps(schools(), {2, 1}), {}, {"x ~ w", "m ~ x w", "y ~ m x (m*x)"}});
}

TEST(ChainAllocation, NoneForAMediatorWithRandomEffects) {
  expect_none({names, with_gaps(schools(), {2}), {"school"}, {"m ~ x", "y ~ m x (m*w) | m"}});
}

/// Columns school, x, m, w, g, y: g has three categories, and y follows g.
arma::mat schools_with_groups() {
  arma::mat out = schools();
  out.insert_cols(4, 1);
  Random rng(42, 2);
  for (arma::uword i = 0; i < out.n_rows; ++i) {
    const double score = out(i, 1) + 2.0 * rng.rnorm();
    out(i, 4) = score < -1.0 ? 1.0 : score < 1.0 ? 2.0 : 3.0;
    out(i, 5) += out(i, 4);
  }
  return out;
}

TEST(ChainAllocation, NoneForIncompleteNominalOutcomes) {
  const std::vector<std::string> with_groups = {"school", "x", "m", "w", "g", "y"};
  expect_none({with_groups, with_gaps(schools_with_groups(), {4}), {}, {"g ~ x"}, {}, {}, {}, {"g"}});
  expect_none({with_groups,
               with_gaps(schools_with_groups(), {4}),
               {"school"},
               {"g ~ x | x", "y ~ g m"},
               {},
               {},
               {},
               {"g"}});
}

TEST(ChainAllocation, NoneForLabelsAndParametersWithPriors) {
  expect_none({names, schools(), {}, {"m ~ x@a", "y ~ m@b x@a"}, {"b ~ normal(0, 4)", "ab = a*b"}});
}

}  // namespace
}  // namespace tovik::tests::chain_allocation_test
