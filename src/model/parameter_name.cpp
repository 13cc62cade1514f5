#include "model/parameter_name.hpp"

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/constants.hpp"

namespace tovik::model {

bool begins_number(const std::string& text) {
  return !text.empty() && std::string(".+-0123456789").find(text.front()) != std::string::npos;
}

bool is_parameter_name(const std::string& name) {
  if (name.empty() || begins_number(name)) return false;
  if (name.find_first_of("@%~|[]#$=!\"' \t") != std::string::npos) return false;
  return std::none_of(evaluate::op_parsing.begin(), evaluate::op_parsing.end(),
                      [&](const std::string& sign) { return name.find(sign) != std::string::npos; });
}

void check_no_variable(const parameter& p, const std::string& term, const VariableList& variables,
                       bool latent_varies) {
  if (!p.has_label()) return;
  const auto found = variables.find(p.label());
  if (!found || (latent_varies && found->type == data::type::latent)) return;
  throw error_suffix("ERROR: The label '" + p.label() + "' is the name of a variable.\n       See \"" + term +
                     "\"");
}

}  // namespace tovik::model
