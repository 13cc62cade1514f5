#include "sem/autosolver/sum_computations.hpp"

namespace tovik::sem::autosolver {

void add_computations(const std::vector<computation>& computations, const arma::Mat<double>& data,
                      const arma::Mat<double>& coefficients, const arma::Col<arma::uword>* rows,
                      std::vector<double>& scratch, double* out) {
  arma::uword const n = rows == nullptr ? data.n_rows : rows->n_elem;
  if (scratch.size() < n) scratch.resize(n);
  for (const computation& term : computations) {
    if (term.coefficient == computation::none) continue;
    const double b =
        term.coefficient == computation::one ? 1.0 : coefficients(static_cast<arma::uword>(term.coefficient));
    term.values.eval(data, rows, scratch.data());
    for (arma::uword i = 0; i < n; ++i) out[i] += b * scratch[i];
  }
}

}  // namespace tovik::sem::autosolver
