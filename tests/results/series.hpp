#pragma once

#include <gtest/gtest.h>

#include <armadillo>
#include <cmath>
#include <vector>

namespace tovik::tests {

/// Two chains of 40 draws of four parameters: a trend, a periodic series, a chirp that behaves like noise,
/// and a constant. The values expected of them come from a separate program in another language.
inline std::vector<arma::Mat<double>> series() {
  std::vector<arma::Mat<double>> chains;
  for (const double c : {0.3, 1.1}) {
    arma::Mat<double> chain(4, 40);
    for (arma::uword k = 0; k < 40; ++k) {
      const double t = static_cast<double>(k) + 1.0;
      chain(0, k) = std::sin(1.7 * t + c) + 0.1 * t;
      chain(1, k) = std::sin(1.7 * t + c);
      chain(2, k) = 0.5 + std::cos(0.9 * t * t + c);
      chain(3, k) = 2.5;
    }
    chains.push_back(chain);
  }
  return chains;
}

inline arma::Mat<double> pooled() {
  const std::vector<arma::Mat<double>> chains = series();
  return arma::join_rows(chains[0], chains[1]);
}

/// Relative agreement; NaN agrees with NaN, infinity with infinity.
inline void expect_near(double actual, double expected, double tolerance = 1e-8) {
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(actual)) << actual;
  } else if (std::isinf(expected) || expected == 0.0) {
    EXPECT_EQ(actual, expected);
  } else {
    EXPECT_NEAR(actual, expected, tolerance * std::abs(expected));
  }
}

inline void expect_near(const arma::Mat<double>& actual, const std::vector<double>& expected) {
  ASSERT_EQ(actual.n_elem, expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(i);
    expect_near(actual(i), expected[i]);
  }
}

}  // namespace tovik::tests
