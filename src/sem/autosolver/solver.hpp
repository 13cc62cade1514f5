#pragma once

#include <armadillo>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "sem/autosolver/inv_gamma.hpp"
#include "sem/autosolver/normal.hpp"
#include "sem/autosolver/normal_1D.hpp"
#include "sem/wiring/autosolver_fwd.hpp"
#include "support/error.hpp"

namespace tovik::sem::autosolver {

/// The full conditional distribution of an unknown, as the product of what each equation says of it. T is the
/// family of distributions: `normal` for the values of a variable, `normal_1D` for a coefficient, `inv_gamma`
/// for a variance. The contributions hold pointers to models: a solver must not outlive these.
template <class T>
class solver {
 public:
  std::vector<contribution<T>> functions;  ///< the unknown's own equation, or its prior, first
  Random* rng = nullptr;                   ///< outlives the solver
  /// Of a variable: the distribution is that of these units only, in their order; null: of all units.
  std::shared_ptr<const arma::Col<arma::uword>> units;

  /// At the current state of the models and these data.
  T distribution(const arma::Mat<double>& data) const { return fold(data); }
  /// The same where it is kept until the next call: without new room.
  const T& fold(const arma::Mat<double>& data) const {
    T state = emptied();
    for (const contribution<T>& add : functions) {
      if (!add) throw error_debug("A solver has an empty contribution.");
      state = add(data, std::move(state));
    }
    state_ = std::move(state);
    return state_;
  }

  /// Of a variable: a value for each unit of the distribution, or for the given of these.
  arma::Col<double> draw(const arma::Mat<double>& data) const { return fold(data).draw(rng); }
  arma::Col<double> draw(const arma::Mat<double>& data, const arma::Col<arma::uword>& rows) const {
    return fold(data).draw(rows, rng);
  }
  /// Of a parameter: a value; NaN without information.
  double draw_scalar(const arma::Mat<double>& data) const { return fold(data).draw(*rng); }

 private:
  T emptied() const {
    if constexpr (std::is_same_v<T, normal>) {
      state_.clear();
      return std::move(state_);
    } else {
      return {};
    }
  }

  mutable T state_;  ///< a chain is one thread
};

}  // namespace tovik::sem::autosolver
