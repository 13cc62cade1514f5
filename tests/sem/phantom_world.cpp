#include "sem/phantom_world.hpp"

#include <cmath>

namespace tovik::tests {

bool leaves_variance(arma::Mat<double> S, const std::vector<sem::phantom_term>& terms,
                     const std::vector<double>& rhos) {
  const arma::Col<double> diagonal = S.diag();
  for (std::size_t k = 0; k < terms.size(); ++k)
    S(terms[k].effect, terms[k].effect) -= std::fabs(rhos[k]) * diagonal(terms[k].effect);
  arma::Mat<double> root;
  return arma::chol(root, S);
}

arma::Mat<double> dense_loadings(const arma::Mat<double>& S, const std::vector<sem::phantom_term>& terms,
                                 const std::vector<double>& rhos) {
  arma::Mat<double> out(S.n_rows, terms.size(), arma::fill::zeros);
  for (std::size_t k = 0; k < terms.size(); ++k) {
    const double sign = terms[k].signed_side && rhos[k] < 0.0 ? -1.0 : rhos[k] == 0.0 ? 0.0 : 1.0;
    out(terms[k].effect, k) = sign * std::sqrt(std::fabs(rhos[k]) * S(terms[k].effect, terms[k].effect));
  }
  return out;
}

}  // namespace tovik::tests
