#pragma once

#include <utility>
#include <vector>

namespace tovik::model {

/// A linear hypothesis about the estimates: the sum of coefficient times row equals the constant. Constants
/// belong to contrasts: another contrast of the same row has its own.
struct contrast {
  std::vector<std::pair<unsigned, double>> rows;  ///< row of the estimates and its coefficient
  double constant = 0.0;                          ///< 0 unless has_constant
  bool has_constant = false;
};

}  // namespace tovik::model
