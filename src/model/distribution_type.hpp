#pragma once

namespace tovik::sem {

/// How an unknown stands in an equation when its conditional distribution is solved.
enum class distribution_type : int {
  fixed = 0,     ///< a term of the equation
  compute = 1,   ///< inside a computed term
  phantom = 2,   ///< a phantom predictor
  param = 3,     ///< a labelled coefficient
  variance = 4,  ///< a labelled residual variance
};

}  // namespace tovik::sem
