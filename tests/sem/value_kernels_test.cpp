// The steps on unknown values by themselves, on targets that are known in closed form.

#include <gtest/gtest.h>

#include <boost/math/distributions/normal.hpp>
#include <cmath>
#include <limits>
#include <set>

#include "evaluate/error.hpp"
#include "random/random.hpp"
#include "sample_tests.hpp"
#include "sem/scan/values/metropolis_values.hpp"
#include "sem/scan/values/slice_values.hpp"
#include "support/error.hpp"

namespace tovik::tests::value_kernels_test {
namespace {

using sem::estimator::acceptance;
using sem::estimator::likelihood;
using sem::estimator::likelihood_function;
using sem::estimator::tune_obj;
using sem::scan::metropolis_values;
using sem::scan::row_scale;
using sem::scan::slice_values;
using sem::scan::value_groups;
using units = arma::Col<arma::uword>;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Values in column 0, normal about column 1 with variance 0.5, each observed once more with noise of
/// variance 1 in column 2; values above `limit` have no place. The values of a group are observed by their
/// sum instead when `sums` is set.
struct Toy : sem::scan::value_target {
  value_groups groups;
  double limit = infinity;
  bool sums = false;
  unsigned writes = 0, evaluated = 0;
  std::set<arma::uword> touched;

  explicit Toy(value_groups g) : groups(std::move(g)) {}

