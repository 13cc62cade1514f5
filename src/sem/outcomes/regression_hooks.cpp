#include "sem/outcomes/regression_hooks.hpp"

#include "support/error.hpp"

namespace tovik::sem {

void regression_hooks::set_residual_variance(double) {
  throw error_debug("The model has no residual variance of its own.");
}

std::shared_ptr<estimator::constraint> regression_hooks::own_constraint(const parameter_type&,
                                                                        const unsigned&) {
  throw error_debug("Unrecognized constraint for a regression.");
}

}  // namespace tovik::sem
