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

arma::uword selector::list_units(const arma::Col<arma::uword>& clusters,
                                 std::vector<arma::uword>& out) const {
  arma::uword n = 0;
  for (arma::uword c : clusters) n += count[c];
  if (out.size() < n) out.resize(n);
  arma::uword at = 0;
  for (arma::uword c : clusters)
    for (arma::uword i = 0; i < count[c]; ++i) out[at++] = start[c] + i;
  return n;
}

void selector::add_sums(const arma::Col<arma::uword>& clusters, const double* each, double* out) const {
  for (arma::uword k = 0; k < clusters.n_elem; ++k) {
    double sum = 0.0;
    for (arma::uword i = count[clusters(k)]; i > 0; --i) sum += *each++;
    out[k] += sum;
  }
}

arma::Col<double> selector::sums(const arma::Col<double>& values) const {
  arma::Col<double> out(size());
  for (arma::uword c = 0; c < size(); ++c) {
    double sum = 0.0;
    for (arma::uword i = start[c]; i < start[c] + count[c]; ++i) sum += values(i);
    out(c) = sum;
  }
  return out;
}

}  // namespace tovik::sem::estimator
