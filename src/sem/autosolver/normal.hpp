#pragma once

#include <armadillo>
#include <cmath>
#include <utility>

#include "random/random.hpp"
#include "support/error.hpp"

namespace tovik::sem::autosolver {

/// A normal distribution for each unit of a variable; units are independent. An empty one stands for no
/// information, where a product of contributions begins.
class normal {
 public:
  normal() = default;
  /// Throws error_debug when the lengths differ.
  normal(arma::Col<double> mean_, arma::Col<double> variance_)
      : mean(std::move(mean_)), variance(std::move(variance_)) {
    if (mean.n_elem != variance.n_elem) throw error_debug("Distribution Mean and Variance not same elements");
  }
  /// One variance for all units.
  normal(arma::Col<double> mean_, double variance_) : mean(std::move(mean_)) {
    variance.set_size(mean.n_elem);
    variance.fill(variance_);
  }

  /// A value for each of the given units: one standard normal each, in their order.
  arma::Col<double> draw(const arma::Col<arma::uword>& rows, Random* rng) const {
    arma::Col<double> out(rows.n_elem);
    rng->fill_randn(out.memptr(), out.n_elem);
    for (arma::uword k = 0; k < rows.n_elem; ++k)
      out(k) = mean(rows(k)) + std::sqrt(variance(rows(k))) * out(k);
    return out;
  }

  arma::Col<double> mean, variance;
};

}  // namespace tovik::sem::autosolver
