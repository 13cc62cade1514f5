#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/parameter_info.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/wiring/autosolver_fwd.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik {
class ModelList;
class Random;
}  // namespace tovik

namespace tovik::sem {

struct drawn_label;

/// What the set-up of solved distributions needs: the equations, the outcome model of each (in the same
/// order), and the cells that the expressions of the chain read.
struct solver_world {
  const ModelList& list;
  const std::vector<std::shared_ptr<estimator::Outcome>>& models;
  const std::unordered_map<std::string, model::parameter_info>& cells;
  Random& rng;
};

/// The full conditional distribution of the values that the model with this index draws: the missing ones of
/// a continuous outcome, all scores of a factor or a propensity. Its own equation times what each reader says
/// of them, the members of a block together; null where ModelList::autosolverInfo has no plan for it.
std::shared_ptr<autosolver::solver<autosolver::normal>> solved_values(const solver_world& world,
                                                                      unsigned model);

/// Gives every incomplete outcome, factor and propensity that other equations read its full conditional
/// distribution, where there is one. The others keep their Metropolis steps.
void solve_variables(const solver_world& world);

/// Puts a draw from the full conditional distribution in place of the walk of a label, where there is a plan:
/// its prior times what each equation says of it. The label has all its places, and the models their starting
/// states.
void solve_label(const solver_world& world, const priors& prior, drawn_label& label);

/// The same for each of the labels but those of plain coefficients alone: with these the other coefficients
/// move along (see driven_coefficients), so that they mix where a draw given the others would not.
void solve_labels(const solver_world& world, const priors& prior, std::vector<drawn_label>& labels);

}  // namespace tovik::sem
