#pragma once

#include <armadillo>
#include <vector>

#include "sem/predictors/unit_chain.hpp"

namespace tovik::sem {

/// A column of values taken apart along a chain of levels by unweighted means: the mean of a unit is that of
/// the units directly below it in the chain, the grand mean that of the highest units, and every score less
/// the mean above it is a deviation. Missing values and units without an observed one are passed over.
class manifest_scores {
 public:
  /// `values`: one for each unit of chain.level(0).
  manifest_scores(unit_chain const& chain, arma::Col<double> const& values);

  /// One value for each unit of chain.level(q); NaN for units without an observed value.
  arma::Col<double> const& deviation(unsigned q) const { return deviations_[q]; }
  /// True if the deviations are constant up to rounding: their mean square is no part worth speaking of of
  /// that of the values around their mean.
  bool is_constant(unsigned q) const;

 private:
  std::vector<arma::Col<double>> deviations_;
  double total_ = 0.0;
};

}  // namespace tovik::sem
