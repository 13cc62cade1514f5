#include "sem/scan/factor_density.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "random/densities.hpp"
#include "random/random.hpp"

namespace tovik::tests::factor_density_test {
namespace {

/// Differences of the density are those of n multivariate normals.
TEST(FactorDensity, IsThatOfTheOutcomesWithTheScoreIntegratedOut) {
  Random rng(15, 1);
  constexpr arma::uword n = 20, p = 4;
  arma::mat Z = rng.randn(n, p + 1);
  Z.cols(0, 2) += 3.0;
  sem::scan::factor_density density;
  density.set_products(Z.t() * Z, n);
  double first = 0.0, first_dense = 0.0;
  for (int state = 0; state < 20; ++state) {
    density.loadings = 2.0 * rng.randn(p, 1);
    density.variances = arma::exp(rng.randn(p, 1));
    density.variance = std::exp(rng.rnorm());
    const arma::mat V =
        density.variance * density.loadings * density.loadings.t() + arma::diagmat(density.variances);
    double dense = 0.0;
    for (arma::uword i = 0; i < n; ++i)
      dense += dmvnorm(Z.row(i).head(p) - Z(i, p) * density.loadings.t(), V);
    if (state == 0) {
      first = density.log_density();
      first_dense = dense;
    }
    EXPECT_NEAR(density.log_density() - first, dense - first_dense, 1e-9 * std::fabs(dense));
  }
}

TEST(FactorDensity, IsNothingWithoutAVariance) {
  sem::scan::factor_density density;
  density.set_products(arma::eye(3, 3), 5.0);
  density.loadings = {1.0, 1.0};
  density.variances = {1.0, 0.0};
  EXPECT_EQ(density.log_density(), -INFINITY);
  density.variances = {1.0, 1.0};
  EXPECT_TRUE(std::isfinite(density.log_density()));
  density.variance = -1.0;
  EXPECT_EQ(density.log_density(), -INFINITY);
}

}  // namespace
}  // namespace tovik::tests::factor_density_test
