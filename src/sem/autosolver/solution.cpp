#include "sem/autosolver/solution.hpp"

#include <algorithm>

#include "sem/autosolver/constant_solution.hpp"
#include "sem/autosolver/multivariate_solution.hpp"
#include "sem/autosolver/parameter_solution.hpp"
#include "sem/autosolver/product_solution.hpp"
#include "support/error.hpp"

namespace tovik::sem::autosolver {
namespace {

/// What `of` gives for each column of the coefficients, side by side.
template <class Of>
arma::Mat<double> by_column(arma::uword n_rows, const arma::Mat<double>& coefficients, Of of) {
  arma::Mat<double> out(n_rows, coefficients.n_cols);
  for (arma::uword j = 0; j < out.n_cols; ++j) out.col(j) = of(arma::Col<double>(coefficients.col(j)));
  return out;
}

}  // namespace

arma::Col<double> _solution::A_vec(const arma::Mat<double>& data,
                                   const arma::Col<double>& coefficients) const {
  arma::Col<double> out(data.n_rows);
  A_at(data, coefficients, nullptr, out.memptr());
  return out;
}

arma::Col<double> _solution::B_vec(const arma::Mat<double>& data,
                                   const arma::Col<double>& coefficients) const {
  arma::Col<double> out = A_vec(data, coefficients);
  for (arma::uword i = 0; i < out.n_elem; ++i) out(i) *= value(data, i);
  return out;
}

arma::Mat<double> _solution::A_mat(const arma::Mat<double>& data,
                                   const arma::Mat<double>& coefficients) const {
  return by_column(data.n_rows, coefficients, [&](const arma::Col<double>& b) { return A_vec(data, b); });
}

arma::Mat<double> _solution::B_mat(const arma::Mat<double>& data,
                                   const arma::Mat<double>& coefficients) const {
  return by_column(data.n_rows, coefficients, [&](const arma::Col<double>& b) { return B_vec(data, b); });
}

const solution& _solution::elem(const unsigned&) const {
  throw error_debug("The solution is that of one unknown.");
}

double _solution::value(const arma::Mat<double>& data, arma::uword row) const {
  return data(row, indicator());
}

void _solution::values_at(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                          double* out) const {
  const double* column = data.colptr(indicator());
  if (rows == nullptr) {
    std::copy_n(column, data.n_rows, out);
    return;
  }
  for (arma::uword k = 0; k < rows->n_elem; ++k) out[k] = column[(*rows)(k)];
}

solution solution::constant(unsigned position, unsigned column) {
  return solution(std::make_shared<_constant_solution>(position, column));
}

solution solution::product(const arma::Col<arma::uword>& positions, unsigned column) {
  return solution(std::make_shared<_product_solution>(positions, column));
}

solution solution::parameter(std::shared_ptr<evaluate::node> target, const arma::Col<arma::uword>& positions,
                             const arma::Col<arma::uword>& columns) {
  return solution(std::make_shared<_parameter_solution>(std::move(target), positions, columns));
}

solution solution::multivariate(const std::vector<solution>& parts, const std::vector<unsigned>& columns) {
  return solution(std::make_shared<_multivariate_solution>(parts, columns));
}

}  // namespace tovik::sem::autosolver
