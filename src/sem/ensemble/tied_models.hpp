#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "sem/wiring/outcome.hpp"

namespace tovik::sem {

/// For each of the models the block among those that phantoms and blocks tie it to, without a block the first
/// of them; or itself. Phantoms tie normal equations only: what holds a phantom together with another kind
/// keeps its density given the scores.
std::vector<std::size_t> tied_models(const std::vector<std::shared_ptr<estimator::Outcome>>& models);

}  // namespace tovik::sem
