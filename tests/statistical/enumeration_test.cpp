// A long run on three rows against their posterior, found by going through everything: the missing binary x
// of one row is 0 or 1, and sums over a grid do for the three coefficients.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <vector>

#include "calibration/replicate.hpp"
#include "golden/sampled_run.hpp"
#include "statistical/posterior_check.hpp"

namespace tovik::tests::enumeration_test {
namespace {

/// Five standard deviations of the prior N(0, 5) on either side. The integrands are smooth and vanish at both
/// ends: sums with this step are integrals to many digits.
constexpr double end = 11.2, width = 0.05;
constexpr int points = 2 * static_cast<int>(end / width) + 1;

double at(int j) {
  return -end + width * j;
}

double cdf(double x) {
  return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

double prior(double b) {
  return std::exp(-0.5 * b * b / 5);
}

/// Weights of a grid of one coefficient.
struct marginal {
  std::array<double, points> weight{};

  double total() const {
    double sum = 0;
    for (double w : weight) sum += w;
    return sum;
  }
  void add(const marginal& other, double factor) {
    for (int j = 0; j < points; ++j) weight[j] += factor * other.weight[j];
  }
  /// The share below the middle between at(j) and at(j + 1).
  double below(int j) const {
    double sum = 0;
    for (int k = 0; k <= j; ++k) sum += weight[k];
    return sum / total();
  }
};

/// x ~ 1 and y ~ x as probits; (x, y) is (1, 1), (0, 0) and (x3, 1).
struct toy {
  marginal a, b0, b1;  ///< intercept of x; intercept and slope of y
  double x3 = 0;       ///< P(x3 = 1)

  toy() {
    std::array<marginal, 2> as, b0s, b1s;
    std::array<double, 2> weight{};
    for (int x = 0; x < 2; ++x) {
      for (int j = 0; j < points; ++j) {
        const double p = cdf(at(j));
        as[x].weight[j] = prior(at(j)) * p * (1 - p) * (x == 1 ? p : 1 - p);
        for (int k = 0; k < points; ++k) {
          const double zero = cdf(at(j)), one = cdf(at(j) + at(k));
          const double w = prior(at(j)) * prior(at(k)) * one * (1 - zero) * (x == 1 ? one : zero);
          b0s[x].weight[j] += w;
          b1s[x].weight[k] += w;
        }
      }
      weight[x] = as[x].total() * b0s[x].total();
      a.add(as[x], b0s[x].total());
      b0.add(b0s[x], as[x].total());
      b1.add(b1s[x], as[x].total());
    }
    x3 = weight[1] / (weight[0] + weight[1]);
  }
};

/// Shares of draws below points of the grid, within six standard errors.
void expect_marginal(const arma::Mat<double>& series, const marginal& exact, const char* what) {
  for (double p : {0.05, 0.25, 0.5, 0.75, 0.95}) {
    int j = 0;
    while (exact.below(j) < p) ++j;
    const arma::Mat<double> below = arma::conv_to<arma::Mat<double>>::from(series < at(j) + 0.5 * width);
    const double share = arma::accu(below) / static_cast<double>(below.n_elem);
    const double q = exact.below(j), error = 6 * std::sqrt(q * (1 - q) / effective(below));
    EXPECT_NEAR(share, q, error) << what << " at the quantile of " << p;
    EXPECT_LT(error, 0.05) << what << ": too few effective draws";
  }
}

TEST(Enumeration, OfABinaryPredictorOfABinaryOutcome) {
  const scratch_folder folder;
  calibration::write_data(folder.path() / "data.csv", {"x", "y"}, {{1, 1}, {0, 0}, {NAN, 1}});
  std::ofstream(folder.path() / "run.tovik")
      << "DATA: data.csv; SEED: 5; CHAINS: 2 processors 2; BURN: 4000; ORDINAL: x y;\n"
         "MODEL: x ~ 1; y ~ x; DEBUG: no_sort; OPTIONS: disable_dic disable_corrs;\n"
         "NIMPS: 4000; ITERATIONS: 200000; SAVE: stacked = imps.csv;\n";
  const sampled_run run = sample(folder.path() / "run.tovik");
  const toy exact;
  const Summary draws = run.group->iterations();
  expect_marginal(draws_of(draws, 1), exact.a, "x: 1");
  expect_marginal(draws_of(draws, 5), exact.b0, "y: 1");
  expect_marginal(draws_of(draws, 6), exact.b1, "y: x");

  const std::vector<arma::Mat<double>>& sets = run.input->imputations;
  arma::Mat<double> ones(sets.size() - 1, 1);  // the first set is the incomplete data
  for (arma::uword k = 0; k < ones.n_rows; ++k) ones(k, 0) = sets[k + 1](2, 0);
  ASSERT_EQ(ones.n_rows, 4000U);
  const double error = 6 * std::sqrt(exact.x3 * (1 - exact.x3) / effective(ones));
  EXPECT_NEAR(arma::mean(ones.col(0)), exact.x3, error);
  EXPECT_LT(error, 0.06);
  // Without the outcome's part, one 1 and one 0 would make it 1/2.
  EXPECT_GT(std::abs(exact.x3 - 0.5), 2 * error);
}

}  // namespace
}  // namespace tovik::tests::enumeration_test
