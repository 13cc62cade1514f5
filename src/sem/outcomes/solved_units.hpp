#pragma once

#include <armadillo>
#include <utility>
#include <vector>

namespace tovik::sem {

/// Those units of an equation that lie in the units of an unknown, and the rows of the data that stand for
/// them, with room for what the equation says there: of each, A, the value x of the unknown and e (see
/// autosolver::solution).
struct solved_units {
  arma::Col<arma::uword> units, rows;
  std::vector<arma::uword> counts;  ///< the size of each unit of the unknown in these; empty: one each
  bool all = false;                 ///< every unit of the equation
  bool every_row = false;           ///< and units are rows

  arma::Col<double> mu;
  std::vector<double> A, x, e;  ///< per unit
  std::vector<double> q, d;     ///< per unit of the unknown: precision, linear term

  /// `row_of`: the row of each unit; null: units are rows. `n`: units of the equation.
  solved_units(arma::Col<arma::uword> which, const arma::Col<arma::uword>* row_of, arma::uword n)
      : units(std::move(which)),
        rows(units),
        all(units.n_elem == n),
        every_row(all && row_of == nullptr),
        mu(units.n_elem),
        A(units.n_elem),
        x(units.n_elem),
        e(units.n_elem) {
    if (row_of == nullptr) return;
    for (arma::uword k = 0; k < units.n_elem; ++k) rows(k) = (*row_of)(units(k));
  }

  /// The rows of the units, null for every row.
  const arma::Col<arma::uword>* at_rows() const { return every_row ? nullptr : &rows; }
  /// Units of the unknown.
  std::size_t n() const { return counts.empty() ? units.n_elem : counts.size(); }

  /// q and d of every unit of the unknown from those of each of the units: `add(k, q, d)` adds what the k-th
  /// tells.
  template <class F>
  void sum(F add) {
    q.assign(n(), 0.0);
    d.assign(n(), 0.0);
    arma::uword k = 0;
    for (std::size_t c = 0; c < n(); ++c)
      for (arma::uword i = counts.empty() ? 1 : counts[c]; i > 0; --i, ++k) add(k, q[c], d[c]);
  }
};

}  // namespace tovik::sem
