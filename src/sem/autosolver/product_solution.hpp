#pragma once

#include <utility>
#include <vector>

#include "sem/autosolver/solution.hpp"

namespace tovik::sem::autosolver {

/// The unknown stands alone and in products: A is the sum of its coefficients, and of the coefficient of each
/// product times what the unknown is multiplied with there.
class _product_solution : public virtual _solution {
 public:
  _product_solution(arma::Col<arma::uword> positions_, unsigned column_)
      : positions(std::move(positions_)), column(column_) {}

  /// The tree is the cofactor of the unknown. Throws error_debug without a coefficient.
  _solution& operator+=(const computation& term) override;
  arma::uword indicator() const override { return column; }
  arma::Col<arma::uword> indicators() const override;
  void A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
            const arma::Col<arma::uword>* rows, double* out) const override;

  arma::Col<arma::uword> positions;       ///< of the coefficients where it stands alone
  unsigned column;                        ///< of the data
  std::vector<computation> computations;  ///< its cofactors

 private:
  mutable std::vector<double> term_;  ///< a chain is one thread
};

}  // namespace tovik::sem::autosolver
