#include "sem/ensemble/solvers.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "evaluate/value.hpp"
#include "model/model_list.hpp"
#include "sem/autosolver/auto_constraint.hpp"
#include "sem/autosolver/solution.hpp"
#include "sem/ensemble/factory.hpp"
#include "sem/ensemble/labels.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/parameter.hpp"
#include "sem/outcomes/regression.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {
namespace {

using autosolver::computation;
using autosolver::solution;
using evaluate::node;
using model::autosolver_info;
using tree_ptr = std::shared_ptr<node>;

/// The trees of the computed fixed columns of an equation, bound to the cells of the chain.
std::vector<tree_ptr> computed_trees(const solver_world& world, unsigned model) {
  std::vector<tree_ptr> out;
  for (auto& term : world.list[model].xindCompute(world.cells)) {
    for (auto& tree : term) {
      if (tree->has_unbound_var()) throw error_debug("Could not find parameter name in map.");
      out.push_back(std::move(tree));
    }
  }
  return out;
}

/// The product with the target in a tree that is linear in it; null in another.
tree_ptr product_with(const node& tree, const node& target) {
  const auto copy = tree.copy();
  copy->convert_minus();
  copy->expand_multi(&target);
  if (copy->distribute_plus(&target) == nullptr) return nullptr;
  return copy->factor_out(&target);
}

Regression& regression(const solver_world& world, unsigned model) {
  return dynamic_cast<Regression&>(*world.models.at(model));
}

/// What equations say of one unknown, those of a block together: their residuals are correlated.
template <class T>
class gathered_functions {
 public:
  explicit gathered_functions(autosolver::solver<T>& solver) : solver_(solver) {}

  /// `alone`: gives the function of an equation that is in no block.
  template <class F>
  void add(const Regression& equation, const solution& how, F alone) {
    if (equation.link == nullptr) {
      solver_.functions.push_back(alone());
      return;
    }
    const auto found = std::find_if(blocks_.begin(), blocks_.end(),
                                    [&](const auto& b) { return b.first == equation.link.get(); });
    auto& roles = found == blocks_.end() ? blocks_.emplace_back(equation.link.get(), roles_of_block()).second
                                         : found->second;
    roles.push_back({&equation, how});
  }
  /// All equations are told: `where` is what a block's function needs to know beside them.
  template <class... Where>
  void close(const Where&... where) {
    for (const auto& [block, roles] : blocks_)
      solver_.functions.push_back(block->distributionFunc(roles, where...));
  }

