#pragma once

#include <gtest/gtest.h>

#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <memory>
#include <vector>

#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/predictors/component.hpp"
#include "sem/predictors/level_scores.hpp"

namespace tovik::tests {

/// One level with p correlated predictors in the first columns and `dim` deviations that depend on them in
/// the next ones.
struct ComponentWorld {
  arma::Col<arma::uword> x, own;
  sem::level_scores level;
  std::shared_ptr<Random> rng;

  ComponentWorld(arma::uword n, arma::uword p, arma::uword dim, std::uint32_t seed)
      : x(p > 0 ? arma::regspace<arma::Col<arma::uword>>(0, p - 1) : arma::Col<arma::uword>()),
        own(arma::regspace<arma::Col<arma::uword>>(p, p + dim - 1)),
        level(n, p + dim, arma::regspace<arma::Col<arma::uword>>(0, p + dim - 1)),
        rng(std::make_shared<Random>(seed, 1U)) {
    Random data(seed, 9U);
    arma::mat W = data.randn(static_cast<int>(n), static_cast<int>(p));
    for (arma::uword j = 1; j < p; ++j) W.col(j) += 0.6 * W.col(j - 1);
    arma::mat Y = data.randn(static_cast<int>(n), static_cast<int>(dim));
    for (arma::uword k = 0; k < dim; ++k) {
      if (k > 0) Y.col(k) = 0.7 * Y.col(k) + 0.5 * Y.col(k - 1);
      if (p > 0) Y.col(k) += 0.5 * W.col(k % p);
    }
    if (p > 0) level.write(x, W);
    level.write(own, Y);
  }

  sem::component_setup setup(int prior, double gamma_prior = sem::component_setup::flat) const {
    sem::component_setup out;
    out.rng = rng;
    out.n_units = level.n_units();
    out.n_predictors = x.n_elem;
    out.dim = own.n_elem;
    out.prior = prior;
    out.gamma_prior = gamma_prior;
    return out;
  }

  arma::mat W() const { return level.data().cols(x); }
  arma::mat Y() const { return level.data().cols(own); }
};

/// Draws that should be independent standard normals, one column per coordinate.
class WhitenedDraws {
 public:
  void add(const arma::vec& z) {
    columns_.resize(z.n_elem);
    for (arma::uword j = 0; j < z.n_elem; ++j) columns_[j].push_back(z[j]);
  }
  /// Each test fails with probability 7e-6 when they are.
  void expect_standard_normal() const {
    for (std::size_t j = 0; j < columns_.size(); ++j) {
      EXPECT_LT(kolmogorov(columns_[j], [](double v) { return phi(v); }), 2.5) << "coordinate " << j;
      for (std::size_t k = 0; k < j; ++k) {
        double sum = 0.0;
        for (std::size_t i = 0; i < columns_[j].size(); ++i) sum += columns_[j][i] * columns_[k][i];
        EXPECT_LT(std::fabs(sum) / std::sqrt(static_cast<double>(columns_[j].size())), 4.5) << j << " " << k;
      }
    }
  }

 private:
  std::vector<std::vector<double>> columns_;
};

/// The distribution function of an inverse gamma with this shape and scale (of the variance).
inline double inverse_gamma_cdf(double x, double shape, double scale) {
  return boost::math::gamma_q(shape, scale / x);
}

/// The coefficients, one column after the other, in coordinates in which their conditional distribution is
/// standard normal: by the Kronecker form, dense.
inline arma::vec whiten_coefficients(const arma::mat& gamma, const arma::mat& W, const arma::mat& Y,
                                     const arma::mat& Sigma, double gamma_prior) {
  arma::mat const h = arma::inv(Sigma);
  arma::mat precision = arma::kron(h, W.t() * W);
  precision.diag() += 1.0 / gamma_prior;
  arma::vec const mean = arma::solve(precision, arma::vectorise(W.t() * Y * h));
  return arma::chol(precision) * (arma::vectorise(gamma) - mean);
}

}  // namespace tovik::tests
