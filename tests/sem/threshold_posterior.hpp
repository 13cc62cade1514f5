#pragma once

#include <armadillo>
#include <cmath>
#include <functional>
#include <vector>

#include "random/densities.hpp"

/// Posteriors of thresholds by integration over grids, for comparison with chains.
namespace tovik::tests {

using units = arma::Col<arma::uword>;

/// Log likelihood of categories given thresholds, scores integrated out; units with a flag left out.
inline double log_likelihood(const arma::vec& tau, const units& categories, const arma::vec& mean,
                             const std::vector<char>& left_out = {}) {
  double sum = 0.0;
  for (arma::uword i = 0; i < categories.n_elem; ++i) {
    if (!left_out.empty() && left_out[i]) continue;
    arma::uword const k = categories[i];
    const double lower = k == 0 ? 0.0 : phi(tau[k - 1] - mean[i]);
    const double upper = k == tau.n_elem ? 1.0 : phi(tau[k] - mean[i]);
    sum += std::log(upper - lower);
  }
  return sum;
}

/// Distribution function of a density known up to a factor at equally spaced midpoints.
class GridCdf {
 public:
  GridCdf(double lower, double step, const arma::vec& density)
      : lower_(lower), step_(step), mass_(density / arma::accu(density)) {}
  double operator()(double x) const {
    const double at = (x - lower_) / step_;
    if (at <= 0.0) return 0.0;
    double sum = 0.0;
    for (arma::uword j = 0; j < mass_.n_elem; ++j) {
      const double jd = static_cast<double>(j);
      if (jd + 1.0 <= at)
        sum += mass_[j];
      else if (jd < at)
        sum += mass_[j] * (at - jd);
    }
    return std::min(1.0, sum);
  }

 private:
  double lower_, step_;
  arma::vec mass_;
};

inline const units categories_of_14 = {0, 1, 2, 1, 0, 2, 2, 1, 0, 1, 2, 0, 1, 1};

/// K = 2: the one free threshold given these means; `weight` multiplies the likelihood.
inline GridCdf threshold_posterior(const units& categories, const arma::vec& mean,
                                   const std::vector<char>& left_out,
                                   const std::function<double(const arma::vec&)>& weight) {
  const double step = 0.01;
  arma::vec density(600);
  for (arma::uword j = 0; j < density.n_elem; ++j) {
    arma::vec const tau = {0.0, (static_cast<double>(j) + 0.5) * step};
    density[j] = std::exp(log_likelihood(tau, categories, mean, left_out)) * weight(tau);
  }
  return {0.0, step, density};
}

inline double unweighted(const arma::vec&) {
  return 1.0;
}

/// Draws of one threshold, thinned so that they are nearly independent.
template <typename Step, typename Value>
std::vector<double> chain(int n, int thin, Step step, Value value) {
  std::vector<double> out;
  for (int i = 0; i < 50; ++i) step();
  for (int i = 0; i < n; ++i) {
    for (int k = 0; k < thin; ++k) step();
    out.push_back(value());
  }
  return out;
}

}  // namespace tovik::tests
