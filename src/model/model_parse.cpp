// Model::Model: one statement "outcome ~ predictors | random".

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/model.hpp"
#include "model/outcome_parse.hpp"
#include "model/scan.hpp"
#include "model/term_suffix.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

/// "1" or "Intercept", with or without a bracket.
bool is_intercept_word(const std::string& head) {
  const std::string word = trim(head.substr(0, head.find('[')));
  return word == "1" || iequals(word, "Intercept");
}

/// "0", "1@0" and "Intercept@0".
bool removes_intercept(const model::term_text& cut) {
  if (cut.suffix.empty()) return cut.head == "0";
  return cut.suffix == "@0" && (cut.head == "1" || iequals(cut.head, "Intercept"));
}

[[noreturn]] void multiple_intercepts(const std::string& kind, const std::string& statement) {
  throw error("ERROR: Multiple " + kind +
              " are specified.\n       There can only be one inercept per model.\n" +
              "       Problem Specificaiton: '" + statement);
}

model::parameter intercept_parameter(const std::string& suffix, const std::string& term) {
  const auto parts = model::term_suffix::split(suffix, term);
  model::parameter p;
  try {
    p = parts.fixing_parameter(term);
  } catch (const error&) {
    throw error(
        "ERROR: Unable to parse fixing of the intercept. This cannot be\n"
        "       a computation or a defined statement.\n       Problem Specificaiton: '" +
        term);
  }
  parts.add_start(p, term);
  return p;
}

/// Stops at an outcome on the right side, also at a dummy code of a nominal outcome.
void check_no_outcome(const anyVariable& term, const std::vector<anyVariable>& outcomes) {
  const auto* code = dynamic_cast<const data::dummy*>(term.variable.get());
  for (const anyVariable& outcome : outcomes) {
    if ((term.variable == outcome.variable && term.type == outcome.type) ||
        (code && code->parent() == outcome.variable))
      throw error("ERROR: Cannot include outcome as a predictor.");
  }
}

bool is_latent_label(const model::parameter& p, const VariableList& variables) {
  if (!p.has_label()) return false;
  const auto found = variables.find(p.label());
  return found && found->type == data::type::latent;
}

void check_computation(const model::term_text& cut, const std::string& term) {
  if (cut.head.find_first_of("@%") != std::string::npos) model::misspecified_computation(term);
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
  add_default_intercepts(variables);
  check_levels();
}

void Model::parse_outcome(const std::string& text, const std::string& statement,
                          const VariableList& variables) {
  const std::vector<std::string> tokens = model::terms(text, text);
  if (tokens.size() > 1) {
    if (!allow_multivariate)
      throw error(
          "ERROR: Currently multivariate outcomes are not supported for all variables.\n"
          "       Correlate the dependent variables instead using <->\n       Problem Specificaiton: '" +
          statement);
    not_available::refuse("More than one outcome in an equation (see '" + statement + "')");
  }
  const model::outcome_term parsed = model::parse_outcome(tokens.front(), statement, variables, table);
  outcomes = {parsed.term};
  link = parsed.link;
  link_given = parsed.link_given;
  levels = static_cast<std::int32_t>(parsed.term.variable->level);
}

void Model::parse_fixed(const std::string& text, const std::string& statement,
                        const VariableList& variables) {
  for (const std::string& term : model::terms(text, name())) {
    const model::term_text cut = model::cut_suffix(term);
    if (removes_intercept(cut)) {
      if (fixed_intercept_given) multiple_intercepts("intercepts", statement);
      fixed_intercept_given = true;
      continue;
    }
    check_computation(cut, term);
    if (is_intercept_word(cut.head)) {
      if (cut.head.find('[') != std::string::npos)
        not_available::refuse("A level in brackets on a fixed term (see '" + term + "')");
      if (fixed_intercept_given) multiple_intercepts("intercepts", statement);
      anyVariable intercept = anyVariable::intercept(variables);
      intercept.param = intercept_parameter(cut.suffix, term);
      intercept_customised = !cut.suffix.empty();
      fixed_intercept_given = has_fixed_intercept = true;
      fixed.insert(fixed.begin(), intercept);
      continue;
    }
    if (model::is_compute(cut.head, table)) {
      model::check_functions(cut.head);
      not_available::refuse("A computed term in an equation (see '" + term + "')");
    }
    const anyVariable parsed = anyVariable::parse(term, variables, table, false);
    check_no_outcome(parsed, outcomes);
    if (is_latent_label(parsed.param, variables))
      not_available::refuse("A latent variable as a slope (see '" + term + "')");
    if (parsed.level) not_available::refuse("A level in brackets on a fixed term (see '" + term + "')");
    fixed.push_back(parsed);
  }
}

