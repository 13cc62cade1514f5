#include <cmath>
#include <utility>

#include "evaluate/error.hpp"
#include "evaluate/node.hpp"

/// The inverse of a tree with one unknown: the operations are undone from the outside in. The result starts
/// as the value y of the whole tree; each step wraps it in the inverse of the operation at the top and goes
/// on with the operand that carries the unknown.
namespace tovik::evaluate {

namespace {

[[noreturn]] void fail_unsolvable() {
  throw error("ERROR: Evaluator cannot solve the inverse function.");
}

[[noreturn]] void fail_several() {
  throw error(
      "ERROR: Cannot solve the inverse function when more than one variable or vectorization is present.");
}

[[noreturn]] void fail_not_found() {
  throw error("ERROR: Cannot find variable that is being solved for.");
}

/// The function that undoes a function of one input; empty when there is none.
std::string opposite(operations op) {
  switch (op) {
    case operations::log:
      return "exp";
    case operations::exp:
      return "log";
    case operations::logit:
      return "sigm";
    case operations::sigm:
      return "logit";
    case operations::log1p:
      return "expm1";
    case operations::expm1:
      return "log1p";
    case operations::phi:
      return "iphi";
    case operations::iphi:
      return "phi";
    case operations::sin:
      return "asin";
    case operations::asin:
      return "sin";
    case operations::cos:
      return "acos";
    case operations::acos:
      return "cos";
    case operations::tan:
      return "atan";
    case operations::atan:
      return "tan";
    case operations::yjt:
      return "iyjt";
    case operations::iyjt:
      return "yjt";
    default:
      return "";
  }
}

/// A known constant must leave the unknown in the value: x * 0 and x ^ 0 forget it, as infinite constants do.
void check_constant(const node& constant, bool zero_is_right) {
  if (constant.is_vector || constant.has(operations::var)) return;
  const double value = constant.eval();
  if (!std::isfinite(value) || (value == 0.0 && !zero_is_right)) fail_unsolvable();
}

/// The unknown stands in the left operand. Without a target the operand that varies by row carries it.
bool unknown_is_left(const node& at, const node* target) {
  const bool left = target ? at.left->has(target) : at.left->is_vector;
  const bool right = target ? at.right->has(target) : at.right->is_vector;
  if (left && right && target)
    throw error("ERROR: Evaluator cannot solve the inverse function at this time.");
  if (left == right) target ? fail_not_found() : fail_several();
  return left;
}

/// yjt(x, lambda) and iyjt(x, lambda): the unknown must be x alone.
const node* undo_power_transform(const node& at, std::unique_ptr<node>& result, const node* target) {
  const node* list = at.left.get();
  if (list->right->op == operations::comma) throw error_comma();
  if (!unknown_is_left(*list, target)) fail_unsolvable();
  auto inputs = std::make_unique<node>(",", std::move(result), list->right->copy());
  result = std::make_unique<node>(opposite(at.op), std::move(inputs));
  return list->left.get();
}

}  // namespace

std::unique_ptr<node> node::inverse(const node* target) const {
  if (target && !target->is_reference()) throw error_debug("Can only check for data or variables.");
  if (target && !has(target)) fail_not_found();
  if (!target && !is_vector) {
    throw error("ERROR: Cannot solve the inverse function when no variables in expression.");
  }
  auto result = std::make_unique<node>(CMD::DATA, literal(0.0));
  for (const node* at = this; at;) at = at->invert(result, target);
  return result;
}

const node* node::invert(std::unique_ptr<node>& result, const node* target) const {
  switch (op) {
    case operations::var:
    case operations::data:
    case operations::vec:
      if (target && !compare(this, target)) fail_not_found();
      return nullptr;
    case operations::plus:
      return compute_inverse("-", result, target);
    case operations::minus:
      return compute_inverse("+", result, target);
    case operations::multiply:
      return compute_inverse("/", result, target);
    case operations::divide:
      return compute_inverse("*", result, target);
    case operations::power:
      return compute_inverse("^", result, target);
    case operations::sqrt:
      result = std::make_unique<node>("^", std::move(result), literal(2.0));
      return left.get();
    case operations::abs:
      throw error("ERROR: Evaluator cannot solve the inverse function when using absolute values.");
    case operations::yjt:
    case operations::iyjt:
      if (left->op == operations::comma) return undo_power_transform(*this, result, target);
      break;
    default:
      break;
  }
  const std::string function = opposite(op);
  if (function.empty()) fail_unsolvable();
  result = std::make_unique<node>(function, std::move(result));
  return left.get();
}

/// With U the operand that carries the unknown and C the other one, y = U op C or y = C op U solved for U.
/// `token` is the operation that undoes this one.
const node* node::compute_inverse(const std::string& token, std::unique_ptr<node>& result,
                                  const node* target) const {
  const bool is_left = unknown_is_left(*this, target);
  const node& constant = is_left ? *right : *left;
  check_constant(constant, op == operations::plus || op == operations::minus);
  auto c = constant.copy();
  if (op == operations::power) {
    if (!is_left) fail_unsolvable();
    c = std::make_unique<node>("/", literal(1.0), std::move(c));
  } else if (!is_left && (op == operations::minus || op == operations::divide)) {
    // y = C - U and y = C / U: U is C - y and C / y.
    result = std::make_unique<node>(op == operations::minus ? "-" : "/", std::move(c), std::move(result));
    return right.get();
  }
  result = std::make_unique<node>(token, std::move(result), std::move(c));
  return (is_left ? left : right).get();
}

}  // namespace tovik::evaluate
