#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/scan/row_scale.hpp"
#include "sem/scan/values/value_groups.hpp"
#include "sem/scan/values/value_target.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem::scan {

/// Random-walk Metropolis step for unknown values: all are proposed at once, y_i + c sd_i z_i, and each group
/// is accepted by its own ratio of densities, which is a valid step since the densities of two groups have no
/// value in common (Metropolis et al., 1953, J. Chem. Phys. 21, 1087-1092). Only units that depend on unknown
/// values are evaluated; candidates are written into the data in place, and rejected ones taken back.
class metropolis_values {
 public:
  /// `values`: the current ones, replaced by the new ones. `scale`: the residual variance of each unit.
  /// Counts groups in `tune`. Random numbers: a normal for each value, then a uniform for each group.
  void draw(const value_groups& groups, value_target& target, const row_scale& scale, Random& rng,
            estimator::tune_obj& tune, arma::Mat<double>& data, double* values);
  /// The same for vectors of `dim` elements that the caller has proposed by a symmetric walk, or by steps
  /// that are reversible under a factor of the density which log_density() then leaves out: `candidates` and
  /// the current `values`, replaced by the new ones, have a row for each value and `dim` columns. Random
  /// numbers: a uniform for each group.
  void accept(const value_groups& groups, value_target& target, unsigned dim, const double* candidates,
              Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data, double* values);

 private:
  void reserve(const value_groups& groups, unsigned dim);
  void decide(Random& rng, arma::uword n);
  void take_back(const value_groups& groups, value_target& target, unsigned dim, const double* candidates,
                 arma::Mat<double>& data, double* values);

  std::vector<double> candidate_, old_density_, new_density_, back_, uniform_;
  std::vector<arma::uword> which_, undecided_;
  std::vector<unsigned char> usable_, accepted_;
};

/// Whether a group moves: log(uniform) against the change of the log density. A state whose density is not a
/// finite number is left for any that has one; a NaN otherwise rejects.
bool accepts(double log_uniform, double old_density, double new_density);

}  // namespace tovik::sem::scan
