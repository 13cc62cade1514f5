#pragma once

#include "sem/autosolver/solution.hpp"

namespace tovik::sem::autosolver {

/// The unknown stands alone as a predictor: A is its coefficient in every row.
class _constant_solution : public virtual _solution {
 public:
  _constant_solution(unsigned position_, unsigned column_) : position(position_), column(column_) {}

  /// Throws error_debug "Constant solution does not have computations.".
  _solution& operator+=(const computation& term) override;
  arma::uword indicator() const override { return column; }
  arma::Col<arma::uword> indicators() const override { return {position}; }
  void A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
            const arma::Col<arma::uword>* rows, double* out) const override;

  int only_position() const override { return static_cast<int>(position); }

  unsigned position;  ///< of the coefficient
  unsigned column;    ///< of the data
};

}  // namespace tovik::sem::autosolver
