#pragma once

namespace tovik::sem {

/// The default priors of variances. The code is 1, 2 or 3 and names pseudo degrees of freedom and a pseudo
/// sum of squares (one variance; p x p matrix): 1: 2 and 1; p + 1 and the identity. 2: -2 and 0; -(p + 1) and
/// 0. 3: 0 and 0; 0 and 0.
struct priors {
  int resvar = 2;  ///< residual variances
  int raneff = 2;  ///< covariance matrices of random effects
  /// The 1 of the first prior is the observed variance of the outcome, for the effect of a covariate that
  /// variance over the covariate's, and not one unit of the data squared.
  bool scaled = false;
};

}  // namespace tovik::sem