 private:
  using roles_of_block = std::vector<solved_role>;
  autosolver::solver<T>& solver_;
  std::vector<std::pair<const Multi*, roles_of_block>> blocks_;
};

/// How the equation of an entry depends on the values in a column of the data; empty where it is not linear.
solution of_column(const solver_world& world, const autosolver_info& entry, unsigned column) {
  if (entry.type == distribution_type::fixed) return solution::constant(entry.positions.front(), column);
  arma::Col<arma::uword> positions(entry.positions.size());
  std::copy(entry.positions.begin(), entry.positions.end(), positions.begin());
  solution out = solution::product(positions, column);
  const node target("#DATA", node::literal(column));
  const std::vector<tree_ptr> trees = computed_trees(world, entry.model);
  const auto first = static_cast<int>(world.models.at(entry.model)->x.n_elem);
  for (unsigned j : entry.columns) {
    const tree_ptr cofactor = product_with(*trees.at(j), target);
    if (cofactor == nullptr) return solution();
    cofactor->remove(target);
    out += computation(cofactor, first + static_cast<int>(j));
  }
  return out;
}

/// The units of the owner whose values are drawn.
arma::Col<arma::uword> drawn_units(const Regression& owner, bool all) {
  if (!all) return owner.missing_rows;
  return arma::regspace<arma::Col<arma::uword>>(0, owner.n_units - 1);
}

/// What is drawn of the outcome of a model: its values, or its propensity.
model::anyVariable unknown_of(const Model& model) {
  model::anyVariable out = model.outcomes.front();
  if (model.kind() == model::kind::ordinal) out.type = model::type::latent;
  return out;
}

/// The category of a unit without one moves with its propensity: nobody may then read it.
bool categories_move(const solver_world& world, const Regression& owner) {
  if (owner.missing_rows.is_empty()) return false;
  const auto reads = [&](const auto& other) { return other->reads(owner.y(0)); };
  return std::any_of(world.models.begin(), world.models.end(), reads);
}

// Labels.

const Parameter* prior_of(const solver_world& world, const std::string& key) {
  for (std::size_t i = 0; i < world.list.size(); ++i) {
    if (world.list[i].kind() == model::kind::parameter && to_lower(world.list[i].name()) == key)
      return dynamic_cast<const Parameter*>(world.models[i].get());
  }
  return nullptr;
}

/// How the equation of an entry depends on a label; empty where it is not linear.
solution of_label(const solver_world& world, const autosolver_info& entry,
                  const model::parameter_info& cell) {
  const estimator::Outcome& holder = *world.models.at(entry.model);
  auto target = std::make_shared<node>("#VAR", node::literal(cell.slot));
  target->register_var(cell.cell.get(), cell.slot);
  const arma::uword plain = holder.x.n_elem;
  std::vector<arma::uword> positions, columns;
  for (unsigned p : entry.positions) {
    if (p >= plain) continue;
    positions.push_back(p);
    columns.push_back(holder.x(p));
  }
  solution out = solution::parameter(target, positions, columns);
  const std::vector<tree_ptr> trees = computed_trees(world, entry.model);
  for (unsigned p : entry.positions)
    if (p >= plain) out += computation(trees.at(p - plain), computation::one);
  for (unsigned j : entry.columns) {
    const tree_ptr product = product_with(*trees.at(j), *target);
    if (product == nullptr) return solution();
    out += computation(product, static_cast<int>(plain + j));
  }
  return out;
}

/// The parameter with its places, drawn from the solver. What follows it in the equations is what is read
/// from its places; coefficients that a walk would move along stay, and are told so.
template <class T>
void replace_walk(const solver_world& world, const std::vector<autosolver_info>& plan,
                  std::shared_ptr<autosolver::solver<T>> solver, drawn_label& label) {
  solver->rng = &world.rng;
  auto solved = std::make_shared<estimator::auto_constraint<T>>(*label.constraint, std::move(solver));
  solved->refresh.clear();
  solved->likelihoods.clear();
  for (const autosolver_info& entry : plan) {
    Regression* holder = &regression(world, entry.model);
    solved->refresh.emplace_back([holder] { holder->anchor_coefficients(); });
  }
  label.constraint = std::move(solved);
}

/// The default prior of the first place, where it is a coefficient with one.
autosolver::normal_1D default_prior(const solver_world& world, const autosolver_info& first) {
  if (first.positions.empty()) return {};
  const double v = world.models.at(first.model)->coefficient_variance(first.positions.front());
  return std::isfinite(v) ? autosolver::normal_1D(0.0, v) : autosolver::normal_1D();
}

void solve_coefficient(const solver_world& world, const std::vector<autosolver_info>& plan,
                       const std::string& key, drawn_label& label) {
  using autosolver::normal_1D;
  const auto cell = world.cells.find(key);
  if (cell == world.cells.end()) return;
  auto solver = std::make_shared<autosolver::solver<normal_1D>>();
  if (const Parameter* prior = prior_of(world, key)) {
    solver->functions.push_back([prior](const arma::Mat<double>& data, const normal_1D& previous) {
      return prior->dist_param(data, previous);
    });
  } else {
    const normal_1D start = default_prior(world, plan.front());
    solver->functions.push_back([start](const arma::Mat<double>&, const normal_1D&) { return start; });
  }
  gathered_functions<normal_1D> gathered(*solver);
  for (const autosolver_info& entry : plan) {
    const solution how = of_label(world, entry, cell->second);
    if (how.is_empty()) return;
    const Regression& holder = regression(world, entry.model);
    gathered.add(holder, how, [&] { return holder.distributionFunc(entry.type, how); });
  }
  gathered.close();
  replace_walk(world, plan, std::move(solver), label);
}

void solve_residual_variance(const solver_world& world, const std::vector<autosolver_info>& plan,
                             const std::string& key, const priors& code, drawn_label& label) {
  using autosolver::inv_gamma;
  auto solver = std::make_shared<autosolver::solver<inv_gamma>>();
  if (const Parameter* prior = prior_of(world, key)) {
    solver->functions.push_back([prior](const arma::Mat<double>& data, const inv_gamma& previous) {
      return prior->dist_variance(data, previous);
    });
  } else {
    const double unit = world.models.at(plan.front().model)->residual_unit();
    const double a = code.resvar == 1 ? 1.0 : code.resvar == 2 ? -1.0 : 0.0;
    const double b = code.resvar == 1 ? 0.5 * unit : 0.0;
    solver->functions.push_back([a, b](const arma::Mat<double>& data, const inv_gamma& previous) {
      return inv_gamma::_prior(data, previous, a, b);
    });
  }
  for (const autosolver_info& entry : plan)
    solver->functions.push_back(regression(world, entry.model).varianceFunc());
  replace_walk(world, plan, std::move(solver), label);
}

}  // namespace

