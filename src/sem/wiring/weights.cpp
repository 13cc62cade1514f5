#include "sem/wiring/weights.hpp"

namespace tovik::sem::estimator {

weights::weights(const cluster& structure, const arma::Mat<double>& data, arma::uword column)
    : rows(data.col(column)) {
  if (structure.rows != nullptr) rows = rows.elem(*structure.own_rows[0]).eval();
  for (unsigned L = 0; L < structure.n_levels(); ++L) {
    arma::Col<double> sums(structure.n_clusters(static_cast<int>(L)), arma::fill::zeros);
    const auto& ids = *structure.row_cluster[L];
    for (arma::uword i = 0; i < rows.n_elem; ++i) sums(ids(i)) += rows(i);
    clusters.push_back(sums);
  }
}

}  // namespace tovik::sem::estimator
