#pragma once

#include <armadillo>
#include <vector>

#include "sem/predictors/variable.hpp"
#include "sem/wiring/covariate_link.hpp"

namespace tovik::sem {

/// The copy of an outcome that other equations read, less the means of its means-only model.
///
/// While the outcome's equation draws its missing values the means stand still: candidates are centred at
/// what take() has last read of the model.
class centered_copy {
 public:
  /// The model and the working data must outlive the copy.
  centered_copy(const Variable& owner, const working_data& working);
  centered_copy(const centered_copy&) = delete;
  centered_copy& operator=(const centered_copy&) = delete;

  /// The working-matrix column of the outcome.
  arma::uword column() const;
  /// Reads the centres, after the model's means have moved.
  void take();
  /// A link that writes the copy; this object must outlive it.
  estimator::covariate_link link() const;

 private:
  void write(const arma::Col<double>& x, arma::Mat<double>& out) const;

  const Variable& owner_;
  const arma::Col<arma::uword>& unit_of_row_;
  std::vector<double> categories_;  ///< of the dummy codes of a nominal outcome; else empty
  arma::Mat<double> centers_;       ///< units of the outcome x columns of the copy
};

}  // namespace tovik::sem
