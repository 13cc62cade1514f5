#include "model/any_variable.hpp"

#include "data/variable_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

std::string suffix_of(type kind) {
  switch (kind) {
    case type::mean:
      return ".mean";
    case type::latent:
      return ".latent";
    case type::missing:
      return ".missing";
    default:
      return "";
  }
}

}  // namespace

anyVariable anyVariable::intercept(const VariableList& variables) {
  const auto constants = variables.subset(data::type::constant);
  if (constants.empty()) throw error_debug("No constant in the catalogue.");
  anyVariable term;
  term.variable = constants.front();
  return term;
}

bool anyVariable::is_intercept() const {
  return variable->type == data::type::constant;
}

std::string anyVariable::name() const {
  return is_intercept() ? "Intercept" : variable->name + suffix_of(type);
}

std::string anyVariable::fullname_noModifer() const {
  return is_intercept() ? "Intercept" : variable->fullName + suffix_of(type);
}

std::string anyVariable::fullname_lower() const {
  return to_lower(fullname_noModifer() + (modifier.empty() ? "" : "[" + modifier + "]"));
}

std::string anyVariable::text() const {
  return name() + (modifier.empty() ? "" : "[" + modifier + "]") + param.text();
}

std::vector<std::string> anyVariable::names() const {
  if (variable->dummies.empty()) return {name()};
  std::vector<std::string> out;
  for (const auto& code : variable->dummies) out.push_back(code->name);
  return out;
}

std::vector<unsigned> anyVariable::indicator() const {
  if (variable->dummies.empty()) return {variable->column};
  std::vector<unsigned> out;
  for (const auto& code : variable->dummies) out.push_back(code->column);
  return out;
}

bool anyVariable::isRE(unsigned level_value) const {
  if (level && level->level != level_value) return false;
  return is_intercept() || level_value < variable->level;
}

bool operator==(const anyVariable& a, const anyVariable& b) {
  return a.variable == b.variable && a.type == b.type && a.level == b.level && a.modifier == b.modifier;
}

bool operator<(const anyVariable& a, const anyVariable& b) {
  return natural_less(a.name(), b.name());
}

}  // namespace tovik::model
