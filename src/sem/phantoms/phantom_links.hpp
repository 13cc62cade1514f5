#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/phantoms/phantom_loadings.hpp"

namespace tovik {
class Model;
class ModelList;
}  // namespace tovik

namespace tovik::sem {

namespace estimator {
class Outcome;
}

/// The phantoms of an equation: those of its residual, then those of the random effects of each level above,
/// the nearest first. Empty when it has none. Of the two equations of a correlation the one whose name comes
/// second in natural order carries the sign. The data are prepared.
std::vector<std::vector<phantom_term>> phantoms_of(const Model& model);

/// True for the model of a correlation that a phantom carries.
bool is_phantom(const Model& model);

/// Gives every phantom among the models (in the order of the list) its two equations, and scores from its
/// prior, and joins them to one group. Before the models have their starting states.
void link_phantoms(const ModelList& list, const std::vector<std::shared_ptr<estimator::Outcome>>& models,
                   arma::Mat<double>& data);

/// The state leaves every outcome some variance beside its correlations.
bool phantoms_feasible(const std::vector<std::shared_ptr<estimator::Outcome>>& models);

/// Throws tovik::error when the starting state leaves an outcome no variance beside its correlations.
void check_phantoms(const ModelList& list, const std::vector<std::shared_ptr<estimator::Outcome>>& models);

}  // namespace tovik::sem
