#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/parameter_info.hpp"
#include "sem/wiring/outcome.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/wiring/working_data.hpp"

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
  /// The cells that expressions read, by name; they outlive the models.
  std::unordered_map<std::string, model::parameter_info> const* cells = nullptr;
  priors prior;
};

/// The units of the outcome's level, as the sampler counts levels.
unsigned outcome_level(Model const& model, working_data const& working);

/// Wraps a tree whose parameters are bound. Throws error_debug "Could not find parameter name in map." when
/// one is not.
estimator::compute bound_column(std::unique_ptr<evaluate::node> tree);

/// The outcome model of an equation, or of a PARAMETERS statement: one class per kind and link. The equation
/// has passed check_available.
std::shared_ptr<estimator::Outcome> make_outcome(Model const& model, outcome_context const& context);

}  // namespace tovik::sem
