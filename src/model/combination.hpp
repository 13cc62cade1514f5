#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "evaluate/node.hpp"
#include "model/any_variable.hpp"

namespace tovik::model {

/// A computed term: an expression over variables and parameters, written in parentheses in a statement. It
/// holds text only; each chain parses its own trees from it.
///
/// Several design columns arise from nominal variables: a column for each combination of their dummy codes,
/// the code of the variable named first varying slowest.
class combinationOfAnyVariable {
 public:
  std::string statement;  ///< without its outer parentheses and its "@" and "%" parts
  std::vector<anyVariable>
      variables;  ///< the variables of the statement, in order of occurrence, with repeats
  model::parameter param;
  bool is_random = false;
  evaluate::defines* table = nullptr;                     ///< the name table of the run; not owned
  std::vector<std::shared_ptr<data::variable>> clusters;  ///< identifiers of the data, for names of columns
  std::vector<std::string> tokens;             ///< of each of `variables`, its spelling in the statement
  std::vector<anyVariable> defined_variables;  ///< read through definitions, each once
  std::vector<std::string> label_names;  ///< read directly or through definitions, lower case, each once

  /// Reads an expression. Unknown names are labels: they are declared in `names` and resolved later. Names
  /// that a definition has announced (defines::announce) are looked through, definitions in definitions too.
  /// Throws tovik::error with the text for the user: for a function that has no place in a model, and for an
  /// expression that cannot be evaluated. `term` is the whole term, for messages.
  static combinationOfAnyVariable parse(const std::string& expression, const std::string& term,
                                        const VariableList& variables, evaluate::defines* names);
  /// The names alone: the same without evaluating anything.
  static combinationOfAnyVariable read(const std::string& expression, const std::string& term,
                                       const VariableList& variables, evaluate::defines* names);

  /// The variables of the statement and of all definitions that it uses, directly or through other
  /// definitions, each once. This is what decides whose likelihood the term belongs to.
  std::vector<anyVariable> all_variables() const;
  /// The labels that the term reads, directly or through definitions, in lower case, each once.
  std::vector<std::string> labels() const;

  /// True if the term reads this variable in this meaning, or this variable in any meaning.
  bool has(const anyVariable& term) const;
  bool has(const data::variable& variable) const;

  /// For each design column the data columns that it reads, definitions included, ascending and without
  /// repeats.
  std::vector<std::vector<unsigned>> indicators() const;
  /// The display names of the design columns, without blanks: "x*z".
  std::vector<std::string> names() const;
  /// One tree per design column, with each variable as "#DATA(k)" and each parameter as "#VAR(k)", unbound.
  std::vector<std::unique_ptr<evaluate::node>> nodes() const;
  const model::parameter& parameter() const { return param; }

  /// The term as written in a statement: "(x*z)@b%1".
  std::string text() const;
};

/// Throws tovik::error for an expression that does not parse or that no data can make a column of: a function
/// with wrong inputs, a list where one value is wanted. `term` is the whole term, for the message.
void check_expression(const combinationOfAnyVariable& expression, const std::string& term);

/// The same statement, up to blanks and letter case; the parameter does not count.
bool operator==(const combinationOfAnyVariable& a, const combinationOfAnyVariable& b);

}  // namespace tovik::model
