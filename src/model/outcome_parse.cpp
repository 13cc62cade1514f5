#include "model/outcome_parse.hpp"

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/statement_text.hpp"
#include "model/transformation.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

anyVariable parse_plain(const std::string& token, const std::string& statement, const VariableList& variables,
                        evaluate::defines* names) {
  if (is_definition(token, names))
    throw error(
        "ERROR: Cannot have variables defined in the MODEL command as outcomes.\n"
        "       Use the TRANSFORM command instead. See:\n       \"" +
        statement);
  if (token.find_first_of("@%") != std::string::npos) misspecified_transformation(statement);
  return anyVariable::parse(token, variables, names, true);
}

[[noreturn]] void no_logit(const std::string& name, std::size_t n_categories) {
  throw error("ERROR: Logit link is currently only avaiable for binary and nominal variables.\n" +
              std::string("       Variable '") + name + "' has " + std::to_string(n_categories) +
              " categories.");
}

void check_logit(const anyVariable& term) {
  const data::variable& y = *term.variable;
  if (term.type != type::variable) no_logit(term.name(), 2);
  if (y.type == data::type::nominal) return;
  if (y.type != data::type::ordinal || y.values.size() != 2) no_logit(y.name, y.values.size());
  if (y.values[0] != 0.0 || y.values[1] != 1.0)
    throw error(
        "ERROR: Ordinal Logit link is only avaiable for 0/1 data.\n"
        "       Use NOMINAL command for other types of binary variables.");
}

void check_probit(const anyVariable& term, const std::string& statement) {
  const data::variable& y = *term.variable;
  if (term.type == type::missing) return;
  if (y.type == data::type::nominal)
    throw error("ERROR: Probit link is currently not avaiable for nominal variables.\n" +
                std::string("       Variable '") + y.name + "' is defined as nominal.");
  if (y.type != data::type::ordinal)
    throw error(
        "ERROR: Cannot recognize link function for normal distribution models.\n"
        "       Problem Specificaiton: '" +
        statement);
}

/// A nominal outcome is logistic, an ordinal one is a probit model, any other normal in its own scale. A
/// missing data indicator is always a probit model and needs no link to say so.
model::link default_link(const anyVariable& term) {
  if (term.type != type::variable) return model::link::identity;
  if (term.variable->type == data::type::nominal) return model::link::logit;
  return term.variable->type == data::type::ordinal ? model::link::probit : model::link::identity;
}

/// The links that are written as functions, each around a plain name: around anything else the word is a
/// function of the outcome.
outcome_term parse_link(const call& outer, const std::string& name, const std::string& statement,
                        const VariableList& variables, evaluate::defines* names) {
  outcome_term out;
  out.term = parse_plain(name, statement, variables, names);
  out.link_given = true;
  if (outer.function == "logit") {
    check_logit(out.term);
    out.link = link::logit;
  } else if (outer.function == "probit") {
    check_probit(out.term, statement);
    out.link_given = out.term.type != type::missing;
    out.link = out.link_given ? link::probit : link::identity;
  } else if (outer.function == "yjt") {
    check_transformed(out.term, statement);
    out.link = link::yjt;
  } else {
    out.link = link::log_variance;
  }
  return out;
}

bool is_link(const std::string& function) {
  return function == "logit" || function == "probit" || function == "yjt" || function == "var";
}

}  // namespace

call read_call(const std::string& token) {
  const std::size_t open = token.find('(');
  if (open == std::string::npos || !is_wrapped(std::string_view(token).substr(open))) return {};
  return {trim(token.substr(0, open)), trim(token.substr(open + 1, token.size() - open - 2))};
}

outcome_term parse_outcome(const std::string& token, const std::string& statement,
                           const VariableList& variables, evaluate::defines* names) {
  const std::string text = is_wrapped(token) ? trim(token.substr(1, token.size() - 2)) : token;
  const call outer = read_call(text);
  if (is_link(outer.function)) {
    const std::size_t comma = outer.function == "yjt" ? find_outside(outer.argument, ",") : std::string::npos;
    const std::string name = trim(outer.argument.substr(0, comma));
    if (!is_compute(name, nullptr)) {
      outcome_term out = parse_link(outer, name, statement, variables, names);
      if (comma != std::string::npos)
        out.term.lambda = parse_lambda(trim(outer.argument.substr(comma + 1)), statement, variables);
      return out;
    }
  }
  outcome_term out;
  if (is_compute(text, nullptr)) {
    out.term = anyVariable::parse_transform(text, statement, variables, names);
    out.link = link::identity;
    return out;
  }
  out.term = parse_plain(text, statement, variables, names);
  out.link = default_link(out.term);
  return out;
}

}  // namespace tovik::model
