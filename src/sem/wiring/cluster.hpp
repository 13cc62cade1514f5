#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <vector>

#include "sem/wiring/selector.hpp"

namespace tovik::sem::estimator {

/// The cluster structure of one outcome. The outcome's units are the rows of the working matrix when its
/// level is 0, and the clusters of its level otherwise; vectors below that say "per level" have one entry for
/// each level above the outcome's own, the nearest first. A value: copies share what they point to.
class cluster {
 public:
  /// No level above, one unit per row.
  cluster() = default;

  /// The structure above an outcome at `level`. For every level of the data from 0 (the rows) up: `units`,
  /// the unit of each row of the working matrix, numbered from 0 in row order, and `first_rows`, the first
  /// row of each unit. Rows are sorted so that units of every level are ranges of rows. The columns must
  /// outlive the result. Throws error_debug when units are not nested ranges.
  cluster(unsigned level, const std::vector<const arma::Col<arma::uword>*>& units,
          const std::vector<const arma::Col<arma::uword>*>& first_rows);

  /// Per level, the cluster of each of the outcome's units.
  std::vector<const arma::Col<arma::uword>*> row_cluster;
  /// Entry 0: the row of the working matrix that stands for each unit of the outcome (its first row). Entry
  /// L + 1: the same for the clusters of the L-th level above. Empty for a default object.
  std::vector<const arma::Col<arma::uword>*> own_rows;
  /// Per level, the number of clusters.
  std::vector<const std::uint32_t*> n_cluster;
  /// Per level, the outcome's units in each cluster.
  std::vector<const selector*> selectors;
  /// For an outcome above level 0: the rows of the working matrix of each of its units; null at level 0.
  const selector* rows = nullptr;

  unsigned n_levels() const { return static_cast<unsigned>(n_cluster.size()); }
  arma::uword n_clusters(int level) const { return *n_cluster[static_cast<std::size_t>(level)]; }

  /// The outcome's units in cluster `cluster` of the level-th level above: a view.
  arma::Col<arma::uword> sel(int level, int cluster) const;
  /// The row of the working matrix that stands for that cluster: its first.
  arma::uword sel0(int level, int cluster) const;

 private:
  struct storage;
  std::shared_ptr<const storage> storage_;
};

}  // namespace tovik::sem::estimator
