#pragma once

#include <armadillo>
#include <vector>

#include "sem/ensemble/coefficient_blocks.hpp"
#include "sem/ensemble/label_plan.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/wiring/constraint.hpp"

namespace tovik::sem {

struct drawn_label;

/// A label at coefficients that walks, and the other labels at coefficients of the same equations that go
/// along: without them it would move across the narrow ridge that they leave it (see driven_coefficients,
/// which does the same for coefficients without labels).
///
/// When the label moves by d, its companions c move by -A d with A = inv(M_cc) M_c, the regression of its
/// column on theirs in the sum M over equations of what drawn coefficients leave of X'X / s2, their prior
/// precisions added. For an A that stays while the label moves that is a shear, with determinant 1: the move
/// is accepted by the product of all densities in which label or companions appear.
class sheared_label : public estimator::constraint {
 public:
  struct place {
    Regression* equation;
    arma::uword position;
  };
  struct companion {
    estimator::constraint* label;  ///< outlives what it goes along with
    std::vector<place> places;
    std::vector<term> densities;  ///< in which the label itself appears
    double precision;             ///< of its prior, as far as it is normal
  };

  sheared_label(const estimator::constraint& walk, std::vector<place> places);

  /// Its densities are part of the move from now on.
  void add(const companion& other);

  void anchor() override;
  void move(double x) override;
  void connect() override;

 private:
  std::vector<place> places_;
  std::vector<companion> companions_;
  std::vector<Regression*> equations_;  ///< of label and companions
  arma::Col<double> slopes_, anchors_;
  double anchor_ = 0.0;
};

/// Replaces the labels that walk and have companions. `planned`: the plan of each. Companions are labels at
/// coefficients alone whose priors are positive everywhere: others would often stand in the way.
void shear_labels(const std::vector<const planned_label*>& planned, const coefficient_blocks& blocks,
                  const coefficient_blocks::models& models, std::vector<drawn_label>& labels);

}  // namespace tovik::sem
