#pragma once

#include <armadillo>

#include "random/random.hpp"
#include "sem/scan/row_scale.hpp"

namespace tovik::sem::scan {

/// Missing outcome values that no other equation reads, given everything else: predictive draws
/// y_i = p_i + sqrt(variance_i) z_i.
class predictive_step {
 public:
  /// `r`: the residual y - p of every unit at the current y. For each of `units` in turn y and r are
  /// replaced.
  void draw(const arma::Col<arma::uword>& units, const row_scale& scale, Random& rng, double* y, double* r);

 private:
  arma::Col<double> z_;
};

}  // namespace tovik::sem::scan
