#pragma once

#include <armadillo>
#include <cstdint>
#include <vector>

namespace tovik::evaluate {

/// The rows of each cluster of an identifier column. Sorting the identifiers costs n log n once; every
/// statistic by cluster is then one pass over the rows.
class grouping {
 public:
  /// The cluster of a row whose identifier is missing.
  static constexpr std::uint32_t none = UINT32_MAX;

  /// The sorted distinct values of `id` are clusters 0, 1, ...; a missing identifier (NaN) belongs to none.
  explicit grouping(const arma::Col<double>& id);

  arma::uword rows() const { return id_.n_elem; }
  std::uint32_t clusters() const { return clusters_; }
  /// The cluster of each row, or `none`.
  const std::vector<std::uint32_t>& cluster() const { return cluster_; }
  /// `id` is the very column (bit by bit) that this was made from.
  bool is_of(const arma::Col<double>& id) const;

 private:
  arma::Col<double> id_;
  std::vector<std::uint32_t> cluster_;
  std::uint32_t clusters_ = 0;
};

}  // namespace tovik::evaluate
