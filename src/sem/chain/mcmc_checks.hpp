#pragma once

#include <memory>
#include <vector>

namespace tovik {
class ModelList;
}  // namespace tovik

namespace tovik::sem {

class Variable;

/// Throws tovik::error when an equation or a definition reads a latent cluster mean of a level at which its
/// variable does not vary.
void check_cluster_means(const ModelList& models, const std::vector<std::unique_ptr<Variable>>& predictors);

}  // namespace tovik::sem
