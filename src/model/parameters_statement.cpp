// PARAMETERS statements: "name ~ distribution(a, b)" gives a parameter a prior, "name = expression" computes
// one from others. Neither holds variables.

#include <algorithm>
#include <memory>

#include "evaluate/constants.hpp"
#include "evaluate/defines.hpp"
#include "evaluate/error.hpp"
#include "evaluate/parser.hpp"
#include "model/compute.hpp"
#include "model/distribution.hpp"
#include "model/model_list.hpp"
#include "model/parameter_name.hpp"
#include "model/statement_text.hpp"
#include "model/trial.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

[[noreturn]] void misspecified_computation(const std::string& statement) {
  throw error("ERROR: The PARAMETER command \"" + statement + "\" is not correctly specified.\n" +
              "       Each equation must be separated by semicolon and take one of the following forms:\n" +
              "           parameter = computation;");
}

model::anyVariable parameter_outcome(const std::string& name, data::type kind) {
  model::anyVariable outcome;
  outcome.variable = std::make_shared<data::variable>(name, kind, data::variable::no_column, 0u);
  return outcome;
}

/// Whether the expression can be read and evaluated at all; which of its names are parameters is known later.
void check_computation(const std::string& expression, const std::string& statement) {
  if (expression.empty() || expression.find_first_of("@%~|") != std::string::npos)
    misspecified_computation(statement);
  model::check_functions(expression);
  try {
    evaluate::defines names;
    for (const std::string& name : model::expression_names(expression)) names.define_var(name, 0);
    const auto tree = evaluate::opt_ast(expression, names);
    if (!tree->is_vector) model::try_out_scalar(*tree);
  } catch (const evaluate::error_parse& fault) {
    throw error(fault.message() + "\n" + expression + "\n       See \"" + statement + "\"");
  } catch (const evaluate::error& fault) {
    throw error(evaluate::user_text(fault) + "\n       See \"" + statement + "\"");
  }
}

/// First place of the "=" that splits a computation.
std::size_t equal_sign(const std::string& statement) {
  const std::size_t place = model::find_first_outside(statement, "=<>!+-*/^,");
  const bool lone = place != std::string::npos && statement[place] == '=' &&
                    (place + 1 == statement.size() || statement[place + 1] != '=');
  return lone ? place : std::string::npos;
}

}  // namespace

Model::Model(const std::string& statement) : levels(0) {
  const std::size_t tilde = model::find_outside(statement, "~");
  if (tilde != std::string::npos) {
    const std::string name = trim(statement.substr(0, tilde));
    if (!model::is_parameter_name(name)) model::misspecified_parameter(statement);
    outcomes = {parameter_outcome(name, data::type::parameter)};
    prior = model::distribution::parse(statement.substr(tilde + 1), statement);
    block = block::predef::parameter;
    return;
  }
  const std::size_t equal = equal_sign(statement);
  const std::string name = trim(statement.substr(0, equal));
  if (equal == std::string::npos || !model::is_parameter_name(name)) misspecified_computation(statement);
  outcomes = {parameter_outcome(name, data::type::computation)};
  computation = trim(statement.substr(equal + 1));
  check_computation(computation, statement);
  block = block::predef::computation;
}

void ModelList::add_parameter(const std::string& statement) {
  const std::size_t tilde = model::find_outside(statement, "~");
  const std::vector<std::string> left = words(statement.substr(0, tilde));
  if (tilde == std::string::npos || left.empty()) model::misspecified_parameter(statement);
  for (const std::string& name : left)
    add_named_parameter(name + " ~ " + trim(statement.substr(tilde + 1)), statement);
}

void ModelList::add_computation(const std::string& statement) {
  const std::size_t equal = equal_sign(statement);
  const std::vector<std::string> left = words(statement.substr(0, equal));
  if (equal == std::string::npos || left.empty()) misspecified_computation(statement);
  for (const std::string& name : left)
    add_named_parameter(name + " = " + trim(statement.substr(equal + 1)), statement);
}

void ModelList::add_named_parameter(const std::string& text, const std::string& statement) {
  Model added(text);
  if (parameter_names_.empty()) {
    for (const Model& model : *this) {
      if (!model::is_equation(model.kind())) parameter_names_.insert(to_lower(model.name()));
    }
  }
  if (!parameter_names_.insert(to_lower(added.name())).second)
    throw error("ERROR: The PARAMETER command \"" + statement + "\" is not correctly specified.\n" +
                "       The defined parameter has already been specified.");
  added.table = names.get();
  added.block_number = blocks.number(added.block);
  push_back(std::move(added));
}

}  // namespace tovik
