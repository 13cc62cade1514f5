// "a b ~~ c d" and "a b <-> c d": every pair of a left and a right term. A pair of one variable speaks of its
// residual variance.

#include "model/correlation.hpp"

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/model_list.hpp"
#include "model/parameter_name.hpp"
#include "model/statement_text.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

anyVariable parse_side(const std::string& token, const VariableList& variables, evaluate::defines* names) {
  anyVariable term = anyVariable::parse(token, variables, names, false);
  model::check_no_variable(term.param, token, variables, false);
  if (term.type == model::type::random && (term.level || term.is_numbered))
    throw error("ERROR: Named random effect '" + term.name() + "' cannot have level modifier in covariance.");
  if (term.level && term.variable->level == 0 && !term.is_intercept())
    throw error("ERROR: Variable '" + term.name() +
                "' is single-level.\n       Cannot create covariance with random effects.");
  // What is correlated is the residual, which for an ordinal variable is that of its propensity anyway.
  if (term.type == model::type::latent) term.type = model::type::variable;
  return term;
}

std::vector<anyVariable> parse_sides(const std::string& text, const std::string& statement,
                                     const VariableList& variables, evaluate::defines* names) {
  std::vector<anyVariable> out;
  for (const std::string& token : model::terms(text, trim(text)))
    out.push_back(parse_side(token, variables, names));
  if (out.empty()) model::unable_to_parse(statement);
  return out;
}

void check_positive(const model::parameter& p, const std::string& name) {
  if ((p.is_fixed() && !(p.value() > 0)) || (p.has_start() && !(p.start() > 0)))
    throw error("ERROR: The variance for \"" + name + "\" must be positive.");
}

}  // namespace

namespace model {

bool joined_parameter(const anyVariable& left, const anyVariable& right, parameter& out) {
  out = right.param.is_free() ? left.param : right.param;
  if (!left.param.is_free() && !right.param.is_free() && !(left.param == right.param)) return false;
  for (const anyVariable* side : {&right, &left}) {
    if (!out.has_start() && side->param.has_start()) out.set_start(side->param.start());
  }
  return true;
}

bool add_parameter(parameter& to, const parameter& given) {
  if (given.is_free()) {
    if (given.has_start()) to.set_start(given.start());
    return true;
  }
  if (!to.is_free()) return to == given;
  to = given;
  return true;
}

}  // namespace model

void ModelList::add_correlation(const block::one_model& statement, VariableList& variables) {
  const std::string& text = statement.statement;
  const std::size_t arrow = model::find_outside(text, "<->");
  const std::size_t place = arrow != std::string::npos ? arrow : model::find_outside(text, "~~");
  if (place == std::string::npos) throw error_debug("No correlation in statement.");
  const std::size_t width = arrow != std::string::npos ? 3 : 2;
  const auto sides = [&](const std::string& part) {
    return model::with_statement(text, [&] { return parse_sides(part, text, variables, names.get()); });
  };
  const auto left = sides(text.substr(0, place));
  const auto right = sides(text.substr(place + width));
  for (const anyVariable& a : left) {
    for (const anyVariable& b : right) {
      if (a == b) {
        add_variance(a, b, statement, variables);
      } else {
        add_phantom_pair(a, b, statement, variables);
      }
    }
  }
}

void ModelList::add_variance(const anyVariable& left, const anyVariable& right,
                             const block::one_model& statement, const VariableList& variables) {
  if (left.type == model::type::missing)
    throw error("ERROR: Cannot specify variances for missingness models.\n");
  if (left.type == model::type::random || left.level)
    throw error("ERROR: Cannot specify variances for random effects.\n");
  const std::string twice = "ERROR: The variance for \"" + left.name() + "\" already has a parameter label.";
  if (!find(left)) add_model({left.fullname_noModifer() + " ~ ", statement.block}, variables);
  model::check_variance(*find(left), left.param, right.param);
  model::parameter p;
  if (!model::joined_parameter(left, right, p)) throw error(twice);
  check_positive(p, left.name());
  if (!model::add_parameter(find(left)->variance, p)) throw error(twice);
}

}  // namespace tovik
