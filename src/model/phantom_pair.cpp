// "a <-> b" of two variables: a phantom variable that both equations hold, with a model of its own whose
// parameter is the correlation.

#include <algorithm>
#include <unordered_map>

#include "data/dummy.hpp"
#include "data/named_effect.hpp"
#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/correlation.hpp"
#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::correlation;
using model::correlation_side;

std::string arrow(const correlation_side& a, const correlation_side& b) {
  return a.name + " <-> " + b.name;
}

void check_missing(const anyVariable& left, const anyVariable& right, const std::string& statement) {
  const bool left_missing = left.type == model::type::missing;
  const bool right_missing = right.type == model::type::missing;
  if (left_missing && right_missing)
    throw error(
        "ERROR: Correlations not allowed with missing models.\n"
        "       Use an ordinal model and a missing data indicator instead.");
  if (left_missing || right_missing)
    throw error(
        "ERROR: Cannot correlate missing data indicators with other variables.\n"
        "       Invalid Syntax : '" +
        statement + "'");
}

model::parameter correlation_parameter(const anyVariable& left, const anyVariable& right,
                                       const std::string& statement) {
  model::parameter p;
  if (!model::joined_parameter(left, right, p))
    throw error("ERROR: The correlation for '" + left.name() + "' and '" + right.name() +
                "' already has a parameter label.");
  if (p.has_start())
    throw error("ERROR: Cannot set start values for correlations.\n       Problem specification: " +
                statement);
  if (p.is_fixed() && !(p.value() >= -1.0 && p.value() <= 1.0))
    throw error("ERROR: Cannot fix correlations values to be outside of \xC2\xB1 1.\n" +
                std::string("       Problem specification: ") + statement);
  return p;
}

[[noreturn]] void invalid_level(const std::string& statement) {
  throw error("ERROR: Invalid level selection. Mispecificaiton in '" + statement + "'");
}

/// Where the covariance stands: at the level of a random effect, else where both residuals are, else at the
/// level of the higher outcome.
unsigned covariance_level(const correlation_side& a, const correlation_side& b, unsigned level_a,
                          unsigned level_b, const std::string& statement) {
  if (a.effect && b.effect && level_a != level_b) invalid_level(statement);
  if (a.effect) return level_a;
  return b.effect ? level_b : std::min(level_a, level_b);
}

std::shared_ptr<data::variable> identifier_at(unsigned level, const VariableList& variables,
                                              const std::string& statement) {
  for (const auto& id : variables.clusters) {
    if (id->level == level) return id;
  }
  invalid_level(statement);
}

/// Dummy codes have their slopes in the term of their variable.
bool is_effect(const anyVariable& term, const std::shared_ptr<data::variable>& effect) {
  const auto* code = dynamic_cast<const data::dummy*>(effect.get());
  return term.type == model::type::variable &&
         (term.variable == effect || (code && term.variable == code->parent()));
}

/// True if an equation of the outcome has this random effect.
bool has_effect(const ModelList& models, const correlation_side& side, unsigned level) {
  return std::any_of(models.begin(), models.end(), [&](const Model& model) {
    if (model.link == model::link::log_variance) return false;
    if (std::find(model.outcomes.begin(), model.outcomes.end(), side.outcome) == model.outcomes.end())
      return false;
    return std::any_of(model.random.begin(), model.random.end(), [&](const anyVariable& term) {
      return is_effect(term, side.effect) && model.isRE(term, level);
    });
  });
}

/// A side of a phantom that the user wrote into an equation: the residual, or a random intercept above it.
correlation_side phantom_side(const Model& own, unsigned level) {
  correlation_side side;
  side.outcome = own.outcomes.front();
  side.outcome.param = model::parameter();
  side.name = side.outcome.fullname_noModifer();
  if (static_cast<std::int64_t>(level) >= own.levels) return side;
  for (const anyVariable& term : own.random) {
    if (term.is_intercept() && own.isRE(term, level)) side.effect = term.variable;
  }
  const auto id = std::find_if(own.clusters.begin(), own.clusters.end(),
                               [&](const auto& cluster) { return cluster->level == level; });
  if (id != own.clusters.end()) side.name += "[" + (*id)->fullName + "]";
  return side;
}

