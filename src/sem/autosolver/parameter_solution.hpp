#pragma once

#include <memory>
#include <vector>

#include "sem/autosolver/solution.hpp"

namespace tovik::sem::autosolver {

/// The unknown is a labelled parameter: A is the sum of the data columns whose coefficient it is, and of the
/// coefficient of each computed term that reads it times what it is multiplied with there.
class _parameter_solution : public virtual _solution {
 public:
  /// Throws error_debug "Parameter is not correctly set." unless the target is a "#VAR", and "Indicators must
  /// be same length.".
  _parameter_solution(std::shared_ptr<evaluate::node> target, arma::Col<arma::uword> positions,
                      arma::Col<arma::uword> columns);

  /// The tree is the product with the parameter. Of one without it, A takes the values where the parameter is
  /// their coefficient (computation::one), and nothing otherwise.
  _solution& operator+=(const computation& term) override;
  /// Throws error_debug: a parameter has no column.
  arma::uword indicator() const override;
  arma::Col<arma::uword> indicators() const override { return positions; }
  void A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
            const arma::Col<arma::uword>* rows, double* out) const override;
  /// The same in every row.
  double value(const arma::Mat<double>& data, arma::uword row) const override;
  void values_at(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                 double* out) const override;

  std::shared_ptr<evaluate::node> target;
  arma::Col<arma::uword> positions, columns;
  std::vector<computation> computations, cofactors;

 private:
  mutable std::vector<double> term_;  ///< a chain is one thread
};

}  // namespace tovik::sem::autosolver
