#include "sem/autosolver/product_solution.hpp"

#include <algorithm>

#include "sem/autosolver/sum_computations.hpp"
#include "support/error.hpp"

namespace tovik::sem::autosolver {

_solution& _product_solution::operator+=(const computation& term) {
  if (term.coefficient < 0) throw error_debug("A product needs its coefficient.");
  computations.push_back(term);
  return *this;
}

arma::Col<arma::uword> _product_solution::indicators() const {
  arma::Col<arma::uword> out(positions.n_elem + computations.size());
  for (arma::uword k = 0; k < positions.n_elem; ++k) out(k) = positions(k);
  for (arma::uword k = 0; k < computations.size(); ++k)
    out(positions.n_elem + k) = static_cast<arma::uword>(computations[k].coefficient);
  return out;
}

void _product_solution::A_at(const arma::Mat<double>& data, const arma::Mat<double>& coefficients,
                             const arma::Col<arma::uword>* rows, double* out) const {
  double alone = 0.0;
  for (arma::uword p : positions) alone += coefficients(p);
  std::fill_n(out, rows == nullptr ? data.n_rows : rows->n_elem, alone);
  add_computations(computations, data, coefficients, rows, term_, out);
}

}  // namespace tovik::sem::autosolver
