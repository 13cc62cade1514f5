// anyVariable::parse: one term of a statement, read from the right.

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/any_variable.hpp"
#include "model/compute.hpp"
#include "model/statement_text.hpp"
#include "model/term_suffix.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

struct type_suffix {
  std::string text;  ///< with its dot
  model::type type;
};

const std::vector<type_suffix> type_suffixes = {
    {".missing", type::missing}, {".mean", type::mean}, {".latent", type::latent}};

[[noreturn]] void not_found(const std::string& name) {
  throw error("ERROR: Cannot find variable \"" + name + "\" in VARIABLE command.");
}

[[noreturn]] void misspecified_suffix(const std::string& suffix, const std::string& term) {
  throw error("ERROR: Misspecification with \"" + suffix.substr(1) + "\" suffix: \"" + term + "\"");
}

/// Cuts "[id]" off the name and finds the identifier.
void read_bracket(std::string& name, anyVariable& out, const std::string& term,
                  const VariableList& variables) {
  const std::size_t open = name.find('[');
  if (open == std::string::npos) return;
  const std::string head = trim(name.substr(0, open));
  const std::size_t close = name.find(']', open);
  if (close == std::string::npos)
    throw error("ERROR: Variable '" + head + "'is more than two-levels.\n" +
                "       Need to specify which random effect using brackets.\n" + "       For exmaple : '" +
                head + "[ID]' for the level-2 random intercept.");
  if (close + 1 != name.size()) not_found(name);
  const std::string id = trim(name.substr(open + 1, close - open - 1));
  const auto found = variables.find(id);
  if (!found)
    throw error("ERROR: Cannot find identifier variable '" + id + "'\n       referenced in '" + term + "'.");
  if (found->type != data::type::id)
    throw error("ERROR: Variable '" + id + "' is not an identifier variable.\n       Referenced in '" + term +
                "'.");
  out.modifier = found->name;
  out.level = found;
  name = head;
}

/// What a variable is that has neither a latent mean nor missing values nor a propensity; "" for others.
std::string bare_kind(const data::variable& variable, const std::string& suffix) {
  switch (variable.type) {
    case data::type::random_effect:
      return "a random effect";
    case data::type::phantom:
      return "a phantom variable";
    case data::type::constant:
      return "the intercept";
    case data::type::id:
      return "an identifier variable";
    case data::type::weight:
      return "a sampling weight";
    case data::type::dummy:
      return "a dummy code";
    case data::type::latent:
      return suffix == ".missing" ? "a latent variable" : "";
    default:
      return "";
  }
}

void check_suffix(const data::variable& variable, const type_suffix& suffix, const std::string& base) {
  const std::string kind = bare_kind(variable, suffix.text);
  if (!kind.empty())
    throw error("ERROR: Variable \"" + base + "\" is " + kind + ".\n       Cannot have '" + suffix.text +
                "' attached to it.");
  if (suffix.type == type::latent && variable.type != data::type::ordinal)
    throw error("ERROR: Variable \"" + base + "\" must be ordinal to use latent propensity.");
  if (suffix.type == type::mean && variable.level == 0)
    throw error("ERROR: Variable \"" + base +
                "\" does not have a latent mean       because it is single level.");
}

/// A bracket on a latent mean selects a level above the variable.
void check_mean_level(const anyVariable& out, const std::string& term) {
  if (out.level && out.level->level >= out.variable->level)
    throw error("ERROR: Invalid level selection. Mispecificaiton in '" + term + "'");
}

/// ".missing", ".mean" and ".latent", unless the whole name is that of a variable.
bool read_type_suffix(const std::string& name, anyVariable& out, const std::string& term,
                      const VariableList& variables, const evaluate::defines* names) {
  for (const type_suffix& suffix : type_suffixes) {
    if (!iends_with(name, suffix.text) || variables.find(name)) continue;
    if (suffix.type != type::mean && out.level) misspecified_suffix(suffix.text, term);
    const std::string base = name.substr(0, name.size() - suffix.text.size());
    out.variable = variables.find(base);
    if (!out.variable && is_definition(base, names))
      throw error("ERROR: The Variable \"" + base +
                  "\" is defined in the\n       MODEL command and cannot have any modifiers\n"
                  "       (i.e., .mean, .latent, .misisng).");
    if (!out.variable) not_found(base);
    check_suffix(*out.variable, suffix, base);
    out.type = suffix.type;
    if (out.type == type::mean) check_mean_level(out, term);
    return true;
  }
  return false;
}

