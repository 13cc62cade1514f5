// Outcomes that are transformed inline: f(y) ~ terms, with an f that can be undone.

#include "model/transformation.hpp"

#include <memory>

#include "data/variable_list.hpp"
#include "evaluate/error.hpp"
#include "evaluate/generate_command.hpp"
#include "evaluate/operations.hpp"
#include "evaluate/pair.hpp"
#include "evaluate/parser.hpp"
#include "model/compute.hpp"
#include "model/model.hpp"
#include "model/term_suffix.hpp"
#include "model/trial.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

/// The tree of the expression with its one variable as "#DATA(0)".
std::unique_ptr<evaluate::node> forward_tree(const std::string& expression) {
  const std::vector<std::string> names = expression_names(expression);
  const std::vector<unsigned> zeros(names.size(), 0);
  return evaluate::opt_ast(evaluate::generate_command(expression, names, zeros, evaluate::CMD::DATA));
}

[[noreturn]] void unable(const std::string& statement, const std::string& reason) {
  throw error("ERROR: Unable to parse outcome transformation for:\n       \"" + statement + "\"\n       " +
              reason);
}

[[noreturn]] void cannot_transform(const std::string& what, const std::string& statement) {
  throw error("ERROR: Cannot perform transformations on " + what + ".\n       Problem Specificaiton: '" +
              statement);
}

}  // namespace

void check_transformed(const anyVariable& outcome, const std::string& statement) {
  if (outcome.type == type::phantom) cannot_transform("phantom variable", statement);
  if (outcome.type == type::missing) cannot_transform("missing data indicators", statement);
  const data::type kind = outcome.variable->type;
  if (outcome.type != type::variable || (kind != data::type::continuous && kind != data::type::latent))
    cannot_transform("dependent variable", statement);
}

parameter parse_lambda(const std::string& text, const std::string& statement, const VariableList& variables) {
  if (text.empty() || text.find_first_of("@,()") != std::string::npos) misspecified_transformation(statement);
  const parameter lambda = parse_parameter((text.front() == '%' ? "" : "@") + text, statement);
  if (lambda.has_label() && variables.find(lambda.label()))
    throw error(
        "ERROR: Lambda parameter in Yeo-Johnson outcome transformation cannot\n"
        "       share a variable's name.");
  return lambda;
}

anyVariable anyVariable::parse_transform(const std::string& expression, const std::string& statement,
                                         const VariableList& variables, evaluate::defines* names) {
  if (!is_transformation(expression)) misspecified_transformation(statement);
  const std::string name = expression_names(expression).front();
  if (is_definition(name, names))
    throw error(
        "ERROR: Cannot have variables defined in the MODEL command as outcomes.\n"
        "       Use the TRANSFORM command instead. See:\n       \"" +
        statement);
  anyVariable out = parse(name, variables, names, true);
  check_transformed(out, statement);
  out.transformation = expression;
  try {
    const evaluate::pair both = out.pair();
    try_out(*both.data_side);
    try_out(*both.parameter_side);
  } catch (const evaluate::error_parse& fault) {
    unable(statement, fault.message());
  } catch (const evaluate::error& fault) {
    unable(statement, evaluate::user_text(fault));
  }
  return out;
}

evaluate::pair anyVariable::pair() const {
  return is_transformed() ? evaluate::pair::transformation(forward_tree(transformation)) : evaluate::pair();
}

}  // namespace tovik::model

namespace tovik {

evaluate::pair Model::pair() const {
  return outcomes.empty() ? evaluate::pair() : outcomes.front().pair();
}

}  // namespace tovik
