#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/scan/row_scale.hpp"
#include "sem/scan/values/value_groups.hpp"
#include "sem/scan/values/value_target.hpp"

namespace tovik::sem::scan {

/// Elliptical slice step for unknown values whose own equation makes them normal, N(mean_i, variance_i)
/// (Murray, Adams and MacKay, 2010, "Elliptical slice sampling", AISTATS 9, 541-548). Each group has its own
/// threshold and angle; a pass evaluates the groups that have not found their point yet.
class slice_values {
 public:
  /// `values`: the current ones, replaced. `mean`: of each value. Random numbers: a normal for each value, a
  /// uniform for each group (thresholds), again one (angles), then one for each unfinished group in each
  /// pass. Throws error_ess when a group is not finished after `max_passes` + 1 passes.
  void draw(const value_groups& groups, value_target& target, const double* mean, const row_scale& scale,
            Random& rng, unsigned max_passes, arma::Mat<double>& data, double* values);

 private:
  void start(const value_groups& groups, value_target& target, const row_scale& scale, Random& rng,
             const arma::Mat<double>& data);
  arma::uword propose(const value_groups& groups, const double* mean, const double* values);
  void keep_unfinished();
  void shrink(Random& rng);

  std::vector<double> nu_, candidate_, written_;                  ///< per value
  std::vector<double> threshold_, angle_, low_, high_, density_;  ///< per group
  std::vector<arma::uword> which_, open_;
  std::vector<unsigned char> usable_, inside_;
  arma::uword n_open_ = 0;
};

}  // namespace tovik::sem::scan
