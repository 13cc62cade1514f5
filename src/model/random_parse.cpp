// The random part of a statement, behind "|", and the rules on the levels of all terms.

#include <algorithm>
#include <unordered_set>

#include "data/variable_list.hpp"
#include "model/compute.hpp"
#include "model/intercept_parse.hpp"
#include "model/model.hpp"
#include "model/parameter_name.hpp"
#include "model/term_check.hpp"
#include "model/term_suffix.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace model {

bool is_intercept_word(const std::string& head, bool with_bracket) {
  const std::string word = with_bracket ? trim(head.substr(0, head.find('['))) : head;
  return word == "1" || iequals(word, "Intercept");
}

bool removes_intercept(const term_text& cut) {
  if (cut.suffix.empty()) return cut.head == "0";
  return cut.suffix == "@0" && is_intercept_word(cut.head);
}

void multiple_intercepts(const std::string& kind, const std::string& statement) {
  throw error("ERROR: Multiple " + kind +
              " are specified.\n       There can only be one inercept per model.\n" +
              "       Problem Specificaiton: '" + statement);
}

void check_computation(const std::string& head, const std::string& term) {
  if (head.find_first_of("@%") != std::string::npos) misspecified_computation(term);
}

bool has_level_behind(const std::string& head, const evaluate::defines* names) {
  const std::size_t open = head.rfind('[');
  if (open == std::string::npos || head.back() != ']') return false;
  const std::string before = trim(head.substr(0, open));
  return (!before.empty() && before.back() == ')') || is_definition(before, names);
}

}  // namespace model

namespace {

using model::anyVariable;
using model::combinationOfAnyVariable;

/// A fixed variance is refused; a label belongs to one variance of the model.
void check_variance(const model::parameter& param, std::size_t n_variances,
                    std::unordered_set<std::string>& labels, const std::string& term,
                    const std::string& statement) {
  if (param.is_fixed())
    throw error("ERROR: The random effect variance for '" + term +
                "' cannot\n       be fixed to a value.\n       Problem model: " + statement);
  if (!param.has_label()) return;
  if (n_variances > 1 || !labels.insert(to_lower(param.label())).second)
    throw error(
        "ERROR: The random effect variance label '" + param.label() +
        "' cannot\n       be assigned to more than one parameter. \n       Problem model: " + statement);
}

void check_random_kind(const anyVariable& parsed) {
  model::check_phantom_request(parsed);
  if (parsed.type == model::type::phantom)
    throw error("ERROR: The random predictor \"" + parsed.name() +
                "\" is a phantom variable.\n       Phantom variables cannot have random effects.");
  if (parsed.type == model::type::random && parsed.level)
    throw error("ERROR: Variable \"" + parsed.variable->fullName +
                "\" is a random effect.\n       Cannot have '[" + parsed.modifier + "]' attached to it.");
}

}  // namespace

void Model::parse_random(const std::string& text, const std::string& statement,
                         const VariableList& variables) {
  const std::vector<std::string> tokens = model::terms(text, name(), "| ");
  if (tokens.empty()) return;
  if (link == model::link::log_variance)
    throw error(
        "ERROR: Cannot specify Random effects for variance models directly.\n"
        "       Specify random effects using the LATENT command.\n"
        "       Misspecified Model statement:\n         \"" +
        statement);
  if (levels == 0)
    throw error("ERROR: Cannot specify Random effects for single-level model.\n" +
                std::string("       Misspecified Model statement:\n         \"") + statement);
  std::unordered_set<std::string> labels;
  for (const std::string& term : tokens) {
    const model::term_text cut = model::cut_suffix(term);
    const bool removed = model::removes_intercept(cut);
    const bool intercept = model::is_intercept_word(cut.head, true);
    if (removed || intercept) {
      if (random_intercept_given) model::multiple_intercepts("random intercepts", statement);
      random_intercept_given = true;
    }
    if (removed) continue;
    model::check_computation(cut.head, term);
    if (!intercept && (model::is_compute(cut.head, table) || model::has_level_behind(cut.head, table))) {
      parse_random_computed(cut, term, variables);
      model::check_no_variable(random_compute.back().param, term, variables, false);
      check_variance(random_compute.back().param, n_variances(random_compute.back()), labels, term,
                     statement);
      continue;
    }
    std::string plain = term;
    if (intercept && cut.head[0] == '1') plain.replace(plain.find('1'), 1, "Intercept");
    const anyVariable parsed = anyVariable::parse(plain, variables, table, false);
    check_random_kind(parsed);
    model::check_no_variable(parsed.param, term, variables, false);
    model::check_no_outcome(parsed, outcomes);
    check_variance(parsed.param, n_variances(parsed), labels, term, statement);
    has_random_intercept = has_random_intercept || intercept;
    random.insert(intercept ? random.begin() : random.end(), parsed);
  }
}

