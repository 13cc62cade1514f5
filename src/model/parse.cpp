#include "model/parse.hpp"

#include "data/variable_list.hpp"
#include "model/defaults.hpp"
#include "model/scan.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"

namespace tovik::sem {
namespace {

/// "name = ...": the first operator is a lone "=", and one name stands before it.
bool is_definition(const std::string& statement) {
  const std::size_t sign = model::find_first_outside(statement, "=<>!+-*/^~,");
  if (sign == std::string::npos || statement[sign] != '=') return false;
  if (sign + 1 < statement.size() && statement[sign + 1] == '=') return false;
  return words(statement.substr(0, sign)).size() == 1;
}

bool holds(const std::string& statement, const char* sign) {
  return model::find_outside(statement, sign) != std::string::npos;
}

/// "y <- x" in the form "y ~ x".
std::string arrow_to_tilde(const std::string& statement) {
  if (holds(statement, "~")) return statement;
  const std::size_t arrow = model::find_outside(statement, "<-");
  const std::string right = trim(statement.substr(arrow + 2));
  if (right.empty())
    throw error("ERROR: The MODEL command \"" + statement + "\" is not correctly specified.\n");
  return statement.substr(0, arrow) + "~ " + right;
}

}  // namespace

statement_kind classify(const std::string& statement) {
  if (trim(statement).empty()) return statement_kind::empty;
  if (holds(statement, "<->") || holds(statement, "~~")) return statement_kind::correlation;
  if (holds(statement, "=~") || holds(statement, "->")) return statement_kind::loading;
  if (holds(statement, "~")) return statement_kind::regression;
  if (is_definition(statement)) return statement_kind::definition;
  if (holds(statement, "<-")) return statement_kind::regression;
  throw error("ERROR: Unable to parse line in MODEL command.\n       Problem command: " + statement);
}

ModelList _parse(std::vector<block::one_model> statements, VariableList& variables,
                 const block::map& blocks) {
  std::vector<statement_kind> kinds;
  for (block::one_model& one : statements) {
    one.statement = trim(one.statement);
    kinds.push_back(classify(one.statement));
  }
  for (std::size_t i = 0; i < statements.size(); ++i) {
    if (kinds[i] == statement_kind::definition)
      not_available::refuse("A definition in the MODEL command (see '" + statements[i].statement + "')");
    if (kinds[i] == statement_kind::loading)
      not_available::refuse("A factor loading (see '" + statements[i].statement + "')");
  }
  ModelList models(blocks);
  for (std::size_t i = 0; i < statements.size(); ++i) {
    if (kinds[i] == statement_kind::regression)
      models.add_seq({arrow_to_tilde(statements[i].statement), statements[i].block}, variables);
  }
  for (std::size_t i = 0; i < statements.size(); ++i) {
    if (kinds[i] == statement_kind::correlation) models.add_correlation(statements[i], variables);
  }
  if (defaults::reduce_models) models.reduce();
  if (defaults::sort_models) models.sort();
  return models;
}

ModelList parse(const std::vector<block::one_model>& statements, VariableList& variables,
                const block::map& blocks) {
  ModelList models = _parse(statements, variables, blocks);
  models.warn_duplicates();
  models.set_roles();
  models.define_parameters();
  return models;
}

}  // namespace tovik::sem
