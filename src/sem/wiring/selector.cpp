#include "sem/wiring/selector.hpp"

#include "support/error.hpp"

namespace tovik::sem::estimator {

selector::selector(const arma::Col<arma::uword>& ids, arma::uword n_clusters)
    : start(n_clusters, 0), count(n_clusters, 0), index(ids.n_elem) {
  arma::uword next = 0;  // the first cluster not seen yet
  for (arma::uword i = 0; i < ids.n_elem; ++i) {
    index(i) = i;
    if (ids(i) == next && next < n_clusters) {
      start[next] = static_cast<unsigned>(i);
      ++next;
    } else if (next == 0 || ids(i) != next - 1) {
      throw error_debug("Rows are not sorted by cluster.");
    }
    ++count[next - 1];
  }
  if (next != n_clusters) throw error_debug("A cluster has no rows.");
}

arma::Col<arma::uword> selector::operator[](arma::uword k) const {
  return arma::Col<arma::uword>(const_cast<arma::uword*>(index.memptr()) + start[k], count[k], false, true);
}

}  // namespace tovik::sem::estimator