void Model::parse_random_computed(const model::term_text& cut, const std::string& term,
                                  const VariableList& variables) {
  if (model::has_level_behind(cut.head, table))
    throw error(
        "ERROR: Cannot select specific for random effects with computations.\n"
        "       You must manually specify random effects via the LATENT command.\n       See '" +
        term);
  auto parsed = combinationOfAnyVariable::parse(cut.head, term, variables, table);
  parsed.param = model::parse_parameter(cut.suffix, term);
  parsed.is_random = true;
  model::check_no_outcome(parsed, outcomes);
  random_compute.push_back(std::move(parsed));
}

std::size_t Model::n_variances(const anyVariable& term) const {
  std::size_t n = 0;
  for (std::int32_t c = 0; c < levels; ++c) n += design(term, static_cast<unsigned>(c)).size();
  return n;
}

std::size_t Model::n_variances(const combinationOfAnyVariable& term) const {
  std::size_t n = 0;
  for (std::int32_t c = 0; c < levels; ++c) {
    if (isRE(term, static_cast<unsigned>(c))) n += term.names().size();
  }
  return n;
}

void Model::check_levels() const {
  const auto own = static_cast<unsigned>(levels);
  const std::string tail =
      "\" is observed at a lower\n       level than the outcome (" + name() + ") it predicts.";
  const auto check = [&](const anyVariable& term, const char* what) {
    if (model::catalogue_level(term) > own) throw error(what + term.name() + tail);
  };
  const auto single_level = [](const std::string& predictor) {
    throw error("ERROR: The random predictor \"" + predictor + "\" is single-level.\n" +
                "       Random predictors must at least have two-levels.");
  };
  for (const anyVariable& term : fixed) {
    // Of the latent means of several levels an outcome takes those at its own level and above.
    if (term.type != model::type::mean || term.level) check(term, "ERROR: The predictor \"");
  }
  for (const combinationOfAnyVariable& term : fixed_compute) {
    for (const anyVariable& variable : term.all_variables()) check(variable, "ERROR: The predictor \"");
  }
  for (const anyVariable& term : random) {
    check(term, "ERROR: The random predictor \"");
    if (n_variances(term) > 0) continue;
    if (term.is_intercept())
      throw error("ERROR: The random intercept for \"" + term.modifier + "\" is at a level\n" +
                  "       that doesn't exist for the outcome (" + name() + ").");
    single_level(term.name());
  }
  for (const combinationOfAnyVariable& term : random_compute) {
    for (const anyVariable& variable : term.all_variables())
      check(variable, "ERROR: The random predictor \"");
    if (n_variances(term) == 0) single_level(join(term.names(), " "));
  }
  for (const anyVariable& phantom : phantoms) {
    if (phantom.variable->level > own)
      throw error("ERROR: The phantom variable for \"" + phantom.name() +
                  "\" predicts a level\n       that doesn't exist for the outcome (" + name() + ").");
  }
  if (!phantoms.empty() && kind() == model::kind::nominal)
    throw error("ERROR: Nominal outcomes (" + name() + ") cannot contain correlated residuals.");
}

}  // namespace tovik
