// From MODEL statements to the list of equations.

#include "model/parse.hpp"

#include <algorithm>
#include <unordered_set>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/defaults.hpp"
#include "model/statement_text.hpp"
#include "support/error.hpp"
#include "support/source.hpp"
#include "support/text.hpp"

namespace tovik::sem {
namespace {

constexpr const char* operators = "=<>!+-*/^~,";

/// "name = ...": the first operator is a lone "=", and one name stands before it.
bool is_definition(const std::string& statement) {
  const std::size_t sign = model::find_first_outside(statement, operators);
  if (sign == std::string::npos || statement[sign] != '=') return false;
  if (sign + 1 < statement.size() && statement[sign + 1] == '=') return false;
  return words(statement.substr(0, sign)).size() == 1;
}

bool holds(const std::string& statement, const char* sign) {
  return model::find_outside(statement, sign) != std::string::npos;
}

/// "y <- x" in the form "y ~ x".
std::string arrow_to_tilde(const std::string& statement) {
  if (holds(statement, "~")) return statement;
  const std::size_t arrow = model::find_outside(statement, "<-");
  const std::string right = trim(statement.substr(arrow + 2));
  if (right.empty())
    throw error("ERROR: The MODEL command \"" + statement + "\" is not correctly specified.\n");
  return statement.substr(0, arrow) + "~ " + right;
}

/// Lets equations use a definition that stands further down. A name that is data is no definition, which
/// shows when the definition is given.
void announce(const std::string& statement, const VariableList& variables, evaluate::defines& names) {
  const std::size_t sign = model::find_first_outside(statement, operators);
  const std::string name = trim(statement.substr(0, sign));
  if (!variables.find(name)) names.announce(name, trim(statement.substr(sign + 1)));
}

/// The statements with their kinds.
struct kinds_of_statements {
  std::vector<block::one_model> statements;
  std::vector<statement_kind> kinds;

  explicit kinds_of_statements(std::vector<block::one_model> all) : statements(std::move(all)) {
    for (block::one_model& one : statements) {
      one.statement = trim(one.statement);
      source::enter(one.statement);
      kinds.push_back(classify(one.statement));
      source::leave();
    }
  }

  template <class Visit>
  void each(statement_kind wanted, const Visit& visit) const {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      if (kinds[i] != wanted) continue;
      source::enter(statements[i].statement);
      visit(statements[i]);
      source::leave();
    }
  }
};

/// Computed parameters may not read data. The table of names has to know the variables that they name, to
/// tell them from parameters that do not exist.
void enter_variables(const ModelList& models, const VariableList& variables) {
  std::unordered_set<std::string> parameters;
  for (const model::parameter& p : models.constraints()) parameters.insert(to_lower(p.label()));
  for (const Model& model : models) {
    if (!model::is_equation(model.kind())) parameters.insert(to_lower(model.name()));
  }
  for (const Model& model : models) {
    if (model.kind() != model::kind::computation) continue;
    for (const std::string& name : model::expression_names(model.computation)) {
      if (parameters.count(to_lower(name)) > 0 || models.names->find(name)) continue;
      if (const auto variable = variables.find(name)) models.names->define_data(name, variable->column);
    }
  }
}

/// A name of PARAMETERS stands for a parameter and for nothing else.
void check_parameter_names(const ModelList& models, const VariableList& variables) {
  for (const Model& model : models) {
    if (model::is_equation(model.kind()) || !variables.find(model.name())) continue;
    throw error("ERROR: The parameter '" + model.name() +
                "' in the PARAMETER command has the name of a variable.");
  }
}

/// Regressions and loadings. `full`: see ModelList::add_loading.
void add_equations(ModelList& models, const kinds_of_statements& all, const VariableList& variables,
                   const ModelList* full) {
  all.each(statement_kind::regression, [&](const block::one_model& one) {
    models.add_seq({arrow_to_tilde(one.statement), one.block}, variables);
  });
  models.index();
  if (!defaults::reduce_models) models.checkTransform();
  all.each(statement_kind::loading,
           [&](const block::one_model& one) { models.add_loading(one, variables, full); });
}

void assemble(ModelList& models, const VariableList& variables) {
  models.checkMissingModels(variables);
  models.checkFactorModels(variables);
  if (defaults::reduce_models) models.reduce();
  models.check_outcomes();
  models.pair_variance_models();
  models.replace_random_intercepts();
  models.complete_phantoms();
  models.fix_factor_means();
  if (defaults::optimize_models) models.optimize();
  if (defaults::sort_models) models.sort();
  models.index();
}

}  // namespace

