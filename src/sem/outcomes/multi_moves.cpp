// Moves of several members of a block together (see factor_moves).

#include "sem/outcomes/multi.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

// With h_j the column of member j, the residuals are e_j - t h_j: the precision sum_jk Omega_jk h_j'h_k and
// the linear term sum_jk Omega_jk h_j'e_k.
Regression::told Multi::told_of_change(const arma::Mat<double>& data,
                                       const std::vector<arma::Col<double>>& change) {
  Regression::told out = {0.0, 0.0};
  bool changes = false;
  for (const arma::Col<double>& column : change) changes = changes || !column.is_empty();
  if (!changes) return out;
  const arma::Mat<double>& e = residuals(data);
  for (arma::uword j = 0; j < size(); ++j) {
    if (change[j].is_empty()) continue;
    for (arma::uword k = 0; k < size(); ++k) {
      if (Omega_(j, k) == 0.0) continue;
      out.d += Omega_(j, k) * scan::dot(n_units_, change[j].memptr(), e.colptr(k));
      if (!change[k].is_empty())
        out.q += Omega_(j, k) * scan::dot(n_units_, change[j].memptr(), change[k].memptr());
    }
  }
  return out;
}

void Multi::scale_member(unsigned position, double g) {
  Sigma_.row(position) *= g;
  Sigma_.col(position) *= g;
  if (!refresh()) throw numeric_error::not_positive_definite();
  tell_members();
}

// A variance with q covariances brings the Jacobian g^(q + 2), and with p members the priors are |Sigma|^-(p
// + 1) exp(-tr(D inv(Sigma)) / 2), flat, and |Sigma|^-(p + 1)/2.
Multi::scale_prior Multi::prior_of_scale(unsigned position) {
  const double p = static_cast<double>(size()), q = static_cast<double>(n_free(position));
  switch (prior()) {
    case 1:
      return {q + 2.0 - 2.0 * (p + 1.0), scales()(position) * Omega_(position, position)};
    case 2:
      return {q + 2.0, 0.0};
    case 3:
      return {q + 2.0 - (p + 1.0), 0.0};
    default:
      throw error_debug("Unknown prior for a variance.");
  }
}

}  // namespace tovik::sem
