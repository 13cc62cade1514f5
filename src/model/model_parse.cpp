// Model::Model: one statement "outcome ~ predictors | random". The random part is in random_parse.cpp.

#include <algorithm>

#include "data/named_effect.hpp"
#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/intercept_parse.hpp"
#include "model/model.hpp"
#include "model/outcome_parse.hpp"
#include "model/parameter_name.hpp"
#include "model/statement_text.hpp"
#include "model/term_check.hpp"
#include "model/term_suffix.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::combinationOfAnyVariable;

model::parameter intercept_parameter(const std::string& suffix, const std::string& term,
                                     const evaluate::defines* names) {
  const auto parts = model::term_suffix::split(suffix, term);
  const auto fail = [&]() {
    throw error(
        "ERROR: Unable to parse fixing of the intercept. This cannot be\n"
        "       a computation or a defined statement.\n       Problem Specificaiton: '" +
        term);
  };
  model::parameter p;
  try {
    p = parts.fixing_parameter(term);
  } catch (const error&) {
    fail();
  }
  if (p.has_label() && model::is_definition(p.label(), names)) fail();
  parts.add_start(p, term);
  return p;
}

/// The latent variable that has the label's name, or null: a coefficient with such a label varies as the
/// latent variable does.
std::shared_ptr<data::variable> latent_label(const model::parameter& p, const VariableList& variables) {
  if (!p.has_label()) return nullptr;
  const auto found = variables.find(p.label());
  return found && found->type == data::type::latent ? found : nullptr;
}

[[noreturn]] void unsupported_multivariate(const std::string& where, const std::string& statement) {
  throw error("ERROR: Currently multivariate outcomes are not supported " + where +
              ".\n       Correlate the dependent variables instead using <->\n"
              "       Problem Specificaiton: '" +
              statement);
}

/// An outcome that can stand beside others in one equation.
bool can_share(const model::outcome_term& outcome) {
  const data::type kind = outcome.term.variable->type;
  return outcome.term.type == model::type::variable && outcome.link == model::link::identity &&
         !outcome.term.is_transformed() && (kind == data::type::continuous || kind == data::type::latent);
}

/// A term as the first factor of a product.
std::string as_factor(const std::string& head, bool computed, const evaluate::defines* names) {
  return computed && !model::is_wrapped(head) && !model::is_definition(head, names) ? "(" + head + ")" : head;
}

[[noreturn]] void refuse_level(const std::string& term, const std::string& statement) {
  throw error("ERROR: Cannot select a level for '" + term +
              "'. Brackets select the level\n       of a random effect or of a latent mean.\n"
              "       Problem Specificaiton: '" +
              statement);
}

void check_fixed_level(const anyVariable& parsed, const std::string& term, const std::string& statement) {
  if (!parsed.level || parsed.is_numbered || parsed.type == model::type::mean) return;
  if (parsed.type == model::type::random || parsed.type == model::type::phantom)
    throw error("ERROR: Variable \"" + parsed.variable->fullName + "\" is a " +
                (parsed.type == model::type::random ? "random effect" : "phantom variable") +
                ".\n       Cannot have '[" + parsed.modifier + "]' attached to it.");
  refuse_level(term, statement);
}

}  // namespace

bool Model::allow_multivariate = false;

Model::Model(const std::string& statement, const VariableList& variables, evaluate::defines* names)
    : table(names) {
  const std::size_t tilde = model::find_outside(statement, "~");
  const std::string left = trim(statement.substr(0, tilde));
  if (tilde == std::string::npos || left.empty())
    throw error("ERROR: The MODEL command \"" + statement + "\" is not correctly specified.\n" +
                "       Each equation must be separated by semicolon and take on the following form:\n" +
                "           outcome ~ predictors");
  const std::string right = statement.substr(tilde + 1);
  const std::size_t bar = model::find_outside(right, "|");
  clusters = variables.clusters;
  std::stable_sort(clusters.begin(), clusters.end(),
                   [](const auto& a, const auto& b) { return a->level > b->level; });
  parse_outcome(left, statement, variables);
  parse_fixed(right.substr(0, bar), statement, variables);
  if (bar != std::string::npos) parse_random(right.substr(bar + 1), statement, variables);
  check_phantom(statement);
  check_own_effects();
  add_default_intercepts(variables);
  check_levels();
}

/// A phantom carries a correlation and nothing else: there is nothing that could be predicted.
void Model::check_phantom(const std::string& statement) const {
  if (kind() != model::kind::phantom) return;
  const bool plain = fixed.empty() ? !fixed_intercept_given
                                   : fixed.size() == 1 && has_fixed_intercept && !intercept_customised;
  if (plain && random.empty() && !random_intercept_given && fixed_compute.empty() && random_compute.empty() &&
      phantoms.empty())
    return;
  throw error("ERROR: The phantom variable '" + name() + "' cannot have predictors.\n       Specify '" +
              name() + " ~ 1' or leave out its equation.\n       Problem Specificaiton: '" + statement);
}

/// A random effect is part of its outcome already. It may predict the variance around it.
void Model::check_own_effects() const {
  if (link == model::link::log_variance) return;
  const auto check = [&](const anyVariable& term) {
    const auto* effect = dynamic_cast<const data::random*>(term.variable.get());
    if (!effect) return;
    for (const anyVariable& outcome : outcomes) {
      if (outcome.type == model::type::missing || effect->applies_to() != outcome.variable) continue;
      throw error("ERROR: The random effect '" + term.name() + "' cannot predict '" + outcome.name() +
                  "'.\n       It is an effect of the model for this outcome.");
    }
  };
  for (const auto* side : {&fixed, &random}) {
    for (const anyVariable& term : *side) check(term);
  }
  for (const auto* side : {&fixed_compute, &random_compute}) {
    for (const combinationOfAnyVariable& term : *side) {
      for (const anyVariable& variable : term.all_variables()) check(variable);
    }
  }
}

