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

  /// The units of the given clusters, one cluster after another, into the front of `out`, which grows where
  /// it has no room. Returns their number.
  arma::uword list_units(const arma::Col<arma::uword>& clusters, std::vector<arma::uword>& out) const;
  /// out[k] += the sum over the units of the k-th of the clusters; `each`: values in the order of
  /// list_units().
  void add_sums(const arma::Col<arma::uword>& clusters, const double* each, double* out) const;
  /// The sum over the units of each cluster of a value per unit.
  arma::Col<double> sums(const arma::Col<double>& values) const;

  arma::uword size() const { return start.size(); }
  /// Units in all clusters.
  arma::uword n_units() const { return index.n_elem; }
};

}  // namespace tovik::sem::estimator
