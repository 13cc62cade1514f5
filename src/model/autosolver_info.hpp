#pragma once

#include <vector>

#include "model/distribution_type.hpp"

namespace tovik::model {

/// One equation in the plan of a solved conditional distribution: how the unknown stands in it.
struct autosolver_info {
  using distribution_type = sem::distribution_type;

  unsigned model = 0;               ///< index into the ModelList
  std::vector<unsigned> positions;  ///< among the coefficients, of the plain terms; of a phantom its place
  std::vector<unsigned> columns;    ///< among the columns of the computed fixed terms, of those that hold it
  distribution_type type = distribution_type::fixed;

  static autosolver_info variance(unsigned model) { return {model, {}, {}, distribution_type::variance}; }
};

}  // namespace tovik::model
