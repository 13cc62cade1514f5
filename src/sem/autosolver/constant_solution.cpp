#include "sem/autosolver/constant_solution.hpp"

#include <algorithm>

#include "support/error.hpp"

namespace tovik::sem::autosolver {

_solution& _constant_solution::operator+=(const computation&) {
  throw error_debug("Constant solution does not have computations.");
}

void _constant_solution::A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
                              const arma::Col<arma::uword>* rows, double* out) const {
  std::fill_n(out, rows == nullptr ? data.n_rows : rows->n_elem, coefficients(position));
}

}  // namespace tovik::sem::autosolver
