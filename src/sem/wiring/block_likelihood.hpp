#pragma once

#include <armadillo>

namespace tovik::sem::estimator {

/// How a model evaluates the log likelihoods of its units at several draws of a chain together. A draw is
/// kept as the few numbers on which the likelihood depends; the units are passed over once for all of them, a
/// range at a time, so that the room this takes does not grow with their number.
class block_likelihood {
 public:
  virtual ~block_likelihood() = default;

  /// The current state of the model is the next draw.
  virtual void keep() = 0;
  /// Adds the log likelihood of the units first, ..., first + n - 1 at each draw that was kept: `out` is n x
  /// draws, its columns one after the other. A unit whose outcome was not observed adds nothing.
  virtual void add(arma::uword first, arma::uword n, double* out) = 0;
  /// Forgets the draws.
  virtual void clear() = 0;
};

}  // namespace tovik::sem::estimator
