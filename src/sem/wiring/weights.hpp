#pragma once

#include <armadillo>
#include <vector>

#include "sem/wiring/cluster.hpp"

namespace tovik::sem::estimator {

/// The sampling weights of the units of one level.
class weights {
 public:
  /// `column`: the column of the working matrix that holds the weights.
  weights(const cluster& structure, const arma::Mat<double>& data, arma::uword column);

  arma::Col<double> rows;                   ///< one weight per unit
  std::vector<arma::Col<double>> clusters;  ///< per level above, the sum of the weights of each cluster
};

}  // namespace tovik::sem::estimator