/// "name$k": the level as the number that reports show, 1 for the lowest of the data.
bool read_numbered_level(const std::string& name, anyVariable& out, const std::string& term,
                         const VariableList& variables) {
  const std::size_t dollar = name.rfind('$');
  if (dollar == std::string::npos || dollar == 0) return false;
  const std::string base = name.substr(0, dollar);
  const std::string digits = name.substr(dollar + 1);
  out.variable = variables.find(base);
  if (!out.variable) {
    for (const type_suffix& suffix : type_suffixes) {
      if (suffix.type != type::mean && iends_with(base, suffix.text)) misspecified_suffix(suffix.text, term);
    }
    not_found(base);
  }
  const auto digit = [](char c) { return c >= '0' && c <= '9'; };
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), digit))
    throw error("ERROR: Could not parse level for '" + term + "'");
  const auto& clusters = variables.clusters;
  const std::size_t top = clusters.size() + 1;
  const std::size_t number = digits.size() > 9 ? top + 1 : std::stoul(digits);
  const std::size_t level = number <= top ? top - number : 0;  // clustering levels above
  const bool own_only = out.variable->type == data::type::phantom;
  if (number == 0 || number > top || out.level || level > out.variable->level ||
      (own_only && level != out.variable->level))
    throw error("ERROR: Invalid level selection. Mispecificaiton in '" + term + "'");
  out.is_numbered = true;
  if (level == out.variable->level) return true;
  out.level = clusters[number - 2];
  out.modifier = out.level->name;
  return true;
}

[[noreturn]] void invalid_outcome() {
  throw error(
      "ERROR: The dependent variable is invalid. It must be a normal variable or a missing data indicator.");
}

void check_outcome(const anyVariable& out, bool settled) {
  switch (out.variable->type) {
    case data::type::constant:
      throw error("ERROR: The intercept cannot be a dependent variable.");
    case data::type::id:
      throw error("ERROR: The identifier variable cannot be a dependent variable.");
    case data::type::dummy:
      throw error("ERROR: Dummy code dependent variables are not currently supported.");
    case data::type::weight:
    case data::type::random_effect:
      invalid_outcome();
    default:
      break;
  }
  if (out.type != type::variable && out.type != type::missing && out.type != type::phantom) invalid_outcome();
  if (out.is_numbered && out.type != type::phantom)
    throw error("ERROR: Variable \"" + out.variable->fullName +
                "\" is not a phantom variable, but is being requested as one.");
  if (out.level) invalid_outcome();
  if (out.variable->fixed() && !settled)
    throw error("ERROR: Dependent Variable \"" + out.variable->fullName + "\" cannot be fixed.");
}

}  // namespace

anyVariable anyVariable::parse(const std::string& term, const VariableList& variables,
                               evaluate::defines* names, bool is_outcome) {
  anyVariable out;
  const term_text cut = cut_suffix(term);
  out.param = parse_parameter(cut.suffix, term);
  std::string name = cut.head;
  read_bracket(name, out, term, variables);
  if (!read_type_suffix(name, out, term, variables, names)) {
    out.variable = iequals(name, "Intercept") ? intercept(variables).variable : variables.find(name);
    if (!out.variable && !read_numbered_level(name, out, term, variables)) not_found(name);
    if (out.variable->type == data::type::random_effect) out.type = model::type::random;
    if (out.variable->type == data::type::phantom) out.type = model::type::phantom;
  }
  if (is_outcome) check_outcome(out, variables.settled);
  return out;
}

}  // namespace tovik::model
