#pragma once

#include <armadillo>
#include <vector>

#include "sem/autosolver/normal.hpp"
#include "sem/wiring/autosolver_fwd.hpp"

namespace tovik::sem::autosolver {

/// The full conditional distribution of an unknown, as the product of what each equation says of it. T is the
/// family of distributions.
template <class T>
class solver {
 public:
  std::vector<contribution<T>> functions;  ///< the unknown's own equation first
  Random* rng = nullptr;                   ///< outlives the solver

  /// At the current state of the models and these data.
  T distribution(const arma::Mat<double>& data) const {
    T out;
    for (const contribution<T>& add : functions) out = add(data, out);
    return out;
  }
  /// Values of the given units of the unknown.
  arma::Col<double> draw(const arma::Mat<double>& data, const arma::Col<arma::uword>& rows) const {
    return distribution(data).draw(rows, rng);
  }
};

}  // namespace tovik::sem::autosolver
