#pragma once

#include <armadillo>
#include <cstdint>
#include <functional>

#include "sem/wiring/cluster.hpp"

namespace tovik::sem::estimator {

/// What follows from an imputed column and has to be written again whenever it changes, for a candidate as
/// for a value that stays: the centred copy that other equations read.
class covariate_link {
 public:
  /// Computes the derived columns (rows of the data x n_columns) from the values x, one for each row. A
  /// function of x alone as long as no mean moves.
  using derived = std::function<void(const arma::Col<double>& x, arma::Mat<double>& out)>;

  derived fun;
  std::uint32_t column = 0;       ///< the imputed variable
  std::uint32_t mean_column = 0;  ///< the first derived column
  std::uint32_t n_columns = 1;    ///< derived columns, side by side

  /// From the given values, one per row of the data.
  void update(const arma::Col<double>& x, arma::Mat<double>& data) const;
  /// From the current content of `column`.
  void update(arma::Mat<double>& data) const;
  /// For a variable above level 0: the value at the first row of each of its units is spread over the rows of
  /// the unit first.
  void update(arma::Mat<double>& data, const cluster& structure) const;
};

}  // namespace tovik::sem::estimator
