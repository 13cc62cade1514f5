#pragma once

#include <memory>
#include <vector>

#include "sem/ensemble/label_plan.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/priors.hpp"

namespace tovik {
class Model;
class ModelList;
}  // namespace tovik

namespace tovik::sem {

/// For each equation of the list whether it is the member of a block.
std::vector<bool> block_members(const ModelList& list);

/// The block `model` of the list, over its members among `models`, which stand before it. Its covariance
/// matrix is drawn as a whole where nothing of it is known and no label drives a correlation, else element by
/// element. Throws tovik::error when no covariance matrix has the known correlations.
std::shared_ptr<Multi> make_block(const ModelList& list, const Model& model,
                                  const std::vector<std::shared_ptr<estimator::Outcome>>& models,
                                  const Estimator* estimator, const priors& prior,
                                  const std::vector<planned_label>& labels);

}  // namespace tovik::sem
