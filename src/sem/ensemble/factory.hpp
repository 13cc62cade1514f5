#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/parameter_info.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/wiring/outcome.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik {
class Model;
}

namespace tovik::sem {

class Estimator;

/// What an equation needs to know of the chain in which it is drawn.
struct outcome_context {
  const Estimator* estimator = nullptr;
  const working_data* working = nullptr;
  const arma::Mat<double>* data = nullptr;  ///< the working matrix, missing cells still NaN
  std::vector<bool> mutable_columns;        ///< per data column: written while the chain runs
  /// The cells that expressions read, by name; they outlive the models.
  const std::unordered_map<std::string, model::parameter_info>* cells = nullptr;
  priors prior;
  bool imputes = true;    ///< the equation draws the missing values of its outcome
  bool in_block = false;  ///< its residual is correlated with others: see make_block
};

/// The units of the outcome's level, as the sampler counts levels.
unsigned outcome_level(const Model& model, const working_data& working);

/// Wraps a tree whose parameters are bound. Throws error_debug "Could not find parameter name in map." when
/// one is not.
estimator::compute bound_column(std::unique_ptr<evaluate::node> tree);

/// The outcome model of an equation, or of a PARAMETERS statement: one class per kind and link. The equation
/// has passed check_available, and is no block.
std::shared_ptr<estimator::Outcome> make_outcome(const Model& model, const outcome_context& context);

}  // namespace tovik::sem
