#include "results/summary_row.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "results/chisq_upper.hpp"

namespace tovik::summary_row_test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

TEST(ChisqUpper, TailsAndArgumentsWithoutValue) {
  EXPECT_NEAR(chisq_upper(3.841458820694124, 1), 0.05, 1e-12);
  EXPECT_NEAR(chisq_upper(5.991464547107979, 2), 0.05, 1e-12);
  EXPECT_EQ(chisq_upper(0.0, 3), 1.0);
  EXPECT_EQ(chisq_upper(inf, 3), 0.0);
  EXPECT_EQ(chisq_upper(1e300, 1), 0.0);
  EXPECT_TRUE(std::isnan(chisq_upper(1.0, 0)));
  EXPECT_TRUE(std::isnan(chisq_upper(-999.0, 2)));
  EXPECT_TRUE(std::isnan(chisq_upper(nan, 2)));
  EXPECT_TRUE(std::isnan(chisq_upper(1.0, nan)));
}

/// Selection against a full sort, over sizes around the borders and data with ties.
TEST(SummaryRow, QuantilesAgreeWithTheSortedSample) {
  std::mt19937 engine(99);
  std::normal_distribution<double> normal;
  const std::vector<double> p = {0.975, 0.0, 0.5, 0.025, 1.0, 0.25, 0.005, 0.75, 0.995};
  for (const std::size_t n : {1u, 2u, 3u, 5u, 17u, 100u, 1001u, 4096u, 50000u}) {
    for (const bool ties : {false, true}) {
      std::vector<double> x(n);
      for (double& value : x) value = ties ? std::round(normal(engine)) : normal(engine);
      std::vector<double> sorted = x;
      std::sort(sorted.begin(), sorted.end());
      const std::vector<double> q = summary_row::quantiles(x.data(), n, p);
      for (std::size_t k = 0; k < p.size(); ++k) {
        const double position = static_cast<double>(n) * p[k] - 0.5;  // from 0
        double expected = sorted.front();
        if (position >= static_cast<double>(n - 1)) {
          expected = sorted.back();
        } else if (position > 0) {
          const auto at = static_cast<std::size_t>(position);
          expected = sorted[at] + (position - static_cast<double>(at)) * (sorted[at + 1] - sorted[at]);
        }
        EXPECT_NEAR(q[k], expected, 1e-12) << n << " " << p[k];
      }
      std::sort(x.begin(), x.end());
      EXPECT_EQ(x, sorted) << "selection lost values";
    }
  }
}

}  // namespace
}  // namespace tovik::summary_row_test
