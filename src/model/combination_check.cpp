// A trial run of a computed term: what is wrong with the expression itself has to be told before any data
// are prepared.

#include <memory>
#include <unordered_map>

#include "evaluate/defines.hpp"
#include "evaluate/error.hpp"
#include "evaluate/generate_command.hpp"
#include "evaluate/operations.hpp"
#include "evaluate/parser.hpp"
#include "model/combination.hpp"
#include "model/compute.hpp"
#include "model/term_key.hpp"
#include "model/trial.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

/// The expression with a column for each variable and a cell for each other name. A definition stands as a
/// column if it reads variables, as a cell if it reads labels alone; its own mistakes are told where it is
/// defined.
std::string prepare(const combinationOfAnyVariable& term) {
  unsigned n_columns = 0;
  unsigned n_cells = 0;
  std::unordered_map<term_key, unsigned, term_key::hash> columns;
  std::unordered_map<std::string, std::string> others;
  std::vector<std::string> names;
  std::vector<std::string> references;
  std::size_t next = 0;
  for (const std::string& token : expression_names(term.statement)) {
    if (next < term.tokens.size() && iequals(token, term.tokens[next])) {
      const auto [at, is_new] = columns.emplace(term_key(term.variables[next++]), n_columns);
      n_columns += is_new;
      names.push_back(token);
      references.push_back(evaluate::CMD::DATA + "(" + std::to_string(at->second) + ")");
      continue;
    }
    if (!term.table || !term.table->find(token)) continue;
    const bool column = is_definition(token, term.table) && !term.defined_variables.empty();
    const auto [at, is_new] = others.emplace(to_lower(token), "");
    if (is_new)
      at->second = column ? evaluate::CMD::DATA + "(" + std::to_string(n_columns++) + ")"
                          : evaluate::CMD::VAR + "(" + std::to_string(n_cells++) + ")";
    names.push_back(token);
    references.push_back(at->second);
  }
  return evaluate::generate_command(term.statement, names, references);
}

/// Names are put in by joining the tokens without blanks, which would make one number of two.
void check_operands(const std::string& statement) {
  bool after_operand = false;
  for (const std::string& token : evaluate::parse(statement)) {
    if (token.empty()) continue;
    const bool operand = evaluate::op.count(token) == 0;
    if (operand && after_operand)
      throw evaluate::error_parse(
          "ERROR: Was expecting an operator or function but recieved a variable or number.", statement);
    after_operand = operand;
  }
}

[[noreturn]] void reject(const std::string& what, const std::string& term) {
  throw error(what + "\n       See \"" + term + "\"");
}

}  // namespace

void check_expression(const combinationOfAnyVariable& expression, const std::string& term) {
  try {
    check_operands(expression.statement);
    const auto tree = evaluate::opt_ast(prepare(expression));
    try_out(*tree);
  } catch (const evaluate::error_parse& fault) {
    reject(fault.message(), term);
  } catch (const evaluate::error& fault) {
    reject(evaluate::user_text(fault), term);
  }
}

}  // namespace tovik::model
