#include "sem/outcomes/multi_unstruct.hpp"

#include "support/error.hpp"

namespace tovik::sem {

MultiUnstruct::MultiUnstruct(const Estimator* estimator_, const block_setup& setup)
    : Outcome(shape_of(estimator_, setup)), Multi(estimator_, setup) {
  if (arma::any(setup.known_variances))
    throw error_debug("Currently cannot fix variance for multivariate factors.");
  if (arma::any(arma::vectorise(setup.elements)))
    throw error_debug("A correlation of a block is known that is drawn as free.");
}

void MultiUnstruct::draw_matrix(const arma::Mat<double>& data) {
  step_.draw(prior(), sample(data), *rng, Omega_, Sigma_, &scales());
}

}  // namespace tovik::sem
