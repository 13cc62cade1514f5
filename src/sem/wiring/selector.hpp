#pragma once

#include <armadillo>
#include <vector>

namespace tovik::sem::estimator {

/// The units that belong to each cluster. Units are sorted by cluster, so that a cluster is a range.
class selector {
 public:
  /// `ids`: the cluster of each unit, 0 .. n_clusters - 1, not decreasing, every cluster present. Throws
  /// error_debug otherwise.
  selector(const arma::Col<arma::uword>& ids, arma::uword n_clusters);

  std::vector<unsigned> start;   ///< first unit of each cluster
  std::vector<unsigned> count;   ///< units in each cluster
  arma::Col<arma::uword> index;  ///< the unit numbers; those of a cluster are adjacent

  /// The units of cluster k, a view that must not outlive the selector.
  arma::Col<arma::uword> operator[](arma::uword k) const;

  arma::uword size() const { return start.size(); }
  /// Units in all clusters.
  arma::uword n_units() const { return index.n_elem; }
};

}  // namespace tovik::sem::estimator