void Model::parse_random(const std::string& text, const std::string& statement,
                         const VariableList& variables) {
  const std::vector<std::string> tokens = model::terms(text, name(), "| ");
  if (tokens.empty()) return;
  if (levels == 0)
    throw error("ERROR: Cannot specify Random effects for single-level model.\n" +
                std::string("       Misspecified Model statement:\n         \"") + statement);
  for (const std::string& term : tokens) {
    const model::term_text cut = model::cut_suffix(term);
    const bool intercept = is_intercept_word(cut.head);
    if (removes_intercept(cut) || intercept) {
      if (random_intercept_given) multiple_intercepts("random intercepts", statement);
      random_intercept_given = true;
    }
    if (removes_intercept(cut)) continue;
    check_computation(cut, term);
    if (!intercept && model::is_compute(cut.head.substr(0, cut.head.find('[')), table)) {
      if (cut.head.find('[') != std::string::npos)
        throw error(
            "ERROR: Cannot select specific for random effects with computations.\n"
            "       You must manually specify random effects via the LATENT command.\n       See '" +
            term);
      model::check_functions(cut.head);
      not_available::refuse("A computed random term in an equation (see '" + term + "')");
    }
    std::string plain = term;
    if (intercept && cut.head[0] == '1') plain.replace(plain.find('1'), 1, "Intercept");
    const anyVariable parsed = anyVariable::parse(plain, variables, table, false);
    check_no_outcome(parsed, outcomes);
    check_random_parameter(parsed.param, term, statement);
    has_random_intercept = has_random_intercept || intercept;
    random.insert(intercept ? random.begin() : random.end(), parsed);
  }
}

void Model::check_random_parameter(const model::parameter& param, const std::string& term,
                                   const std::string& statement) const {
  if (param.is_fixed())
    throw error("ERROR: The random effect variance for '" + term +
                "' cannot\n       be fixed to a value.\n       Problem model: " + statement);
  if (!param.has_label()) return;
  for (const anyVariable& other : random) {
    if (param == other.param)
      throw error(
          "ERROR: The random effect variance label '" + param.label() +
          "' cannot\n       be assigned to more than one parameter. \n       Problem model: " + statement);
  }
}

/// An equation has an intercept unless it was removed, and in clustered data a random intercept at every
/// level above its outcome: leaving it out by default would understate the standard errors.
void Model::add_default_intercepts(const VariableList& variables) {
  if (!fixed_intercept_given) {
    has_fixed_intercept = true;
    fixed.insert(fixed.begin(), anyVariable::intercept(variables));
  }
  if (!random_intercept_given && levels > 0 && link != model::link::log_variance &&
      (kind() < 8 || kind() > 11)) {
    has_random_intercept = true;
    random.insert(random.begin(), anyVariable::intercept(variables));
  }
}

void Model::check_levels() const {
  const unsigned own = static_cast<unsigned>(levels);
  const std::string tail =
      "\" is observed at a lower\n       level than the outcome (" + name() + ") it predicts.";
  for (const anyVariable& term : fixed) {
    if (term.variable->level > own) throw error("ERROR: The predictor \"" + term.name() + tail);
  }
  for (const anyVariable& term : random) {
    if (term.variable->level > own) throw error("ERROR: The random predictor \"" + term.name() + tail);
    bool stands = false;
    for (unsigned c = 0; c < own; ++c) stands = stands || isRE(term, c);
    if (stands) continue;
    if (term.is_intercept())
      throw error("ERROR: The random intercept for \"" + term.modifier + "\" is at a level\n" +
                  "       that doesn't exist for the outcome (" + name() + ").");
    throw error("ERROR: The random predictor \"" + term.name() + "\" is single-level.\n" +
                "       Random predictors must at least have two-levels.");
  }
}

}  // namespace tovik
