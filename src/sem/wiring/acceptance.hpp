#pragma once

#include <armadillo>

namespace tovik::sem::estimator {

/// Which values of a variable are accepted or rejected together when all its missing values are proposed at
/// once, and the likelihoods of which units decide on them.
///
/// As a rule a value enters the equations of its own unit only, and each unit decides alone. Where an
/// equation holds a statistic of the variable's column or of its clusters, a value moves the predictions of
/// other units too: then all values that meet in one statistic form a group, and the group is one step.
class acceptance {
 public:
  /// Every unit of the variable decides alone.
  acceptance() = default;
  /// `level`: where likelihoods are evaluated, not below the variable's own level. `group_of_value`: the
  /// group of each unit of the variable; `group_of_unit`: the group of each unit of `level`. The likelihood
  /// of a unit depends on values of its own group only.
  acceptance(unsigned level, arma::Col<arma::uword> group_of_value, arma::Col<arma::uword> group_of_unit);

  bool each_alone() const { return group_of_value_.is_empty(); }
  /// Only for groups.
  unsigned level() const { return level_; }
  const arma::Col<arma::uword>& group_of_value() const { return group_of_value_; }
  const arma::Col<arma::uword>& group_of_unit() const { return group_of_unit_; }

 private:
  unsigned level_ = 0;
  arma::Col<arma::uword> group_of_value_, group_of_unit_;
};

}  // namespace tovik::sem::estimator
