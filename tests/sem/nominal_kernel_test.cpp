// Whole runs of the nominal outcome against posteriors by numerical integration.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "logistic_world.hpp"
#include "nominal_world.hpp"
#include "sample_tests.hpp"
#include "small_run.hpp"

namespace tovik::tests::nominal_kernel_test {
namespace {

using sem::equation_setup;
using sem::Nominal;

constexpr double prior_variance = 5.0;

/// Moments of a posterior on a grid: m points in each dimension over center +- reach. For a smooth density
/// that falls to nothing inside the grid sums over it are as good as integrals.
class grid_moments {
 public:
  using density = std::function<double(const arma::Col<double>&)>;

  grid_moments(const density& log_density, const arma::Col<double>& center, const arma::Col<double>& reach,
               arma::uword m)
      : mean(center.n_elem, arma::fill::zeros), square(center.n_elem, arma::fill::zeros) {
    const double peak = log_density(center);
    arma::Col<arma::uword> at(center.n_elem, arma::fill::zeros);
    double mass = 0.0;
    for (bool more = true; more;) {
      arma::Col<double> b = center;
      bool edge = false;
      for (arma::uword j = 0; j < b.n_elem; ++j) {
        b(j) += reach(j) * (2.0 * static_cast<double>(at(j)) / (static_cast<double>(m) - 1.0) - 1.0);
        edge = edge || at(j) == 0 || at(j) + 1 == m;
      }
      const double p = std::exp(log_density(b) - peak);
      mass += p;
      mean += p * b;
      square += p * b % b;
      if (edge) at_edges += p;
      arma::uword j = 0;
      for (; j < at.n_elem && ++at(j) == m; ++j) at(j) = 0;
      more = j < at.n_elem;
    }
    mean /= mass;
    square /= mass;
    at_edges /= mass;
  }

  arma::Col<double> mean, square;
  double at_edges = 0.0;
};

/// The log likelihood of counts in three categories with the predictors a and b against the first.
double log_multinomial(const arma::Row<double>& counts, double a, double b) {
  return counts(1) * a + counts(2) * b - arma::accu(counts) * std::log(1.0 + std::exp(a) + std::exp(b));
}

/// Rows in three groups with the given counts of categories: row g of `counts` has x = g - 1.
struct Grouped {
  World world;
  sem::nominal_codes codes;
  arma::Mat<double> counts;
  LoneEstimator estimator;

  Grouped(const arma::Mat<double>& table, double unit, double shift, std::uint32_t seed)
      : world(1, {{static_cast<unsigned>(arma::accu(table))}}, seed), counts(table), estimator(seed) {
    codes = add_codes(world, {2.0, 1.0, 3.0});
    arma::Col<arma::uword> categories(world.data.n_rows);
    arma::uword i = 0;
    for (arma::uword g = 0; g < table.n_rows; ++g)
      for (arma::uword k = 0; k < 3; ++k)
        for (double n = 0; n < table(g, k); ++n, ++i) {
          categories(i) = k;
          world.data(i, 2) = shift + unit * (static_cast<double>(g) - 1.0);
        }
    write_categories(world, 0, 1, codes, categories);
  }

