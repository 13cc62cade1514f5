#include <algorithm>

#include "evaluate/error.hpp"
#include "evaluate/node.hpp"

/// Questions about a tree: what occurs in it, where, and whether two trees are the same.
namespace tovik::evaluate {

bool compare(const node* a, const node* b) {
  return a && b && a->is_reference() && a->op == b->op && a->index() == b->index();
}

bool node::has_unbound_var() const {
  if (op == operations::var) return cell == nullptr;
  return (left && left->has_unbound_var()) || (right && right->has_unbound_var());
}

bool node::has(const node* target) const {
  if (is_reference()) return compare(this, target);
  return (left && left->has(target)) || (right && right->has(target));
}

bool node::has(const operations& operation) const {
  if (op == operation) return true;
  return (left && left->has(operation)) || (right && right->has(operation));
}

unsigned node::count(const node* target) const {
  if (is_reference()) return compare(this, target) ? 1 : 0;
  return (left ? left->count(target) : 0) + (right ? right->count(target) : 0);
}

unsigned node::n_commas() const {
  return op == operations::comma ? 1 + left->n_commas() + right->n_commas() : 0;
}

unsigned node::depth() const {
  if (is_literal() || is_reference()) return 1;
  return 1 + std::max(left ? left->depth() : 0, right ? right->depth() : 0);
}

bool node::has_column_statistic() const {
  if (is_literal() || is_reference()) return false;
  const bool by_row = (op == operations::max || op == operations::min) && left->op == operations::comma;
  if (isColumnFunction(op) && !by_row) return true;
  return (left && left->has_column_statistic()) || (right && right->has_column_statistic());
}

namespace {

void collect_indices(const node& n, operations kind, std::vector<unsigned>& out) {
  if (n.is_reference()) {
    if (n.op == kind) out.push_back(n.index());
    return;
  }
  if (n.left) collect_indices(*n.left, kind, out);
  if (n.right) collect_indices(*n.right, kind, out);
}

std::vector<unsigned> indices(const node& n, operations kind) {
  std::vector<unsigned> out;
  collect_indices(n, kind, out);
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

}  // namespace

std::vector<unsigned> node::data_columns() const {
  return indices(*this, operations::data);
}

std::vector<unsigned> node::parameter_cells() const {
  return indices(*this, operations::var);
}

namespace {

bool contains(const std::vector<operations>& list, operations op) {
  return std::find(list.begin(), list.end(), op) != list.end();
}

/// 0 the target is not below, 1 the path to it is allowed, -1 the path holds something else.
int follow(const node& at, const std::vector<operations>& list, const node* target) {
  if (at.is_reference()) return compare(&at, target) ? 1 : 0;
  for (const node* child : {at.left.get(), at.right.get()}) {
    const int found = child ? follow(*child, list, target) : 0;
    if (found != 0) return contains(list, at.op) ? found : -1;
  }
  return 0;
}

}  // namespace

bool node::all(const std::vector<operations>& list) const {
  if (is_literal() || is_reference()) return true;
  return contains(list, op) && (!left || left->all(list)) && (!right || right->all(list));
}

bool node::all(const std::vector<operations>& list, const node* target) const {
  if (!target || !target->is_reference()) throw error_debug("Can only check for data or variables.");
  if (count(target) != 1) throw error_debug("Can only check with node occuring once.");
  return follow(*this, list, target) == 1;
}

bool node::operator==(const node& other) const {
  if (is_reference()) return compare(this, &other);
  if (op != other.op || is_vector != other.is_vector || number != other.number) return false;
  if (!left || !other.left) {
    return shape == other.shape && left == other.left && right == other.right;
  }
  if (!right || !other.right) {
    return shape == other.shape && right == other.right && *left == *other.left;
  }
  if (shape == other.shape && *left == *other.left && *right == *other.right) return true;
  // A swap of the operands mirrors the layout: scalar and column (1) becomes column and scalar (2).
  const int mirrored = shape == 1 ? 2 : shape == 2 ? 1 : shape;
  return (op == operations::plus || op == operations::multiply) && mirrored == other.shape &&
         *left == *other.right && *right == *other.left;
}

}  // namespace tovik::evaluate
