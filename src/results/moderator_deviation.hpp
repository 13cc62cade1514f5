#pragma once

#include <armadillo>
#include <vector>

#include "results/simple_slopes.hpp"

namespace tovik::sem {

class working_data;

/// The standard deviation of a moderator in the current data of a chain, over the units of its own level:
///
///   centred at the grand mean:       sqrt(sum (x - mean)^2 / (n - 1)),
///   centred at cluster means m:      sqrt(sum (x - m)^2 / (n - J)) with the means of J clusters' units,
///                                    sqrt(sum (x - m)^2 / (n - 1)) with latent means.
///
/// A column that a model centres at latent means holds x - m itself, so that its squares are summed as they
/// are. The clusters are those of the level directly above. NaN without a degree of freedom.
class ModeratorDeviation {
 public:
  /// `working` must outlive the object.
  ModeratorDeviation(const deviation_source& source, const working_data& working);

  /// Takes the deviation from the data as they are now.
  void update();
  const double* value() const { return &value_; }

 private:
  double total();
  double within_clusters();
  double around_zero();
  double at(arma::uword column, arma::uword unit) const;

  const working_data* working_;
  deviation_source source_;
  unsigned level_;  ///< as the sampler counts
  std::vector<double> sums_;
  std::vector<double> counts_;
  double value_ = arma::datum::nan;
};

}  // namespace tovik::sem
