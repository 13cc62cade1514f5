// anyVariable::parse: one term of a statement, read from the right.

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/any_variable.hpp"
#include "model/scan.hpp"
#include "model/term_suffix.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

[[noreturn]] void not_found(const std::string& name) {
  throw error("ERROR: Cannot find variable \"" + name + "\" in VARIABLE command.");
}

/// Cuts "[id]" off the name and finds the identifier.
void read_bracket(std::string& name, anyVariable& out, const std::string& term,
                  const VariableList& variables) {
  const std::size_t open = name.find('[');
  if (open == std::string::npos) return;
  const std::string head = name.substr(0, open);
  const std::size_t close = name.find(']', open);
  if (close == std::string::npos)
    throw error("ERROR: Variable '" + head + "'is more than two-levels.\n" +
                "       Need to specify which random effect using brackets.\n" + "       For exmaple : '" +
                head + "[ID]' for the level-2 random intercept.");
  const std::string id = trim(name.substr(open + 1, close - open - 1));
  const auto found = variables.find(id);
  if (!found)
    throw error("ERROR: Cannot find identifier variable '" + id + "'\n       referenced in '" + term + "'.");
  if (found->type != data::type::id)
    throw error("ERROR: Variable '" + id + "' is not an identifier variable.\n       Referenced in '" + term +
                "'.");
  out.modifier = found->name;
  out.level = found;
  name = head + name.substr(close + 1);
}

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// ".missing", ".mean" and ".latent": their mistakes are told apart, then they are refused.
void read_type_suffix(const std::string& name, const anyVariable& out, const std::string& term,
                      const VariableList& variables, const evaluate::defines* names) {
  for (const std::string suffix : {".missing", ".mean", ".latent"}) {
    if (!ends_with(name, suffix) || variables.find(name)) continue;
    if (suffix != ".mean" && out.level)
      throw error("ERROR: Misspecification with \"" + suffix.substr(1) + "\" suffix: \"" + term + "\"");
    const std::string base = name.substr(0, name.size() - suffix.size());
    const auto found = variables.find(base);
    if (!found && names && names->is_def(base))
      throw error("ERROR: The Variable \"" + base +
                  "\" is defined in the\n       MODEL command and cannot have any modifiers\n"
                  "       (i.e., .mean, .latent, .misisng).");
    if (!found) not_found(base);
    if (found->type == data::type::random_effect)
      throw error("ERROR: Variable \"" + base + "\" is a random effect.\n       Cannot have '" + suffix +
                  "' attached to it.");
    if (suffix == ".latent" && found->type != data::type::ordinal)
      throw error("ERROR: Variable \"" + base + "\" must be ordinal to use latent propensity.");
    if (suffix == ".mean" && found->level == 0)
      throw error("ERROR: Variable \"" + base +
                  "\" does not have a latent mean       because it is single level.");
    not_available::refuse("The suffix \"" + suffix + "\" (see '" + term + "')");
  }
}

/// "name$k": a phantom at a numbered level.
void read_phantom_level(const std::string& name, const std::string& term, const VariableList& variables) {
  const std::size_t dollar = name.rfind('$');
  if (dollar == std::string::npos || dollar + 1 == name.size()) return;
  if (!std::all_of(name.begin() + static_cast<std::ptrdiff_t>(dollar) + 1, name.end(),
                   [](char c) { return c >= '0' && c <= '9'; }))
    return;
  if (!variables.find(name.substr(0, dollar))) not_found(name.substr(0, dollar));
  not_available::refuse("A phantom variable's level (see '" + term + "')");
}

void check_outcome(const anyVariable& out) {
  switch (out.variable->type) {
    case data::type::constant:
      throw error("ERROR: The intercept cannot be a dependent variable.");
    case data::type::id:
      throw error("ERROR: The identifier variable cannot be a dependent variable.");
    case data::type::dummy:
      throw error("ERROR: Dummy code dependent variables are not currently supported.");
    case data::type::weight:
      throw error(
          "ERROR: The dependent variable is invalid. It must be a normal variable or a missing data "
          "indicator.");
    default:
      break;
  }
  if (out.variable->fixed())
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
  read_type_suffix(name, out, term, variables, names);
  out.variable = iequals(name, "Intercept") ? intercept(variables).variable : variables.find(name);
  if (!out.variable) {
    read_phantom_level(name, term, variables);
    not_found(name);
  }
  if (out.variable->type == data::type::random_effect) out.type = model::type::random;
  if (out.variable->type == data::type::phantom) out.type = model::type::phantom;
  if (is_outcome) check_outcome(out);
  return out;
}

}  // namespace tovik::model
