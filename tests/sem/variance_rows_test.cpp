#include "sem/outcomes/variance_rows.hpp"

#include <gtest/gtest.h>

namespace tovik::tests::variance_rows_test {

const arma::Col<double> quarters = {0.25, 0.5, 0.75};

TEST(VarianceRows, IndexQuantilesAndMean) {
  // Precisions 1, 1/2, 1/4: mean 7/12, variance 7/48.
  const arma::Col<double> rows = sem::variance_rows({1.0, 4.0, 2.0}, quarters);
  ASSERT_EQ(rows.n_elem, sem::n_variance_rows);
  EXPECT_NEAR(rows(0), (7.0 / 48) / (49.0 / 144), 1e-12);
  EXPECT_NEAR(rows(1), 1.25, 1e-12);
  EXPECT_NEAR(rows(2), 2.0, 1e-12);
  EXPECT_NEAR(rows(sem::mean_variance_row), 7.0 / 3, 1e-12);
  EXPECT_NEAR(rows(4), 3.5, 1e-12);
}

TEST(VarianceRows, EqualVariancesAreHomogeneous) {
  EXPECT_EQ(sem::variance_rows({3.0, 3.0}, quarters)(0), 0.0);
  EXPECT_EQ(sem::variance_rows({3.0}, quarters)(0), 0.0);
}

TEST(VarianceRows, ALostVarianceIsTold) {
  EXPECT_TRUE(sem::variance_rows({1.0, arma::datum::nan}, quarters).has_nan());
}

}  // namespace tovik::tests::variance_rows_test
