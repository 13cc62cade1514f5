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

/// The names of the term or of its dummy codes.
std::vector<std::string> code_names(const anyVariable& term) {
  if (term.variable->dummies.empty()) return {term.name()};
  std::vector<std::string> out;
  for (const auto& code : term.variable->dummies) out.push_back(code->name + suffix_of(term.type));
  return out;
}

unsigned column_at(const std::vector<unsigned>& columns, std::size_t place) {
  return place < columns.size() ? columns[place] : data::variable::no_column;
}

/// The values as an equation reads them: a centred outcome has a copy beside its own column.
unsigned value_column(const data::variable& v) {
  return v.centered_columns.empty() ? v.column : v.centered_columns.front();
}

std::vector<term_column> derived_columns(const anyVariable& term, const std::vector<unsigned>& columns) {
  std::vector<term_column> out;
  for (std::string& name : code_names(term))
    out.push_back({std::move(name), column_at(columns, out.size()), term.variable->level});
  return out;
}

std::string identifier_text(const std::vector<std::shared_ptr<data::variable>>& clusters, unsigned level) {
  for (const auto& id : clusters) {
    if (id->level == level) return "[" + id->name + "]";
  }
  return "";
}

/// variable->means has the nearest level first, and at each level one column for each code.
std::vector<term_column> mean_columns(const anyVariable& term,
                                      const std::vector<std::shared_ptr<data::variable>>& clusters) {
  const std::vector<std::string> codes = code_names(term);
  const unsigned levels = term.variable->level;
  std::vector<term_column> out;
  for (unsigned k = 0; k < levels; ++k) {
    const unsigned level = levels - 1 - k;
    if (term.level && term.level->level != level) continue;
    const std::string id = levels > 1 ? identifier_text(clusters, level) : "";
    for (std::size_t code = 0; code < codes.size(); ++code)
      out.push_back({codes[code] + id, column_at(term.variable->means, k * codes.size() + code), level});
  }
  return out;
}

}  // namespace

anyVariable anyVariable::intercept(const VariableList& variables) {
  anyVariable term;
  term.variable = variables.find("1");
  if (!term.variable || term.variable->type != data::type::constant) {
    const auto constants = variables.subset(data::type::constant);
    if (constants.empty()) throw error_debug("No constant in the catalogue.");
    term.variable = constants.front();
  }
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

unsigned anyVariable::top_level() const {
  return type == model::type::mean && variable->level > 0 ? variable->level - 1 : variable->level;
}

std::vector<term_column> anyVariable::columns(
    const std::vector<std::shared_ptr<data::variable>>& clusters) const {
  const unsigned own = is_intercept() ? data::variable::no_level : variable->level;
  switch (type) {
    case model::type::mean:
      return mean_columns(*this, clusters);
    case model::type::latent:
      return derived_columns(*this, variable->latent);
    case model::type::missing:
      return {{name(), column_at(variable->rstar, 0), own}};
    case model::type::multi:
      return {};
    default:
      break;
  }
  if (variable->dummies.empty()) return {{name(), value_column(*variable), own}};
  std::vector<term_column> out;
  for (const auto& code : variable->dummies) out.push_back({code->name, value_column(*code), own});
  return out;
}

std::vector<std::string> anyVariable::names() const {
  std::vector<std::string> out;
  for (term_column& c : columns()) out.push_back(std::move(c.name));
  return out;
}

std::vector<unsigned> anyVariable::indicator() const {
  std::vector<unsigned> out;
  for (const term_column& c : columns()) out.push_back(c.column);
  return out;
}

bool anyVariable::isRE(unsigned level_value) const {
  if (level && level->level != level_value) return false;
  return is_intercept() || level_value < top_level();
}

bool operator==(const anyVariable& a, const anyVariable& b) {
  return a.variable == b.variable && a.type == b.type && a.level == b.level && a.modifier == b.modifier;
}

bool operator<(const anyVariable& a, const anyVariable& b) {
  return natural_less(a.name(), b.name());
}

}  // namespace tovik::model
