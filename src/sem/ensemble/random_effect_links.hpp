#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/ensemble/acceptance_groups.hpp"

namespace tovik {
class ModelList;
}

namespace tovik::sem {

/// Named random effects that equations read as variables: tells the models (in the order of the list) which
/// columns publish their effects, gives each the list of the equations that its effects enter, its own and
/// those that read a column, and fills the columns. Data are prepared, models have their starting states.
void link_random_effects(const ModelList& list,
                         const std::vector<std::shared_ptr<estimator::Outcome>>& models,
                         const level_units& units, arma::Mat<double>& data);

}  // namespace tovik::sem
