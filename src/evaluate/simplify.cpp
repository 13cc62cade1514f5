#include <utility>

#include "evaluate/error.hpp"
#include "evaluate/node.hpp"

/// Rewriting in place. Each step looks at one node whose operands are simplified already.
namespace tovik::evaluate {

namespace {

bool is_number(const node& n, double number) {
  return n.is_literal() && n.number == number;
}

}  // namespace

node* node::optimize() {
  if (op == operations::var || op == operations::comma) return this;
  if (left) left->optimize();
  if (right) right->optimize();
  return simplify();
}

node* node::simplify() {
  if (op == operations::var || op == operations::comma) return this;
  if (left && right) {
    simplify_identity();
    simplify_repeated();
  }
  // A list under a function keeps its elements as they are, hence the search for parameters.
  if (!is_vector && !is_literal() && !has(operations::var)) become_literal(eval());
  return this;
}

void node::simplify_identity() {
  const bool keep_left = (op == operations::minus && is_number(*right, 0.0)) ||
                         (op == operations::multiply && is_number(*right, 1.0)) ||
                         (op == operations::plus && is_number(*right, 0.0));
  const bool keep_right = (op == operations::multiply && is_number(*left, 1.0)) ||
                          (op == operations::plus && is_number(*left, 0.0));
  // The survivor is detached before its parent's operands are destroyed.
  if (keep_right) {
    become(std::move(right));
  } else if (keep_left) {
    become(std::move(left));
  }
}

void node::simplify_repeated() {
  if (op == operations::var || !left || !right || !compare(left.get(), right.get())) return;
  switch (op) {
    case operations::multiply:
      right = literal(2.0);
      op = operations::power;
      break;
    case operations::plus:
      left = literal(2.0);
      op = operations::multiply;
      break;
    case operations::minus:
      become_literal(0.0);
      return;
    case operations::divide:
      become_literal(1.0);
      return;
    default:
      throw error_debug_parse();
  }
  set_shape();
}

bool node::zero_vars() {
  if (op == operations::var) {
    become_literal(0.0);
    return true;
  }
  const bool in_left = left && left->zero_vars();
  const bool in_right = right && right->zero_vars();
  if (in_left || in_right) simplify();
  return in_left || in_right;
}

node* node::zero_all_vars() {
  zero_vars();
  return this;
}

node* node::convert_minus() {
  if (op == operations::var) return this;
  if (left) left->convert_minus();
  if (right) right->convert_minus();
  if (op == operations::minus) {
    right = std::make_unique<node>("*", literal(-1.0), std::move(right));
    op = operations::plus;
    set_shape();
  }
  return this;
}

}  // namespace tovik::evaluate
