#pragma once

#include <armadillo>
#include <vector>

namespace tovik::sem {

class working_data;

/// The levels at which a variable varies, from its own up, and how their units nest: level(0) is the
/// variable's own level, level(q) the q-th of those above at which it has a deviation. Levels of the data in
/// between are passed over. Levels count from 0, the rows, upwards.
class unit_chain {
 public:
  /// `own`: the variable's level. `deviates[d]`: whether it has a deviation d levels above its own; entry 0
  /// is taken as true. The working data must outlive the chain.
  unit_chain(const working_data& working, unsigned own, const std::vector<bool>& deviates);

  /// m: the number of levels above the own one.
  unsigned n_above() const { return static_cast<unsigned>(levels_.size() - 1); }
  unsigned level(unsigned q) const { return levels_[q]; }
  /// The place in the chain of the level that lies d above the variable's own. Throws error_debug if the
  /// variable has no deviation there.
  unsigned place(unsigned d) const;
  arma::uword n_units(unsigned q) const { return n_units_[q]; }
  /// For q < n_above(): the unit of level(q + 1) that holds each unit of level(q).
  const arma::Col<arma::uword>& parent(unsigned q) const { return parents_[q]; }
  /// For q > 0: how many units of level(q - 1) each unit of level(q) holds. Throws error_debug for q = 0.
  const arma::Col<arma::uword>& n_children(unsigned q) const;

 private:
  std::vector<unsigned> levels_;
  std::vector<int> place_;  ///< by distance from the own level; -1 without a deviation
  std::vector<arma::uword> n_units_;
  std::vector<arma::Col<arma::uword>> parents_, n_children_;
};

/// A column of values taken apart along a chain of levels by unweighted means: the mean of a unit is that of
/// the units directly below it in the chain, the grand mean that of the highest units, and every score less
/// the mean above it is a deviation. Missing values and units without an observed one are passed over.
class manifest_scores {
 public:
  /// `values`: one for each unit of chain.level(0).
  manifest_scores(const unit_chain& chain, const arma::Col<double>& values);

  /// One value for each unit of chain.level(q); NaN for units without an observed value.
  const arma::Col<double>& deviation(unsigned q) const { return deviations_[q]; }
  /// True if the deviations are constant up to rounding: their mean square is no part worth speaking of of
  /// that of the values around their mean.
  bool is_constant(unsigned q) const;

 private:
  std::vector<arma::Col<double>> deviations_;
  double total_ = 0.0;
};

}  // namespace tovik::sem