std::shared_ptr<const correlation> phantom_ends(unsigned level, const Model& first, const Model& second) {
  correlation ends{phantom_side(first, level), phantom_side(second, level), level};
  for (const auto& [side, own] : {std::pair(&ends.first, &first), std::pair(&ends.second, &second)}) {
    if (!side->effect && static_cast<std::int64_t>(level) < own->levels)
      throw error(
          "ERROR: Cannot specify correlation. The random effect does not exist\n         correlation:  " +
          arrow(ends.first, ends.second));
  }
  if (natural_less(ends.second.name, ends.first.name)) std::swap(ends.first, ends.second);
  return std::make_shared<const correlation>(std::move(ends));
}

void add_once(std::vector<anyVariable>& phantoms, const anyVariable& term) {
  if (std::find(phantoms.begin(), phantoms.end(), term) == phantoms.end()) phantoms.push_back(term);
}

/// Settles what a side is at the level of the covariance.
void resolve(correlation_side& side, const Model& own, unsigned level, const VariableList& variables,
             const std::string& statement) {
  const std::int64_t covariance = level;
  if (side.effect) {
    if (covariance >= own.levels) invalid_level(statement);
    return;
  }
  if (covariance > own.levels) invalid_level(statement);
  if (covariance == own.levels) return;
  side.effect = variables.subset(data::type::constant).front();
  side.name += "[" + identifier_at(level, variables, statement)->fullName + "]";
}

}  // namespace

std::string model::phantom_name(const std::string& first, const std::string& second) {
  std::string out = first + "\n" + second;
  out = replace_all(std::move(out), "$", "#");
  out = replace_all(std::move(out), "*", "##");
  out = replace_all(std::move(out), "[", "###");
  out = replace_all(std::move(out), "]", "####");
  return replace_all(std::move(out), "\n", "#cor#");
}

/// The equation of a side, which gets one if it has none, and its effect as far as the term says it.
correlation_side ModelList::correlated_side(const anyVariable& term, const block::one_model& statement,
                                            const VariableList& variables) {
  correlation_side side;
  side.outcome.variable = term.variable;
  side.name = term.variable->fullName;
  if (const auto* named = dynamic_cast<const data::random*>(term.variable.get())) {
    side.outcome.variable = named->applies_to();
    side.effect = named->term() ? named->term() : anyVariable::intercept(variables).variable;
  } else if (term.type != model::type::variable) {
    throw error(
        "ERROR: The dependent variable is invalid. It must be a normal variable or a missing data "
        "indicator.");
  } else if (term.level) {
    side.effect = anyVariable::intercept(variables).variable;
    side.name += "[" + term.level->fullName + "]";
  }
  if (!find(side.outcome)) add_model({side.outcome.fullname_noModifer() + " ~ ", statement.block}, variables);
  const Model& own = *find(side.outcome);
  if (own.kind() == model::kind::nominal)
    throw error("ERROR: Nominal outcomes (" + own.name() + ") cannot contain correlated residuals.");
  return side;
}