  void write(arma::Mat<double>& data, const units& which, const double* values,
             unsigned char* usable) override {
    for (arma::uword j = 0; j < which.n_elem; ++j) {
      arma::uword const row = groups.units()(which(j));
      touched.insert(row);
      ++writes;
      if (values[j] > limit)
        usable[j] = 0;
      else
        data(row, 0) = values[j];
    }
  }
  void log_density(const arma::Mat<double>& data, const units& of, double* out) override {
    log_likelihood(data, of, out);
    for (arma::uword j = 0; j < of.n_elem; ++j)
      for_members(of(j), [&](arma::uword row) {
        double const d = data(row, 0) - data(row, 1);
        out[j] -= d * d;
      });
  }
  void log_likelihood(const arma::Mat<double>& data, const units& of, double* out) override {
    evaluated += static_cast<unsigned>(of.n_elem);
    for (arma::uword j = 0; j < of.n_elem; ++j) {
      out[j] = 0.0;
      double sum = 0.0, observed = 0.0;
      for_members(of(j), [&](arma::uword row) {
        double const d = data(row, 2) - data(row, 0);
        if (!sums) out[j] -= 0.5 * d * d;
        sum += data(row, 0);
        observed = data(row, 2);
      });
      if (sums) out[j] -= 0.5 * (observed - sum) * (observed - sum);
    }
  }
  template <class Use>
  void for_members(arma::uword g, Use use) const {
    for (arma::uword at = groups.begin(g); at < groups.begin(g + 1); ++at)
      use(groups.units()(groups.value_at(at)));
  }
};

arma::Mat<double> toy_data(arma::uword n) {
  arma::Mat<double> data(n, 3);
  for (arma::uword i = 0; i < n; ++i) {
    data(i, 0) = 0.1 * static_cast<double>(i);
    data(i, 1) = 0.5 - 0.2 * static_cast<double>(i);
    data(i, 2) = 1.0;
  }
  return data;
}

/// The value of row 2 in every `thin`-th of many steps.
std::vector<double> chain(Toy& target, arma::Mat<double> data, bool slice, double scale, int thin) {
  Random rng(41, 1);
  metropolis_values metropolis;
  slice_values ellipse;
  tune_obj tune(scale, tune_obj::kind_type::imputation);
  std::vector<double> values, mean;
  for (arma::uword row : target.groups.units()) {
    values.push_back(data(row, 0));
    mean.push_back(data(row, 1));
  }
  std::vector<double> out;
  for (int t = 0; t < 20000 * thin; ++t) {
    if (slice)
      ellipse.draw(target.groups, target, mean.data(), row_scale(0.5), rng, 1000, data, values.data());
    else
      metropolis.draw(target.groups, target, row_scale(0.5), rng, tune, data, values.data());
    if (t % thin == 0) out.push_back(data(2, 0));
  }
  EXPECT_EQ(data(target.groups.units()(0), 0), values[0]);
  return out;
}

double normal_distance(std::vector<double> sample, double mean, double variance, double limit = infinity) {
  boost::math::normal const normal(mean, std::sqrt(variance));
  const double all = std::isinf(limit) ? 1.0 : boost::math::cdf(normal, limit);
  return kolmogorov(std::move(sample),
                    [&](double x) { return x >= limit ? 1.0 : boost::math::cdf(normal, x) / all; });
}

// Row 2: N(0.1, 0.5) times N(1; value, 1): precision 3, mean (0.2 + 1) / 3.
TEST(ValueKernels, BothStepsDrawFromTheProductOfTheDensities) {
  for (bool slice : {false, true}) {
    Toy target(value_groups({0, 2, 3}, 0, {}));
    EXPECT_LT(normal_distance(chain(target, toy_data(5), slice, 2.0, 15), 0.4, 1.0 / 3.0), 2.5);
    EXPECT_EQ(target.touched, (std::set<arma::uword>{0, 2, 3}));
  }
}

TEST(ValueKernels, ValuesWithoutAPlaceAreNeverTaken) {
  for (bool slice : {false, true}) {
    Toy target(value_groups({0, 2, 3}, 0, {}));
    target.limit = 0.6;
    const auto draws = chain(target, toy_data(5), slice, 2.0, 15);
    EXPECT_LE(*std::max_element(draws.begin(), draws.end()), 0.6);
    EXPECT_LT(normal_distance(draws, 0.4, 1.0 / 3.0, 0.6), 2.5);
  }
}

// Rows 2 and 4 share a group and are observed by their sum: v ~ N((0.1, -0.3), 0.5 I), 1 ~ N(v1 + v2, 1).
TEST(ValueKernels, ValuesOfAGroupMoveTogether) {
  const units group = {0, 1, 2, 3, 2};
  for (bool slice : {false, true}) {
    Toy target(value_groups({0, 2, 3, 4}, 0, acceptance(0, group, group)));
    ASSERT_EQ(target.groups.n_groups(), 3U);
    target.sums = true;
    const arma::Mat<double> V = arma::inv(arma::Mat<double>{{3.0, 1.0}, {1.0, 3.0}});
    const arma::Col<double> m = V * arma::Col<double>{0.2 + 1.0, -0.6 + 1.0};
    EXPECT_LT(normal_distance(chain(target, toy_data(5), slice, 1.5, 20), m(0), V(0, 0)), 2.5);
  }
}

TEST(ValueKernels, MetropolisTakesANormalForEachValueThenAUniformForEachGroup) {
  const units group = {0, 1, 2, 3, 2};
  Toy target(value_groups({0, 2, 3, 4}, 0, acceptance(0, group, group)));
  arma::Mat<double> data = toy_data(5), expected = data;
  Random rng(42, 1), same(42, 1);
  metropolis_values step;
  tune_obj tune(3.0, tune_obj::kind_type::imputation);
  std::vector<double> values = {data(0, 0), data(2, 0), data(3, 0), data(4, 0)};
  step.draw(target.groups, target, row_scale(0.5), rng, tune, data, values.data());
  arma::uword const rows[] = {0, 2, 3, 4};
  arma::uword const number[] = {0, 1, 2, 1};
  double change[3] = {0, 0, 0}, candidate[4];
  auto density = [&](arma::uword row, double v) {
    return -std::pow(v - expected(row, 1), 2) - 0.5 * std::pow(expected(row, 2) - v, 2);
  };
  for (int k = 0; k < 4; ++k) {
    candidate[k] = expected(rows[k], 0) + 3.0 * std::sqrt(0.5) * same.rnorm();
    change[number[k]] += density(rows[k], candidate[k]) - density(rows[k], expected(rows[k], 0));
  }
  unsigned accepted = 0;
  for (arma::uword g = 0; g < 3; ++g) {
    if (!(std::log(same.runif()) <= change[g])) continue;
    ++accepted;
    for (int k = 0; k < 4; ++k)
      if (number[k] == g) expected(rows[k], 0) = candidate[k];
  }
  EXPECT_TRUE(arma::approx_equal(data, expected, "absdiff", 1e-14));
  EXPECT_EQ(tune.total, 3U);
  EXPECT_EQ(tune.accepted, accepted);
  EXPECT_GT(accepted, 0U);
  EXPECT_LT(accepted, 3U);
  EXPECT_EQ(rng.runif(), same.runif());
}

TEST(ValueKernels, RejectedValuesComeBackExactly) {
  Toy target(value_groups({0, 2, 3}, 0, {}));
  target.limit = -1e6;
  arma::Mat<double> data = toy_data(5);
  const arma::Mat<double> before = data;
  Random rng(43, 1);
  metropolis_values step;
  tune_obj tune(0.7, tune_obj::kind_type::imputation);
  std::vector<double> values = {data(0, 0), data(2, 0), data(3, 0)};
  step.draw(target.groups, target, row_scale(0.5), rng, tune, data, values.data());
  EXPECT_TRUE(arma::approx_equal(data, before, "absdiff", 0.0));
  EXPECT_EQ(values[1], before(2, 0));
  EXPECT_EQ(tune.accepted, 0U);
}

TEST(ValueKernels, SlicePassesEvaluateOnlyUnfinishedGroups) {
  Toy target(value_groups(arma::regspace<units>(0, 999), 0, {}));
  arma::Mat<double> data(1000, 3, arma::fill::zeros);
  data.col(2).fill(6.0);  // a likelihood that contradicts the prior takes several passes
  Random rng(44, 1);
  slice_values step;
  std::vector<double> values(1000, 0.0), mean(1000, 0.0);
  step.draw(target.groups, target, mean.data(), row_scale(0.5), rng, 1000, data, values.data());
  EXPECT_GT(target.writes, 1000U);
  EXPECT_EQ(target.evaluated, 1000U + target.writes);  // thresholds, then each candidate once
  EXPECT_LT(target.writes, 4000U);
}

TEST(ValueKernels, TheSliceStepGivesUpAfterItsPasses) {
  Toy target(value_groups({0, 2, 3}, 0, {}));
  target.limit = -1e6;
  arma::Mat<double> data = toy_data(5);
  Random rng(45, 1);
  slice_values step;
  std::vector<double> values = {0, 0, 0}, mean = {0, 0, 0};
  EXPECT_THROW(step.draw(target.groups, target, mean.data(), row_scale(0.5), rng, 20, data, values.data()),
               error_ess);
  EXPECT_EQ(target.writes, 3U * 21U);
}

TEST(ValueKernels, AStateWithoutADensityIsLeft) {
  EXPECT_TRUE(sem::scan::accepts(-0.1, -infinity, -1e9));
  EXPECT_TRUE(sem::scan::accepts(-0.1, std::nan(""), 0.0));
  EXPECT_FALSE(sem::scan::accepts(-0.1, -infinity, -infinity));
  EXPECT_FALSE(sem::scan::accepts(-0.1, 0.0, std::nan("")));
  EXPECT_FALSE(sem::scan::accepts(-0.1, 0.0, -infinity));
  EXPECT_TRUE(sem::scan::accepts(-0.1, 0.0, -0.1));
  EXPECT_FALSE(sem::scan::accepts(-0.1, 0.0, -0.2));
}

/// A contribution that gives each unit the value of its row, and notes the units that it was asked for.
likelihood_function noting(const void* source, double weight, std::vector<arma::uword>& asked) {
  return {source,
          [](const arma::Mat<double>&, const int&) -> arma::Col<double> {
            throw error_debug("All units were asked for.");
          },
          [weight, &asked](const arma::Mat<double>& data, const int&, const units& which, double* out) {
            for (arma::uword k = 0; k < which.n_elem; ++k) {
              asked.push_back(which(k));
              out[k] += weight * data(which(k), 0);
            }
          }};
}

TEST(ValueGroups, DensitiesAreSumsOverTheUnitsOfAGroup) {
  const units of_value = {5, 1, 5, 1, 7, 5};
  const value_groups groups({1, 2, 4, 5}, 0, acceptance(0, of_value, of_value));
  ASSERT_EQ(groups.n_groups(), 3U);
  EXPECT_EQ(groups.group_of(0), 0U);
  EXPECT_EQ(groups.group_of(1), 1U);
  EXPECT_EQ(groups.group_of(2), 2U);
  EXPECT_EQ(groups.group_of(3), 1U);
  std::vector<arma::uword> asked;
  int a = 0, b = 0;
  likelihood list;
  list.add_once(noting(&a, 1.0, asked));
  list.add_once(noting(&b, 10.0, asked));
  list.add_once(noting(&a, 1000.0, asked));
  const arma::Mat<double> data = arma::Col<double>{1, 2, 4, 8, 16, 32};
  double out[2] = {-1, -1};
  groups.density(list, nullptr, data, units{1, 2}, out);
  EXPECT_EQ(out[0], 11.0 * (1 + 4 + 32));
  EXPECT_EQ(out[1], 11.0 * 16);
  EXPECT_EQ(asked, (std::vector<arma::uword>{0, 2, 4, 5, 0, 2, 4, 5}));
  groups.density(list, &a, data, units{0}, out);
  EXPECT_EQ(out[0], 10.0 * (2 + 8));
}

TEST(ValueGroups, WithoutGroupsEachUnitStandsAlone) {
  const value_groups groups({1, 4}, 0, {});
  std::vector<arma::uword> asked;
  int a = 0;
  likelihood list;
  list.add_once(noting(&a, 1.0, asked));
  const arma::Mat<double> data = arma::Col<double>{1, 2, 4, 8, 16, 32};
  double out = -1;
  groups.density(list, nullptr, data, units{1}, &out);
  EXPECT_EQ(out, 16.0);
  EXPECT_EQ(asked, std::vector<arma::uword>{4});
}

TEST(ValueGroups, AGroupWhereAnExpressionHasNoValueStandsAlone) {
  const value_groups groups({1, 2, 4}, 0, {});
  int a = 0;
  likelihood list;
  list.add_once({&a,
                 [](const arma::Mat<double>& data, const int&) -> arma::Col<double> { return data.col(0); },
                 [](const arma::Mat<double>& data, const int&, const units& which, double* out) {
                   for (arma::uword k = 0; k < which.n_elem; ++k) {
                     if (data(which(k), 0) > 3.0 && data(which(k), 0) < 5.0)
                       throw evaluate::error("out of range");
                     out[k] += data(which(k), 0);
                   }
                 }});
  const arma::Mat<double> data = arma::Col<double>{1, 2, 4, 8, 16, 32};
  double out[3] = {-1, -1, -1};
  groups.density(list, nullptr, data, groups.all_groups(), out);
  EXPECT_EQ(out[0], 2.0);
  EXPECT_TRUE(std::isnan(out[1]));
  EXPECT_EQ(out[2], 16.0);
}

}  // namespace
}  // namespace tovik::tests::value_kernels_test
