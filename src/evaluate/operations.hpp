#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace tovik::evaluate {

/// What a node computes. The order is fixed: the number is the key of every dispatch.
enum class operations : std::int32_t {
  plus,
  minus,
  multiply,
  divide,
  power,
  comma,
  equal,
  not_equal,
  less,
  greater,
  greater_equal,
  less_equal,
  logical_and,
  logical_or,
  log,
  logit,
  sigm,
  exp,
  log1p,
  expm1,
  sin,
  cos,
  tan,
  asin,
  acos,
  atan,
  abs,
  sqrt,
  phi,
  iphi,
  mean,
  sd,
  stand,
  center,
  clmn,
  clsd,
  max,
  min,
  ismissing,
  missing,
  uniform,
  normal,
  lag1,
  yjt,
  iyjt,
  ifelse,
  switch_list,
  scalar,
  var,
  data,
  vec,
  parenthesis
};

/// One row of the operator table.
struct CMD {
  /// Operators bind by 1 (",") to 6 ("^"); functions have -1, "(" -2 and ")" -3.
  std::int32_t precedence;
  operations operation;
  /// 0 none, 1 left, 2 right.
  int associativity;
  /// 0: no comma allowed in the argument; 1 or 2: commas allowed.
  int comma_class;

  bool is_function() const { return precedence == -1; }
  bool is_operator() const { return precedence > 0; }

  /// Spelling of the function that reads a parameter cell, and of the one that reads a data column.
  static const std::string VAR;
  static const std::string DATA;

  /// The printed name of an operation; "undefined" for the parenthesis and anything outside the enumeration.
  static const std::string& get_name(operations operation);
};

/// The operator table: token text (exact in letter case) to row. Built at start-up, then only read.
extern const std::unordered_map<std::string, CMD> op;

/// The names of the functions, in alphabetical order: the words of the table that stand in front of a
/// parenthesis.
std::vector<std::string> function_words();

/// Comparisons, "and", "or".
bool isLogic(operations operation);
/// Operations whose value is a column even when their argument is a scalar: uniform, normal, #DATA, vec.
bool isReturnVector(operations operation);
/// Functions that look at a whole column and have no scalar form: mean, sd, stand, center, clmn, clsd, max,
/// min, lag1 (max and min compare row by row when they have two inputs).
bool isColumnFunction(operations operation);
/// Functions that have no place in a model statement: ismissing, missing, uniform, normal, lag1.
bool isTransformOnly(operations operation);

}  // namespace tovik::evaluate
