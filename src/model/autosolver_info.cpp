// Which unknowns have a full conditional distribution that is normal or inverse gamma: by the equations in
// which they stand alone, without a look at the data. Each of these must be linear in the unknown with normal
// errors, else the plan is empty.

#include "model/autosolver_info.hpp"

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>

#include "model/compute.hpp"
#include "model/model_list.hpp"
#include "support/text.hpp"

namespace tovik {

namespace solver_plans {
namespace {

using evaluate::node;
using model::anyVariable;
using model::autosolver_info;
using model::combinationOfAnyVariable;
using model::kind;
using model::link;
using model::type;
using sem::distribution_type;
using plan = std::vector<autosolver_info>;

bool is_normal(kind what) {
  return what == kind::normal || what == kind::latent;
}

/// Its likelihood, given latent scores, is that of a linear regression with normal errors.
bool is_linear_normal(const Model& model) {
  if (model.outcomes.size() != 1) return false;
  switch (model.kind()) {
    case kind::normal:
    case kind::latent:
      return model.link != link::log_variance && model.link != link::logit && model.link != link::probit;
    case kind::ordinal:
      return model.link == link::probit;
    case kind::missing:
      return true;
    default:
      return false;
  }
}

// Variables.

/// How a model holds a variable on its right side.
struct uses {
  bool fixed = false;    ///< a plain fixed term
  bool columns = false;  ///< in computed fixed terms
  bool random = false;   ///< in a random term, plain or computed
  bool other = false;    ///< in another meaning: its means, its propensity beside its values

