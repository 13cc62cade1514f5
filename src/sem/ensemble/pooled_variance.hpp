#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/ensemble/label_plan.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/wiring/constraint.hpp"

namespace tovik::sem {

/// The residual variance v that normal equations share, with an inverse gamma prior:
///
///   v ~ IG(a, b),   v | ... ~ IG(a + sum n_e / 2, b + sum |e_e|^2 / 2),
///
/// n_e and e_e the units and the residuals of equation e. Shape and scale may be those of no distribution, as
/// the default priors are.
class pooled_variance : public estimator::constraint {
 public:
  /// Null unless all places of the label are residual variances without phantoms, nothing that is computed
  /// from it moves an equation, and its prior is of this form. `code`: the default prior; `parameter`: its
  /// value and links.
  static std::shared_ptr<pooled_variance> make(const planned_label& label,
                                               const std::vector<std::shared_ptr<estimator::Outcome>>& models,
                                               int code, const estimator::constraint& parameter);

  void draw(const arma::Mat<double>& data) override;

 private:
  pooled_variance(const estimator::constraint& parameter, std::vector<Normal*> equations, double shape,
                  double scale);

  std::vector<Normal*> equations_;
  double shape_, scale_;
};

}  // namespace tovik::sem