statement_kind classify(const std::string& statement) {
  if (trim(statement).empty()) return statement_kind::empty;
  if (holds(statement, "<->") || holds(statement, "~~")) return statement_kind::correlation;
  if (holds(statement, "=~") || holds(statement, "->")) return statement_kind::loading;
  if (holds(statement, "~")) return statement_kind::regression;
  if (is_definition(statement)) return statement_kind::definition;
  if (holds(statement, "<-")) return statement_kind::regression;
  model::unable_to_parse(statement);
}

ModelList _parse(std::vector<block::one_model> statements, VariableList& variables,
                 const block::map& blocks) {
  const kinds_of_statements all(std::move(statements));
  ModelList models(blocks);
  variables.index();
  all.each(statement_kind::definition,
           [&](const block::one_model& one) { announce(one.statement, variables, *models.names); });
  add_equations(models, all, variables, nullptr);
  all.each(statement_kind::correlation,
           [&](const block::one_model& one) { models.add_correlation(one, variables); });
  assemble(models, variables);
  return models;
}

void complete(ModelList& models, const std::vector<block::one_model>& statements,
              const VariableList& variables, const list_settings& settings) {
  for (const bool priors : {true, false}) {
    for (const std::string& statement : settings.parameters) {
      if (holds(statement, "~") != priors) continue;
      source::enter(statement);
      priors ? models.add_parameter(statement) : models.add_computation(statement);
      source::leave();
    }
  }
  check_parameter_names(models, variables);
  models.fix_factor_scales();
  if (settings.heterogeneous && !settings.weighted) models.set_heterogeneous();
  if (settings.weighted) models.set_weights();
  models.warn_duplicates();
  models.warn_cycles();
  enter_variables(models, variables);
  models.define_parameters();
  kinds_of_statements(statements).each(statement_kind::definition, [&](const block::one_model& one) {
    models.add_define(one, variables);
  });
  models.index();
  models.set_roles();
}

ModelList parse(const std::vector<block::one_model>& statements, VariableList& variables,
                const block::map& blocks, const list_settings& settings) {
  ModelList models = _parse(statements, variables, blocks);
  complete(models, statements, variables, settings);
  return models;
}

namespace {

/// A variance model among the restricted equations stands alone, as it does among those of the run once it
/// has found its owner.
void mark_variance_models(ModelList& restricted) {
  for (Model& model : restricted) {
    if (model.link != model::link::log_variance) continue;
    for (model::anyVariable& outcome : model.outcomes) outcome.type = model::type::variance;
  }
}

/// An intercept that the run holds, because nothing tells the mean of its factor, is held in the restricted
/// equation too.
void take_pinned_means(ModelList& restricted, const ModelList& full) {
  for (Model& model : restricted) {
    const auto own = std::find(full.begin(), full.end(), model);
    if (own == full.end() || own->fixed_intercept_given || model.fixed_intercept_given) continue;
    if (!own->has_fixed_intercept || !model.has_fixed_intercept) continue;
    const model::parameter& pin = own->fixed.front().param;
    if (pin.is_fixed()) model.fixed.front().param = pin;
  }
}

}  // namespace

ModelList parse_waldtest(const std::vector<block::one_model>& statements, const VariableList& variables,
                         const block::map& blocks, const ModelList& full) {
  const kinds_of_statements all(statements);
  VariableList known = variables;
  known.settled = true;
  known.index();
  ModelList models(blocks);
  models.names = full.names->copy();
  all.each(statement_kind::correlation, [](const block::one_model&) {
    throw error(
        "ERROR: Cannot specify WALDTEST model differences with correlations.\n"
        "       Specify tests via the 'parameter = value' specificaiton.");
  });
  add_equations(models, all, known, &full);
  if (defaults::reduce_models) models.reduce();
  models.check_outcomes();
  mark_variance_models(models);
  take_pinned_means(models, full);
  if (defaults::sort_models) models.sort();
  models.index();
  return models;
}

}  // namespace tovik::sem
