#include "evaluate/conditional.hpp"
#include "evaluate/error.hpp"
#include "evaluate/functions.hpp"
#include "evaluate/node.hpp"

/// The value of a tree that holds no data column.
namespace tovik::evaluate {

namespace {

double eval_ifelse(const node& function) {
  const ifelse_inputs inputs = unpack_ifelse(function);
  return inputs.logical->eval() == 1.0 ? inputs.yes->eval() : inputs.no->eval();
}

double eval_switch(const node& function) {
  switch_inputs inputs = unpack_switch(function);
  const node* chosen = inputs.otherwise;
  while (!inputs.pairs.empty()) {
    const node* pair = inputs.pairs.pop();
    if (pair->left->eval() == 1.0) chosen = pair->right->left.get();
  }
  return chosen->eval();
}

double eval_power_transform(const node& function) {
  const node* list = function.left.get();
  if (list->op != operations::comma) throw error_debug_parse();
  const double x = list->left->eval();
  const double lambda = list->right->eval();
  return function.op == operations::yjt ? yjt(x, lambda) : iyjt(x, lambda);
}

/// Of two numbers; as in columns, the second where they cannot be compared.
double eval_extreme(const node& function) {
  const node* list = function.left.get();
  if (list->op != operations::comma) throw error_debug_parse();
  const double a = list->left->eval();
  const double b = list->right->eval();
  return (function.op == operations::max ? a > b : a < b) ? a : b;
}

}  // namespace

double node::eval() const {
  switch (op) {
    case operations::scalar:
      return number;
    case operations::comma:
      throw error_comma();
    case operations::var:
      if (!cell) throw error_debug_var(name());
      return cell->eval();
    default:
      break;
  }
  if (shape != 3 || isReturnVector(op) || !left) throw error_debug_parse();
  if (right) return binary(op, left->eval(), right->eval());
  if (const elementary_function function = elementary(op)) return function(left->eval());
  switch (op) {
    case operations::yjt:
    case operations::iyjt:
      return eval_power_transform(*this);
    case operations::max:
    case operations::min:
      return eval_extreme(*this);
    case operations::ifelse:
      return eval_ifelse(*this);
    case operations::switch_list:
      return eval_switch(*this);
    default:
      throw error_debug_parse();
  }
}

}  // namespace tovik::evaluate