  bool any() const { return fixed || columns || random || other; }
};

/// In another meaning that moves with the values: all but the missing data indicator.
bool is_other(const anyVariable& term, const anyVariable& wanted) {
  return term.variable == wanted.variable && term.type != wanted.type && term.type != type::missing;
}

bool is_same(const anyVariable& term, const anyVariable& wanted) {
  return term.variable == wanted.variable && term.type == wanted.type;
}

uses uses_of(const Model& model, const anyVariable& wanted) {
  uses out;
  const auto look = [&](const anyVariable& term, bool& found) {
    found = found || is_same(term, wanted);
    out.other = out.other || is_other(term, wanted);
  };
  for (const anyVariable& term : model.fixed) look(term, out.fixed);
  for (const anyVariable& term : model.random) look(term, out.random);
  for (const auto& computed : model.fixed_compute)
    for (const anyVariable& term : computed.all_variables()) look(term, out.columns);
  for (const auto& computed : model.random_compute)
    for (const anyVariable& term : computed.all_variables()) look(term, out.random);
  return out;
}

/// The expression is A times the column plus what does not hold it, with A of the row alone.
bool is_linear_in(const node& tree, unsigned column) {
  const auto target = std::make_unique<node>("#DATA", node::literal(column));
  if (!tree.has(target.get())) return true;
  if (tree.has_column_statistic()) return false;
  const auto copy = tree.copy();
  copy->convert_minus();
  copy->expand_multi(target.get());
  return copy->check_distribute_plus(target.get());
}

/// Positions, among the columns of the computed fixed terms, of those that hold the data column. False when
/// one is not linear in it.
bool find_columns(const Model& model, unsigned column, std::vector<unsigned>& out) {
  unsigned position = 0;
  for (const combinationOfAnyVariable& term : model.fixed_compute) {
    for (const auto& tree : term.nodes()) {
      const std::vector<unsigned> read = tree->data_columns();
      if (std::binary_search(read.begin(), read.end(), column)) {
        if (!is_linear_in(*tree, column)) return false;
        out.push_back(position);
      }
      ++position;
    }
  }
  return true;
}

/// The equation of the variable, where it is one that can own a solved distribution; null otherwise.
const Model* owner_of(const ModelList& list, const anyVariable& wanted) {
  const Model* owner = nullptr;
  for (const Model& model : list) {
    if (!model::speaks_of_variables(model.kind()) || model.link == link::log_variance) continue;
    for (const anyVariable& outcome : model.outcomes) {
      if (outcome.variable != wanted.variable || outcome.type != type::variable) continue;
      if (owner != nullptr) return nullptr;  // two equations tell of its values
      owner = &model;
    }
  }
  if (owner == nullptr || owner->outcomes.size() != 1) return nullptr;
  if (wanted.type == type::latent)
    return owner->kind() == kind::ordinal && owner->link == link::probit ? owner : nullptr;
  if (wanted.type != type::variable || !is_normal(owner->kind())) return nullptr;
  const bool allowed = owner->link == link::identity || owner->link == link::weighted ||
                       owner->link == link::scale || owner->link == link::hev;
  return allowed && !owner->outcomes.front().is_transformed() ? owner : nullptr;
}

/// The one entry of a model that holds the variable. False when the model leaves no solution.
bool add_reader(const Model& model, unsigned index, const anyVariable& wanted, const uses& here, plan& out) {
  if (here.random || here.other || !is_linear_normal(model)) return false;
  if (model.levels < static_cast<std::int32_t>(wanted.variable->level)) return false;
  const std::vector<unsigned> at = wanted.indicator();
  if (at.size() != 1) return false;
  autosolver_info entry;
  entry.model = index;
  entry.positions = model.fixedIndicators(wanted);
  if (here.columns && !find_columns(model, at.front(), entry.columns)) return false;
  const bool alone = entry.positions.size() == 1 && entry.columns.empty();
  entry.type = alone ? distribution_type::fixed : distribution_type::compute;
  out.push_back(std::move(entry));
  return true;
}

plan of_variable(const ModelList& list, const anyVariable& wanted) {
  const Model* owner = owner_of(list, wanted);
  if (owner == nullptr || wanted.variable->centered() != data::center::none ||
      wanted.variable->centeredMeans() != data::center::none)
    return {};
  plan out;
  for (unsigned i = 0; i < list.size(); ++i) {
    if (!model::speaks_of_variables(list[i].kind())) continue;
    uses here = uses_of(list[i], wanted);
    // The category beside its propensity in another equation leaves the propensity solvable: it is data.
    if (!here.fixed && !here.columns && !here.random && wanted.type == type::latent) here.other = false;
    if (!here.any()) continue;
    if (&list[i] == owner || !add_reader(list[i], i, wanted, here, out)) return {};
  }
  return out;
}

plan of_phantom(const ModelList& list, const anyVariable& wanted) {
  plan out;
  for (unsigned i = 0; i < list.size(); ++i) {
    const Model& model = list[i];
    if (!model::speaks_of_variables(model.kind())) continue;
    const auto& held = model.phantoms;
    const auto found = std::find_if(
        held.begin(), held.end(), [&](const anyVariable& term) { return term.variable == wanted.variable; });
    if (found == held.end()) continue;
    const bool normal =
        is_normal(model.kind()) || (model.kind() == kind::ordinal && model.link == link::probit);
    if (!normal) return {};
    // Counted among those of its own level.
    const auto position = std::count_if(held.begin(), found, [&](const anyVariable& term) {
      return term.variable->level == wanted.variable->level;
    });
    out.push_back({i, {static_cast<unsigned>(position)}, {}, distribution_type::phantom});
  }
  return out;
}

// Labels.

bool reads_label(const std::vector<combinationOfAnyVariable>& terms, const std::string& key) {
  return std::any_of(terms.begin(), terms.end(), [&](const combinationOfAnyVariable& term) {
    const std::vector<std::string> labels = term.labels();
    return std::find(labels.begin(), labels.end(), key) != labels.end();
  });
}

/// Some equation depends on the value of the name.
bool moves_an_equation(const ModelList& list, const std::string& key) {
  return std::any_of(list.begin(), list.end(), [&](const Model& model) {
    if (!model::is_equation(model.kind())) return false;
    const std::vector<model::parameter> carried = model.constraints();
    const bool carries = std::any_of(carried.begin(), carried.end(), [&](const model::parameter& p) {
      return p.has_label() && to_lower(p.label()) == key;
    });
    return carries || reads_label(model.fixed_compute, key) || reads_label(model.random_compute, key);
  });
}

/// A computed parameter that depends on the label stands in an equation.
bool feeds_an_equation(const ModelList& list, const std::string& key) {
  std::unordered_set<std::string> moved = {key};
  for (const Model& model : list) {
    if (model.kind() != kind::computation) continue;
    const std::vector<std::string> read = model::expression_names(model.computation);
    const bool depends = std::any_of(
        read.begin(), read.end(), [&](const std::string& name) { return moved.count(to_lower(name)) > 0; });
    if (!depends) continue;
    if (moves_an_equation(list, to_lower(model.name()))) return true;
    moved.insert(to_lower(model.name()));
  }
  return false;
}

enum class prior { none, of_coefficient, of_variance, other };

prior prior_of(const ModelList& list, const std::string& key) {
  for (const Model& model : list) {
    if (model.kind() != kind::parameter || to_lower(model.name()) != key) continue;
    const std::string& family = model.prior.name;
    if (family == "normal" || family == "uniform" || family == "truncate") return prior::of_coefficient;
    return family == "invgamma" ? prior::of_variance : prior::other;
  }
  return prior::none;
}

/// How a model holds a label.
struct label_uses {
  bool coefficient = false;  ///< of a plain fixed term or a whole computed one, or inside one
  bool variance = false;
  bool other = false;  ///< a random effect, a lambda, a correlation
};

label_uses uses_of(const Model& model, const model::parameter& p, const std::string& key) {
  label_uses out;
  if (model.kind() == kind::block) {
    out.other = std::any_of(model.random.begin(), model.random.end(),
                            [&](const anyVariable& term) { return term.param == p; });
    return out;
  }
  out.variance = p.has_label() && model.variance == p;
  out.coefficient = !model.fixedIndicators(p).empty() || !model.fixedComputeIndicators(p).empty();
  out.other = model.hasRandom(p) || reads_label(model.random_compute, key);
  if (model::has_lambda(model.link) && !model.outcomes.empty())
    out.other = out.other || model.outcomes.front().lambda == p;
  return out;
}

/// A computed term that reads the label has it as its coefficient, too.
bool multiplies_itself(const Model& model, const model::parameter& p, const std::string& key) {
  return std::any_of(model.fixed_compute.begin(), model.fixed_compute.end(),
                     [&](const combinationOfAnyVariable& term) {
                       return p.has_label() && term.param == p && reads_label({term}, key);
                     });
}

/// The residual variance of the model has an inverse gamma full conditional.
bool has_own_variance(const ModelList& list, const Model& model) {
  const bool linked = model.link == link::identity || model.link == link::weighted;
  if (!is_normal(model.kind()) || !linked || model.outcomes.size() != 1) return false;
  const bool has_phantom =
      std::any_of(model.phantoms.begin(), model.phantoms.end(), [&](const anyVariable& term) {
        return static_cast<std::int32_t>(term.variable->level) == model.levels;
      });
  return !has_phantom && list.has_multi(model) < 0;
}

plan of_label(const ModelList& list, const model::parameter& p) {
  const std::string key = to_lower(p.label());
  const prior family = prior_of(list, key);
  if (family == prior::other || feeds_an_equation(list, key)) return {};
  plan out;
  for (unsigned i = 0; i < list.size(); ++i) {
    const Model& model = list[i];
    if (!model::is_equation(model.kind())) continue;
    const label_uses here = uses_of(model, p, key);
    if (here.other || (here.variance && here.coefficient)) return {};
    if (here.variance) {
      if (family == prior::of_coefficient || !has_own_variance(list, model)) return {};
      out.push_back(autosolver_info::variance(i));
    } else if (here.coefficient) {
      if (family == prior::of_variance || !is_linear_normal(model) || !model.checkFixedCompute(p) ||
          multiplies_itself(model, p, key))
        return {};
      out.push_back({i, model.fixedIndicators(p), model.fixedComputeIndicators(p), distribution_type::param});
    }
  }
  const bool mixed = std::any_of(
      out.begin(), out.end(), [&](const autosolver_info& entry) { return entry.type != out.front().type; });
  return mixed ? plan() : out;
}

}  // namespace
}  // namespace solver_plans

std::vector<model::autosolver_info> ModelList::autosolverInfo(const model::anyVariable& unknown) const {
  if (unknown.variable == nullptr) return {};
  return unknown.variable->type == data::type::phantom ? solver_plans::of_phantom(*this, unknown)
                                                       : solver_plans::of_variable(*this, unknown);
}

std::vector<model::autosolver_info> ModelList::autosolverInfo(const model::parameter& label) const {
  return label.has_label() ? solver_plans::of_label(*this, label) : std::vector<model::autosolver_info>();
}

}  // namespace tovik
