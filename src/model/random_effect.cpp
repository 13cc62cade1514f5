#include "model/random_effect.hpp"

#include "data/variable_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

[[noreturn]] void misspecified(const std::string& statement) {
  throw error(
      "ERROR: RANDOMEFFECT command not correctly specified.\n"
      "       Command must be name = outcome | term[identifier].\n       Problem command: " +
      statement);
}

bool is_one_name(const std::string& text) {
  return !text.empty() && text.find_first_of(" \t=|[]()@%~") == std::string::npos;
}

}  // namespace

data::random_effect parse_random_effect(const std::string& statement, const VariableList& variables) {
  const std::size_t equals = statement.find('=');
  const std::size_t bar = statement.find('|');
  if (equals == std::string::npos || bar == std::string::npos || bar < equals) misspecified(statement);
  data::random_effect out;
  out.fullline = trim(statement);
  out.name = trim(statement.substr(0, equals));
  out.outcome = trim(statement.substr(equals + 1, bar - equals - 1));
  const std::string effect = trim(statement.substr(bar + 1));
  const std::size_t open = effect.find('[');
  out.term = trim(effect.substr(0, open));
  if (!is_one_name(out.name) || !is_one_name(out.outcome) || !is_one_name(out.term)) misspecified(statement);
  if (out.term == "1" || iequals(out.term, "Intercept")) out.term = "Intercept";
  if (open != std::string::npos) {
    if (effect.back() != ']') misspecified(statement);
    out.cluster = trim(effect.substr(open + 1, effect.size() - open - 2));
    if (!is_one_name(out.cluster)) misspecified(statement);
  } else if (variables.clusters.size() == 1) {
    out.cluster = variables.clusters.front()->fullName;
  } else if (variables.clusters.size() > 1) {
    throw error("ERROR: Variable '" + out.term + "'is more than two-levels.\n" +
                "       Need to specify which random effect using brackets.\n" + "       For exmaple : '" +
                out.term + "[ID]' for the level-2 random intercept.");
  }
  return out;
}

}  // namespace tovik::model
