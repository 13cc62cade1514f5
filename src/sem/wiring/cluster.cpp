#include "sem/wiring/cluster.hpp"

#include "support/error.hpp"

namespace tovik::sem::estimator {

/// What an outcome's structure needs beside the columns of the working data.
struct cluster::storage {
  std::vector<arma::Col<arma::uword>> row_cluster;
  std::vector<std::uint32_t> counts;
  std::vector<selector> selectors;
  std::vector<selector> rows;
};

cluster::cluster(unsigned level, const std::vector<const arma::Col<arma::uword>*>& units,
                 const std::vector<const arma::Col<arma::uword>*>& first_rows) {
  if (level >= units.size() || units.size() != first_rows.size())
    throw error_debug("The data have no such level.");
  auto store = std::make_shared<storage>();
  std::size_t const above = units.size() - level - 1;
  store->row_cluster.resize(above);
  store->selectors.reserve(above);
  const arma::Col<arma::uword>& own = *first_rows[level];
  own_rows.push_back(&own);
  for (std::size_t L = 0; L < above; ++L) {
    const arma::Col<arma::uword>& ids = *units[level + 1 + L];
    arma::uword const n = first_rows[level + 1 + L]->n_elem;
    if (level == 0) {
      row_cluster.push_back(&ids);
    } else {
      store->row_cluster[L] = ids.elem(own);
      row_cluster.push_back(&store->row_cluster[L]);
    }
    store->counts.push_back(static_cast<std::uint32_t>(n));
    store->selectors.emplace_back(*row_cluster.back(), n);
    own_rows.push_back(first_rows[level + 1 + L]);
  }
  if (level > 0) store->rows.emplace_back(*units[level], own.n_elem);
  for (const auto& count : store->counts) n_cluster.push_back(&count);
  for (const auto& s : store->selectors) selectors.push_back(&s);
  if (level > 0) rows = &store->rows.front();
  storage_ = std::move(store);
}

arma::Col<arma::uword> cluster::sel(int level, int cluster) const {
  return (*selectors[static_cast<std::size_t>(level)])[static_cast<arma::uword>(cluster)];
}

arma::uword cluster::sel0(int level, int cluster) const {
  return (*own_rows[static_cast<std::size_t>(level) + 1])(static_cast<arma::uword>(cluster));
}

}  // namespace tovik::sem::estimator