std::shared_ptr<autosolver::solver<autosolver::normal>> solved_values(const solver_world& world,
                                                                      unsigned model) {
  const model::anyVariable unknown = unknown_of(world.list[model]);
  const bool propensity = unknown.type == model::type::latent;
  const auto* owner = dynamic_cast<const Regression*>(world.models[model].get());
  if (owner == nullptr || (propensity && categories_move(world, *owner))) return nullptr;
  const std::vector<autosolver_info> plan = world.list.autosolverInfo(unknown);
  if (plan.empty()) return nullptr;
  const unsigned column = unknown.indicator().front();
  auto solver = std::make_shared<autosolver::solver<autosolver::normal>>();
  solver->rng = &world.rng;
  const auto units = std::make_shared<const arma::Col<arma::uword>>(drawn_units(*owner, propensity));
  gathered_functions<autosolver::normal> gathered(*solver);
  gathered.add(*owner, solution(), [&] { return owner->dist_self(*units); });
  const auto level = static_cast<int>(owner->level);
  for (const autosolver_info& entry : plan) {
    const solution how = of_column(world, entry, column);
    if (how.is_empty()) return nullptr;
    const Regression& reader = regression(world, entry.model);
    gathered.add(reader, how, [&] { return reader.distributionFunc(entry.type, how, level, *units); });
  }
  gathered.close(level, *units);
  if (!propensity) solver->units = units;
  return solver;
}

void solve_variables(const solver_world& world) {
  for (unsigned i = 0; i < world.list.size(); ++i) {
    const Model& model = world.list[i];
    if (!model::has_predictors(model.kind()) || model.outcomes.size() != 1) continue;
    const bool drawn = model.kind() == model::kind::ordinal || world.models[i]->missing;
    if (!drawn) continue;
    if (auto solver = solved_values(world, i)) world.models[i]->addDist(solver, distribution_type::fixed);
  }
}

void solve_label(const solver_world& world, const priors& prior, drawn_label& label) {
  const std::vector<autosolver_info> plan = world.list.autosolverInfo(model::parameter::labelled(label.name));
  if (plan.empty()) return;
  if (plan.front().type == distribution_type::variance)
    solve_residual_variance(world, plan, to_lower(label.name), prior, label);
  else
    solve_coefficient(world, plan, to_lower(label.name), label);
}

void solve_labels(const solver_world& world, const priors& prior, std::vector<drawn_label>& labels) {
  const auto moves_alone = [](const autosolver_info& entry) {
    return entry.type == distribution_type::variance || !entry.columns.empty();
  };
  for (drawn_label& label : labels) {
    const std::vector<autosolver_info> plan =
        world.list.autosolverInfo(model::parameter::labelled(label.name));
    if (std::any_of(plan.begin(), plan.end(), moves_alone)) solve_label(world, prior, label);
  }
}

}  // namespace tovik::sem
