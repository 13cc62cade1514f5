#pragma once

#include "support/error.hpp"

namespace tovik {

/// What a user is told when a negative binomial model cannot go on.
inline error negative_binomial_failure() {
  return error(
      "ERROR: The negative binomial outcome model ran into a computational error.\n"
      "       This often happens due to small sample sizes or the dispersion\n"
      "       parameter is empirically underidentified.");
}

}  // namespace tovik
