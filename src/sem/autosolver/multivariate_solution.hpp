#pragma once

#include <utility>
#include <vector>

#include "sem/autosolver/solution.hpp"

namespace tovik::sem::autosolver {

/// A variable of several columns, such as dummy codes: each has a solution of its own, and whoever wants A or
/// B asks that one. What only one unknown has throws error_debug "Multivariate solution does not have a ...".
class _multivariate_solution : public virtual _solution {
 public:
  _multivariate_solution(std::vector<solution> parts_, std::vector<unsigned> columns_)
      : parts(std::move(parts_)), columns(std::move(columns_)) {}

  arma::Col<double> B_vec(const arma::Mat<double>& data,
                          const arma::Col<double>& coefficients) const override;
  arma::Col<double> A_vec(const arma::Mat<double>& data,
                          const arma::Col<double>& coefficients) const override;
  arma::Mat<double> B_mat(const arma::Mat<double>& data,
                          const arma::Mat<double>& coefficients) const override;
  arma::Mat<double> A_mat(const arma::Mat<double>& data,
                          const arma::Mat<double>& coefficients) const override;
  _solution& operator+=(const computation& term) override;
  arma::uword indicator() const override;
  /// Those of all parts, one after another.
  arma::Col<arma::uword> indicators() const override;
  arma::uword size() const override { return parts.size(); }
  /// Throws error_debug when there is no such part.
  const solution& elem(const unsigned& i) const override;
  void A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
            const arma::Col<arma::uword>* rows, double* out) const override;
  double value(const arma::Mat<double>& data, arma::uword row) const override;

  std::vector<solution> parts;
  std::vector<unsigned> columns;  ///< of the data, one for each part
};

}  // namespace tovik::sem::autosolver
