#pragma once

#include <armadillo>
#include <cstdint>
#include <functional>

#include "sem/wiring/cluster.hpp"

namespace tovik::sem::estimator {

/// What follows from an imputed column and has to be written again when it changes: a centred copy, means.
class covariate_link {
 public:
  /// Writes the columns that follow from x into the data.
  using writer = std::function<void(arma::Col<double> const& x, arma::Mat<double>& data)>;
  /// Computes one derived column from x.
  using derived = std::function<arma::Col<double>(arma::Col<double> const& x)>;

  writer fun;
  derived mean_fun;               ///< may be empty
  std::uint32_t column = 0;       ///< the imputed variable
  std::uint32_t mean_column = 0;  ///< where the result of mean_fun goes

  /// From the given values, one per row of the data.
  void update(arma::Col<double> const& x, arma::Mat<double>& data) const;
  /// From the current content of `column`.
  void update(arma::Mat<double>& data) const;
  /// For a variable above level 0: the value at the first row of each of its units is spread over the rows of
  /// the unit first.
  void update(arma::Mat<double>& data, cluster const& structure) const;
};

}  // namespace tovik::sem::estimator
