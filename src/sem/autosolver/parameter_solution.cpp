#include "sem/autosolver/parameter_solution.hpp"

#include <algorithm>
#include <utility>

#include "sem/autosolver/sum_computations.hpp"
#include "support/error.hpp"

namespace tovik::sem::autosolver {

_parameter_solution::_parameter_solution(std::shared_ptr<evaluate::node> target_,
                                         arma::Col<arma::uword> positions_, arma::Col<arma::uword> columns_)
    : target(std::move(target_)), positions(std::move(positions_)), columns(std::move(columns_)) {
  if (target == nullptr || target->op != evaluate::operations::var)
    throw error_debug("Parameter is not correctly set.");
  if (positions.n_elem != columns.n_elem) throw error_debug("Indicators must be same length.");
}

_solution& _parameter_solution::operator+=(const computation& term) {
  computations.push_back(term);
  if (!term.tree->has(target.get())) {
    const int coefficient = term.coefficient == computation::one ? computation::one : computation::none;
    cofactors.emplace_back(std::shared_ptr<evaluate::node>(term.tree->copy()), coefficient);
    return *this;
  }
  std::shared_ptr<evaluate::node> cofactor = term.tree->copy();
  cofactor->remove(*target);
  cofactors.emplace_back(std::move(cofactor), term.coefficient);
  return *this;
}

arma::uword _parameter_solution::indicator() const {
  throw error_debug("A parameter has no column.");
}

void _parameter_solution::A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
                               const arma::Col<arma::uword>* rows, double* out) const {
  arma::uword const n = rows == nullptr ? data.n_rows : rows->n_elem;
  std::fill_n(out, n, 0.0);
  for (arma::uword j : columns) {
    const double* column = data.colptr(j);
    for (arma::uword i = 0; i < n; ++i) out[i] += column[rows == nullptr ? i : (*rows)(i)];
  }
  add_computations(cofactors, data, coefficients, rows, term_, out);
}

double _parameter_solution::value(const arma::Mat<double>&, arma::uword) const {
  return target->eval();
}

void _parameter_solution::values_at(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                                    double* out) const {
  std::fill_n(out, rows == nullptr ? data.n_rows : rows->n_elem, target->eval());
}

}  // namespace tovik::sem::autosolver