void Model::parse_outcome(const std::string& text, const std::string& statement,
                          const VariableList& variables) {
  // "y1 y2 | ~ x" and "y1 | y2 ~ x" name the outcomes of one equation.
  std::string left = text;
  for (std::size_t bar = model::find_outside(left, "|"); bar != std::string::npos;
       bar = left.find('|', bar + 1)) {
    left[bar] = ' ';
  }
  const std::vector<std::string> tokens = model::terms(left, left);
  if (tokens.empty())
    throw error("ERROR: The MODEL command \"" + statement + "\" is not correctly specified.\n" +
                "       Each equation must be separated by semicolon and take on the following form:\n" +
                "           outcome ~ predictors");
  if (tokens.size() > 1 && !allow_multivariate) unsupported_multivariate("for all variables", statement);
  for (const std::string& token : tokens) {
    const model::outcome_term parsed = model::parse_outcome(token, statement, variables, table);
    if (tokens.size() > 1 && !can_share(parsed)) unsupported_multivariate("with this model", statement);
    const auto level = static_cast<std::int32_t>(model::catalogue_level(parsed.term));
    if (!outcomes.empty() && level != levels)
      throw error("ERROR: Outcome Variables must be observed at the same level of measurement.");
    outcomes.push_back(parsed.term);
    link = parsed.link;
    link_given = parsed.link_given;
    levels = level;
  }
}

void Model::parse_fixed(const std::string& text, const std::string& statement,
                        const VariableList& variables) {
  for (const std::string& term : model::terms(text, name())) {
    const model::term_text cut = model::cut_suffix(term);
    if (model::removes_intercept(cut)) {
      if (fixed_intercept_given) model::multiple_intercepts("intercepts", statement);
      fixed_intercept_given = true;
      continue;
    }
    if (model::is_intercept_word(cut.head)) {
      if (fixed_intercept_given) model::multiple_intercepts("intercepts", statement);
      parse_intercept(cut.suffix, term, variables);
      continue;
    }
    model::check_computation(cut.head, term);
    const bool computed = model::is_compute(cut.head, table);
    anyVariable parsed;
    if (!computed) {
      parsed = anyVariable::parse(term, variables, table, false);
      model::check_phantom_request(parsed);
      model::check_no_outcome(parsed, outcomes);
      check_fixed_level(parsed, term, statement);
    }
    const model::parameter param = computed ? model::parse_parameter(cut.suffix, term) : parsed.param;
    model::check_no_variable(param, term, variables, true);
    const auto latent = latent_label(param, variables);
    if (!latent && !computed) {
      (parsed.type == model::type::phantom ? phantoms : fixed).push_back(std::move(parsed));
      continue;
    }
    if (computed && model::has_level_behind(cut.head, table)) refuse_level(term, statement);
    auto term_of = combinationOfAnyVariable::parse(
        latent ? as_factor(cut.head, computed, table) + "*" + latent->fullName : cut.head, term, variables,
        table);
    // Beside a label inside, a free coefficient is not identified: only their product is.
    const bool scaled = param.is_free() && !param.has_start() && !term_of.labels().empty();
    term_of.param = latent || scaled ? model::parameter::fixed_at(1) : param;
    model::check_no_outcome(term_of, outcomes);
    fixed_compute.push_back(std::move(term_of));
  }
}

/// A label that is the name of a latent variable makes the intercept vary as that variable does: its place is
/// taken by the variable with coefficient 1. One fixed at 0, however that is written, is none.
void Model::parse_intercept(const std::string& suffix, const std::string& term,
                            const VariableList& variables) {
  fixed_intercept_given = true;
  anyVariable intercept = anyVariable::intercept(variables);
  intercept.param = intercept_parameter(suffix, term, table);
  model::check_no_variable(intercept.param, term, variables, true);
  if (const auto latent = latent_label(intercept.param, variables)) {
    intercept_varies.push_back(latent);
    intercept.variable = latent;
    intercept.param = model::parameter::fixed_at(1);
    model::check_no_outcome(intercept, outcomes);
    fixed.push_back(std::move(intercept));
    return;
  }
  if (intercept.param.is_fixed() && intercept.param.value() == 0.0) return;
  intercept_customised = !suffix.empty();
  has_fixed_intercept = true;
  fixed.insert(fixed.begin(), std::move(intercept));
}

/// An equation has an intercept unless it was removed, and in clustered data a random intercept at every
/// level above its outcome: leaving it out by default would understate the standard errors. A phantom has
/// mean 0.
void Model::add_default_intercepts(const VariableList& variables) {
  const bool phantom = kind() == model::kind::phantom;
  if (!fixed_intercept_given && !phantom) {
    has_fixed_intercept = true;
    fixed.insert(fixed.begin(), anyVariable::intercept(variables));
  }
  if (!random_intercept_given && levels > 0 && link != model::link::log_variance &&
      model::has_predictors(kind())) {
    has_random_intercept = true;
    random.insert(random.begin(), anyVariable::intercept(variables));
  }
}

}  // namespace tovik
