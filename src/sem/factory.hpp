#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/outcome.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/working_data.hpp"

namespace tovik {
class Model;
}

namespace tovik::sem {

class Estimator;

/// What an equation needs to know of the chain in which it is drawn.
struct outcome_context {
  Estimator const* estimator = nullptr;
  working_data const* working = nullptr;
  arma::Mat<double> const* data = nullptr;  ///< the working matrix, missing cells still NaN
  std::vector<bool> mutable_columns;        ///< per data column: written while the chain runs
  priors prior;
};

/// The units of the outcome's level, as the sampler counts levels.
unsigned outcome_level(Model const& model, working_data const& working);

/// The outcome model of an equation: one class per kind and link. The equation has passed check_available.
std::shared_ptr<estimator::Outcome> make_outcome(Model const& model, outcome_context const& context);

}  // namespace tovik::sem