  /// Means and mean squares of the coefficients, those of a code side by side, lie within five standard
  /// errors of the exact ones.
  void expect_moments(const arma::Col<arma::uword>& x, const grid_moments& exact, arma::uword n) {
    ASSERT_LT(exact.at_edges, 1e-4);
    Nominal model(&estimator, logistic(world.setup(0, x), prior_variance), codes);
    for (int t = 0; t < 500; ++t) model.draw(world.data);
    arma::Mat<double> draws(exact.mean.n_elem, n);
    for (arma::uword t = 0; t < n; ++t) {
      model.draw(world.data);
      draws.col(t) = model.params();
    }
    for (arma::uword j = 0; j < draws.n_rows; ++j) {
      const arma::rowvec b = draws.row(j), squares = b % b;
      EXPECT_NEAR(arma::mean(b), exact.mean(j), 5.0 * mean_error(b)) << j;
      EXPECT_NEAR(arma::mean(squares), exact.square(j), 5.0 * mean_error(squares)) << j;
      EXPECT_LT(mean_error(b), 0.1 * arma::stddev(b)) << j;
    }
  }
};

// The last category has three rows.
TEST(NominalPosterior, OfInterceptsIsThatOfTheGrid) {
  Grouped data(arma::Mat<double>{{14.0, 20.0, 3.0}}, 1.0, 0.0, 191);
  const auto log_density = [&](const arma::Col<double>& b) {
    return log_multinomial(data.counts.row(0), b(0), b(1)) - 0.5 * arma::dot(b, b) / prior_variance;
  };
  data.expect_moments({0}, {log_density, {0.36, -1.5}, {3.0, 4.5}, 201}, 60000);
}

TEST(NominalPosterior, OfInterceptsAndSlopesIsThatOfTheGrid) {
  Grouped data({{6.0, 3.0, 1.0}, {4.0, 5.0, 3.0}, {2.0, 4.0, 6.0}}, 1.0, 0.0, 192);
  const auto log_density = [&](const arma::Col<double>& b) {
    double sum = -0.5 * arma::dot(b, b) / prior_variance;
    for (arma::uword g = 0; g < 3; ++g) {
      const double x = static_cast<double>(g) - 1.0;
      sum += log_multinomial(data.counts.row(g), b(0) + x * b(1), b(2) + x * b(3));
    }
    return sum;
  };
  data.expect_moments({0, 2}, {log_density, {0.1, 0.5, -0.4, 1.2}, {2.6, 3.2, 2.8, 3.8}, 33}, 60000);
}

// A predictor with the mean 10 in another unit, for which the prior N(0, 5) of its coefficients is another.
TEST(NominalPosterior, IsThatOfTheGridInOtherUnitsOfThePredictor) {
  for (double unit : {0.05, 1000.0}) {
    const double shift = 10.0 * unit;
    Grouped data({{9.0, 3.0, 1.0}, {4.0, 5.0, 3.0}, {2.0, 4.0, 8.0}}, unit, shift, 193);
    const auto log_density = [&](const arma::Col<double>& b) {
      double sum = -0.5 * arma::dot(b, b) / prior_variance;
      for (arma::uword g = 0; g < 3; ++g) {
        const double x = shift + unit * (static_cast<double>(g) - 1.0);
        sum += log_multinomial(data.counts.row(g), x * b(0), x * b(1));
      }
      return sum;
    };
    const double sd = 0.36 / shift;
    data.expect_moments({2}, {log_density, {0.05 / shift, 0.2 / shift}, {8.0 * sd, 8.0 * sd}, 301}, 40000);
  }
}

// A label is one coefficient for all categories, with the prior of one.
TEST(NominalPosterior, OfALabelledSlopeIsThatOfTheGrid) {
  const arma::Mat<double> counts = {{6.0, 3.0, 1.0}, {4.0, 5.0, 3.0}, {2.0, 4.0, 6.0}};
  const Grouped rows(counts, 1.0, 0.0, 194);
  const small_run run({"g", "x"}, rows.world.data.cols(1, 2), {}, {"g ~ x@a"}, {"b = 2*a"}, {}, {}, {"g=2"});
  const auto chain = run.chain(Random(194, 1));
  const grid_moments exact(
      [&](const arma::Col<double>& b) {
        double sum = -0.5 * arma::dot(b, b) / prior_variance;
        for (arma::uword g = 0; g < 3; ++g) {
          const double fit = (static_cast<double>(g) - 1.0) * b(1);
          sum += log_multinomial(counts.row(g), b(0) + fit, b(2) + fit);
        }
        return sum;
      },
      {0.1, 0.8, -0.1}, {2.6, 3.0, 2.6}, 61);
  ASSERT_LT(exact.at_edges, 1e-4);
  for (int t = 0; t < 1000; ++t) {
    chain->oneRep();
    if (t % 50 == 49) chain->tune();
  }
  const arma::mat all = draws(*chain, 0, 60000);
  ASSERT_EQ(all.n_rows, 9U);  // intercept, slope, two odds ratios for each code, b
  EXPECT_TRUE(arma::approx_equal(all.row(1), all.row(5), "absdiff", 0.0));
  EXPECT_TRUE(arma::approx_equal(2.0 * all.row(1), all.row(8), "absdiff", 1e-12));
  const arma::mat found = all.rows(arma::Col<arma::uword>{0, 1, 4});
  for (arma::uword j = 0; j < 3; ++j) {
    const arma::rowvec b = found.row(j), squares = b % b;
    EXPECT_NEAR(arma::mean(b), exact.mean(j), 5.0 * mean_error(b)) << j;
    EXPECT_NEAR(arma::mean(squares), exact.square(j), 5.0 * mean_error(squares)) << j;
  }
}

}  // namespace
}  // namespace tovik::tests::nominal_kernel_test
