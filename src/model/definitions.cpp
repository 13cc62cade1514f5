// "name = expression" in the MODEL command.

#include <memory>

#include "data/variable_list.hpp"
#include "evaluate/constants.hpp"
#include "evaluate/defines.hpp"
#include "evaluate/error.hpp"
#include "evaluate/operations.hpp"
#include "model/compute.hpp"
#include "model/model_list.hpp"
#include "model/statement_text.hpp"
#include "model/term_check.hpp"
#include "model/trial.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

constexpr int parameter_cell = 3;

[[noreturn]] void fail(const std::string& what, const std::string& statement) {
  throw error("ERROR: " + what + "\n       Problem command: " + statement);
}

/// A name that an expression reads as something else, or a term cannot hold.
bool is_reserved_name(const std::string& name) {
  const char c = name.empty() ? '0' : name.front();
  return (c >= '0' && c <= '9') || c == '.' || iequals(name, "Intercept") || evaluate::op.count(name) > 0 ||
         evaluate::co.count(name) > 0 || name.find_first_of("@%[]$|#") != std::string::npos;
}

void check_name(const std::string& name, const std::string& statement, const VariableList& variables) {
  if (variables.find(to_lower(name))) fail("defined variable name already exists in the dataset.", statement);
  if (name.find_first_of(" \t") != std::string::npos)
    fail("defined variable names cannot include spaces.", statement);
  if (is_reserved_name(name))
    fail("defined variable names cannot be numbers or words of the language.", statement);
}

/// Enters the variables of the expression that the table does not know yet.
void define_variables(const std::string& expression, const std::string& statement,
                      const VariableList& variables, evaluate::defines& names) {
  for (const std::string& token : model::expression_names(expression)) {
    const evaluate::defines::def* known = names.find(token);
    if (known && known->kind == parameter_cell && variables.find(token))
      fail("The name '" + token +
               "' in the MODEL define statement is\n       a variable and the label of a "
               "parameter.",
           statement);
    if (known || model::is_number_word(token)) continue;
    const anyVariable term = anyVariable::parse(token, variables, &names, false);
    model::check_phantom_request(term);
    const auto columns = term.columns();
    if (columns.size() != 1)
      fail("The variable (" + token +
               ") in the MODEL define statement refers to\n"
               "       more than one column (i.e., nominal variable or latent means).\n"
               "       Model defines must only generate one new variable.",
           statement);
    names.define_data(token, columns.front().column);
  }
}

}  // namespace

void ModelList::add_define(const block::one_model& one, const VariableList& variables) {
  const std::string& statement = one.statement;
  const std::size_t sign = statement.find('=');
  if (sign == std::string::npos) throw error_debug("No definition in statement.");
  const std::string name = trim(statement.substr(0, sign));
  const std::string expression = join(words(statement.substr(sign + 1)), " ");
  check_name(name, statement, variables);
  if (expression.find_first_of("@%") != std::string::npos)
    fail("Cannot include @ or % when defining a variable.", statement);
  if (expression.empty())
    fail("No command specified on the right hand side of the MODEL define statement.", statement);
  model::check_functions(expression);
  define_variables(expression, statement, variables, *names);
  try {
    if (!names->define(name, expression))
      throw error("ERROR: The defined variable '" + name +
                  "' already exists.\n       Use a different name or do not redefine the varaible in\n"
                  "       MODEL command.");
    const auto tree = names->find(name)->get_node();
    model::try_out(*tree);
  } catch (const evaluate::error& fault) {
    throw error(evaluate::user_text(fault) + "\n       See \"" + statement + "\"");
  }
  definitions.emplace_back(
      name, model::combinationOfAnyVariable::read(expression, statement, variables, names.get()));
}

}  // namespace tovik
