#pragma once

#include <armadillo>
#include <vector>

#include "sem/wiring/acceptance.hpp"
#include "sem/wiring/likelihood.hpp"

namespace tovik::sem::scan {

/// The unknown values of a step on values, numbered 0, 1, ... in the order of their units, in groups that are
/// accepted together. Groups are numbered 0, 1, ... by their first value.
class value_groups {
 public:
  value_groups() = default;
  /// `units`: the units, rising, of the variable's `level` (0: rows) whose value is unknown.
  value_groups(arma::Col<arma::uword> units, unsigned level, const estimator::acceptance& together);

  const arma::Col<arma::uword>& units() const { return units_; }
  arma::uword n_values() const { return units_.n_elem; }
  arma::uword n_groups() const { return all_.n_elem; }
  arma::uword group_of(arma::uword value) const { return group_of_(value); }
  /// Every value, and every group: 0, 1, ...
  const arma::Col<arma::uword>& all_values() const { return values_; }
  const arma::Col<arma::uword>& all_groups() const { return all_; }
  /// The values of group g are values_of(begin(g)) .. values_of(begin(g + 1) - 1), rising.
  arma::uword begin(arma::uword g) const { return start_[g]; }
  arma::uword value_at(arma::uword position) const { return members_[position]; }

  /// out[j] := the sum of the list's contributions over the units that depend on the values of groups(j);
  /// `groups` rises. A contribution whose source is `without` is left out. NaN where an expression has no
  /// value at the data.
  void density(const estimator::likelihood& list, const void* without, const arma::Mat<double>& data,
               const arma::Col<arma::uword>& groups, double* out) const;

 private:
  void number_groups(const estimator::acceptance& together);
  void add_up(const estimator::likelihood& list, const void* without, const arma::Mat<double>& data,
              const arma::Col<arma::uword>& groups, double* out) const;

  arma::Col<arma::uword> units_, group_of_, values_, all_;
  std::vector<arma::uword> start_, members_;
  int level_ = 0;  ///< where likelihoods are evaluated
  bool alone_ = true;
  // Of groups: the units of level_ that depend on some value, rising, and their groups.
  std::vector<arma::uword> dependent_, dependent_group_;

  struct scratch {
    std::vector<arma::uword> units;
    std::vector<arma::uword> to;     ///< the place in `out` of each unit
    std::vector<arma::uword> place;  ///< per group: its place in `out` + 1, 0 if it is not asked for
    std::vector<double> values;
  };
  mutable scratch work_;  ///< a chain is one thread
};

}  // namespace tovik::sem::scan
