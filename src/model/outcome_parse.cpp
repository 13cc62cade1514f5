#include "model/outcome_parse.hpp"

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/scan.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

/// "f(argument)" cut into its two parts; an empty function for any other text.
struct call {
  std::string function;
  std::string argument;
};

call read_call(const std::string& token) {
  const std::size_t open = token.find('(');
  if (open == std::string::npos || !is_wrapped(token.substr(open))) return {};
  return {trim(token.substr(0, open)), trim(token.substr(open + 1, token.size() - open - 2))};
}

anyVariable parse_plain(const std::string& token, const std::string& statement, const VariableList& variables,
                        evaluate::defines* names) {
  if (names && names->is_def(token))
    throw error(
        "ERROR: Cannot have variables defined in the MODEL command as outcomes.\n"
        "       Use the TRANSFORM command instead. See:\n       \"" +
        statement);
  if (token.find_first_of("@%") != std::string::npos) misspecified_transformation(statement);
  anyVariable out = anyVariable::parse(token, variables, names, true);
  if (out.level) not_available::refuse("A level in brackets on an outcome (see '" + statement + "')");
  return out;
}

void check_logit(const data::variable& y) {
  if (y.type == data::type::nominal) return;
  if (y.values.size() != 2)
    throw error("ERROR: Logit link is currently only avaiable for binary and nominal variables.\n" +
                std::string("       Variable '") + y.name + "' has " + std::to_string(y.values.size()) +
                " categories.");
  if (y.values[0] != 0.0 || y.values[1] != 1.0)
    throw error(
        "ERROR: Ordinal Logit link is only avaiable for 0/1 data.\n"
        "       Use NOMINAL command for other types of binary variables.");
}

void check_probit(const data::variable& y, const std::string& statement) {
  if (y.type == data::type::nominal)
    throw error("ERROR: Probit link is currently not avaiable for nominal variables.\n" +
                std::string("       Variable '") + y.name + "' is defined as nominal.");
  if (y.type != data::type::ordinal)
    throw error(
        "ERROR: Cannot recognize link function for normal distribution models.\n"
        "       Problem Specificaiton: '" +
        statement);
}

/// "yjt(y)" or "yjt(y, lambda)".
[[noreturn]] void refuse_yjt(const std::string& argument, const std::string& statement,
                             const VariableList& variables, evaluate::defines* names) {
  const std::size_t comma = find_outside(argument, ",");
  parse_plain(trim(argument.substr(0, comma)), statement, variables, names);
  if (comma != std::string::npos && variables.find(trim(argument.substr(comma + 1))))
    throw error(
        "ERROR: Lambda parameter in Yeo-Johnson outcome transformation cannot\n"
        "       share a variable's name.");
  not_available::refuse("The Yeo-Johnson outcome transformation (see '" + statement + "')");
}

/// Any other function of one variable.
[[noreturn]] void refuse_transformation(const std::string& token, const std::string& statement,
                                        const VariableList& variables, evaluate::defines* names) {
  if (!is_transformation(token)) misspecified_transformation(statement);
  const anyVariable y = parse_plain(expression_names(token).front(), statement, variables, names);
  if (y.type == type::phantom)
    throw error(
        "ERROR: Cannot perform transformations on phantom variable.\n       Problem Specificaiton: '" +
        statement);
  not_available::refuse("A transformed outcome (see '" + statement + "')");
}

/// A nominal outcome is logistic, an ordinal one is a probit model, any other normal in its own scale.
model::link default_link(data::type kind) {
  if (kind == data::type::nominal) return model::link::logit;
  return kind == data::type::ordinal ? model::link::probit : model::link::identity;
}

}  // namespace

outcome_term parse_outcome(const std::string& token, const std::string& statement,
                           const VariableList& variables, evaluate::defines* names) {
  const std::string text = is_wrapped(token) ? trim(token.substr(1, token.size() - 2)) : token;
  const call outer = read_call(text);
  outcome_term out;
  if (outer.function == "yjt") refuse_yjt(outer.argument, statement, variables, names);
  if (outer.function == "var") not_available::refuse("A variance model (see '" + statement + "')");
  if (outer.function == "logit" || outer.function == "probit") {
    out.term = parse_plain(outer.argument, statement, variables, names);
    out.link_given = true;
    out.link = outer.function == "logit" ? model::link::logit : model::link::probit;
    if (outer.function == "logit") check_logit(*out.term.variable);
    if (outer.function == "probit") check_probit(*out.term.variable, statement);
    return out;
  }
  const std::string head = text.substr(0, text.find('['));
  if (is_compute(head, nullptr)) refuse_transformation(text, statement, variables, names);
  out.term = parse_plain(text, statement, variables, names);
  out.link = default_link(out.term.variable->type);
  return out;
}

}  // namespace tovik::model