void ModelList::add_phantom_pair(const anyVariable& left, const anyVariable& right,
                                 const block::one_model& statement, VariableList& variables) {
  const std::string& text = statement.statement;
  check_missing(left, right, text);
  const model::parameter p = correlation_parameter(left, right, text);
  correlation_side a = correlated_side(left, statement, variables);
  correlation_side b = correlated_side(right, statement, variables);
  const auto level_of = [&](const correlation_side& side, const anyVariable& term) {
    if (!side.effect) return static_cast<unsigned>(find(side.outcome)->levels);
    const auto* named = dynamic_cast<const data::random*>(term.variable.get());
    return named ? named->cluster()->level : term.level->level;
  };
  const unsigned level = covariance_level(a, b, level_of(a, left), level_of(b, right), text);
  for (correlation_side* side : {&a, &b}) {
    resolve(*side, *find(side->outcome), level, variables, text);
    if (side->effect && !has_effect(*this, *side, level))
      throw error(
          "ERROR: Cannot specify correlation. The random effect does not exist\n         correlation:  " +
          arrow(a, b));
  }
  if (a.outcome == b.outcome) {
    if (a.effect == b.effect) throw error("ERROR: Cannot specify variances for random effects.\n");
    throw error("ERROR: The random effects '" + a.name + "' and '" + b.name +
                "' belong to one model,\n       which always estimates their correlation.");
  }
  if (natural_less(b.name, a.name)) std::swap(a, b);
  insert_correlation({a, b, level}, p, statement, variables);
}

void ModelList::insert_correlation(const correlation& ends, const model::parameter& p,
                                   const block::one_model& statement, VariableList& variables) {
  const std::string name = model::phantom_name(ends.first.name, ends.second.name);
  anyVariable term;
  term.variable = variables.find(name);
  if (!term.variable) {
    term.variable = variables.add_phantom(name);
    term.variable->level = ends.level;
  }
  term.type = model::type::phantom;
  term.is_derived = true;
  if (!find(term)) {
    term.ends = std::make_shared<const correlation>(ends);
    for (const correlation_side* side : {&ends.first, &ends.second})
      add_once(find(side->outcome)->phantoms, term);
    Model own(term);
    own.levels = static_cast<std::int32_t>(ends.level);
    own.clusters = find(ends.first.outcome)->clusters;
    own.table = names.get();
    own.block = statement.block == block::predef::none ? block::predef::model : statement.block;
    own.block_number = blocks.number(own.block);
    push_back(std::move(own));
  }
  if (!model::add_parameter(find(term)->variance, p))
    throw error("ERROR: The correlation for '" + ends.first.name + "' and '" + ends.second.name +
                "' already has a parameter label.");
}

void ModelList::complete_phantoms() {
  std::unordered_map<const data::variable*, std::vector<std::size_t>> holders;
  for (std::size_t i = 0; i < size(); ++i) {
    for (const anyVariable& phantom : at(i).phantoms) {
      if (phantom.ends) continue;
      std::vector<std::size_t>& list = holders[phantom.variable.get()];
      const bool known = std::any_of(list.begin(), list.end(), [&](std::size_t k) { return at(k) == at(i); });
      if (!known) list.push_back(i);
    }
  }
  const std::size_t n = holders.empty() ? 0 : size();
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t k = 0; k < at(i).phantoms.size(); ++k) {
      if (at(i).phantoms[k].ends) continue;
      const anyVariable& phantom = at(i).phantoms[k];
      const std::vector<std::size_t>& list = holders.at(phantom.variable.get());
      const bool correlates =
          list.size() == 2 && can_be_correlated(at(list[0]).kind()) && can_be_correlated(at(list[1]).kind());
      if (!correlates)
        throw error("ERROR: Phantom variable not in two models.\n       Problem variable: '" +
                    phantom.name() + "'");
      at(i).phantoms[k].ends = phantom_ends(phantom.variable->level, at(list[0]), at(list[1]));
      complete_phantom(at(i).phantoms[k], i);
    }
  }
}

void ModelList::complete_phantom(const anyVariable& phantom, std::size_t holder) {
  anyVariable outcome = phantom;
  const model::parameter given = phantom.param;
  outcome.param = model::parameter();
  if (!find(outcome)) {
    Model own(outcome);
    own.levels = static_cast<std::int32_t>(outcome.variable->level);
    own.clusters = at(holder).clusters;
    own.table = names.get();
    own.block = at(holder).block;
    own.block_number = at(holder).block_number;
    push_back(std::move(own));
  }
  if (!model::add_parameter(find(outcome)->variance, given))
    throw error("ERROR: The correlation for '" + outcome.name() + "' already has a parameter label.");
}

}  // namespace tovik
