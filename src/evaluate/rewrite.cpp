#include <utility>

#include "evaluate/build.hpp"
#include "evaluate/error.hpp"
#include "evaluate/node.hpp"
#include "evaluate/parser.hpp"

/// Rewriting of a tree as A * target + rest, in steps: products with sums are multiplied out, the addend with
/// the target is brought to the top, the product is detached, and the target is taken out of the product.
namespace tovik::evaluate {

namespace {

const std::vector<operations> products = {operations::multiply};

void require_reference(const node& target) {
  if (!target.is_reference()) throw error_debug("Can only check for data or variables.");
}

int size(const node* n) {
  if (!n) return 0;
  if (n->is_literal() || n->is_reference()) return 1;
  return 1 + size(n->left) + size(n->right);
}

/// The target occurs once, below products only.
bool is_product(const node& tree, const node* target) {
  return tree.count(target) == 1 && tree.all(products, target);
}

/// The product with the target, reached through sums; null when something else stands between.
const node* find_product(const node& tree, const node* target) {
  const node* at = &tree;
  while (at->op == operations::plus) at = at->left->has(target) ? at->left : at->right;
  return is_product(*at, target) ? at : nullptr;
}

}  // namespace

node* node::expand_multi(const node* target) {
  require_reference(*target);
  const node wanted(*target);  // the target may be a leaf of this tree
  auto original = make_copy(this);
  int budget = max_nodes - size(this);
  if (!expand(&wanted, budget) || depth() > static_cast<unsigned>(max_depth)) become(original.release());
  return this;
}

/// Operands first. Only what holds the target is touched: products of sums without it would grow without
/// need.
bool node::expand(const node* target, int& budget) {
  if (is_literal() || is_reference() || !has(target)) return true;
  if (left && !left->expand(target, budget)) return false;
  if (right && !right->expand(target, budget)) return false;
  if (op == operations::divide) turn_quotient(target);
  return op != operations::multiply || expand_product(target, budget);
}

/// n / d becomes (1 / d) * n when only n holds the target.
void node::turn_quotient(const node* target) {
  if (!left->has(target) || right->has(target)) return;
  std::unique_ptr<node> numerator(std::exchange(left, nullptr)), denominator(std::exchange(right, nullptr));
  left = make_node("/", make_literal(1.0), std::move(denominator)).release();
  right = numerator.release();
  op = operations::multiply;
  set_shape();
}

/// (a + b) * c becomes a * c + b * c when only the sum holds the target, and the products so made follow.
/// False when the budget of new nodes is spent.
bool node::expand_product(const node* target, int& budget) {
  if (op != operations::multiply) return true;
  const bool in_left = left->has(target);
  if (in_left == right->has(target)) return true;
  node* sum = in_left ? left : right;
  if (sum->op != operations::plus && sum->op != operations::minus) return true;
  budget -= 1 + size(in_left ? right : left);
  if (budget < 0) return false;

  std::unique_ptr<node> factor(std::exchange(in_left ? right : left, nullptr));
  std::unique_ptr<node> owner(std::exchange(in_left ? left : right, nullptr));
  std::unique_ptr<node> a(std::exchange(sum->left, nullptr));
  std::unique_ptr<node> b(std::exchange(sum->right, nullptr));
  auto twin = make_copy(factor.get());
  op = sum->op;
  left = (in_left ? make_node("*", std::move(a), std::move(factor))
                  : make_node("*", std::move(factor), std::move(a)))
             .release();
  right = (in_left ? make_node("*", std::move(b), std::move(twin))
                   : make_node("*", std::move(twin), std::move(b)))
              .release();
  set_shape();
  return left->expand_product(target, budget) && right->expand_product(target, budget);
}

bool node::check_distribute_plus(const node* target) const {
  return target && target->is_reference() && count(target) == 1 && find_product(*this, target);
}

node* node::distribute_plus(const node* target) {
  if (!check_distribute_plus(target)) return nullptr;
  if (op != operations::plus) return this;
  const node wanted(*target);
  if (!left->has(&wanted)) std::swap(left, right);
  if (left->op == operations::plus) {
    std::unique_ptr<node> others(left->_distribute_plus(&wanted));
    std::unique_ptr<node> rest(std::exchange(right, nullptr));
    right = make_node("+", std::move(rest), std::move(others)).release();
  }
  set_shape();
  return this;
}

/// On a sum: returns the addends without the target, and turns this node into the product with it.
node* node::_distribute_plus(const node* target) {
  const bool in_left = left->has(target);
  std::unique_ptr<node> rest(std::exchange(in_left ? right : left, nullptr));
  std::unique_ptr<node> kept(std::exchange(in_left ? left : right, nullptr));
  if (kept->op == operations::plus) {
    std::unique_ptr<node> others(kept->_distribute_plus(target));
    rest = make_node("+", std::move(rest), std::move(others));
  }
  become(kept.release());
  return rest.release();
}

node* node::factor_out(const node* target) {
  require_reference(*target);
  if (count(target) != 1) return nullptr;
  node* product = const_cast<node*>(find_product(*this, target));
  if (!product) return nullptr;
  auto out = make_literal(0.0);
  out->swap_content(*product);
  update_layout();
  return out.release();
}

node* node::remove(const node& target) {
  if (!target.is_reference()) throw error_debug("Cannot remove node.");
  const node wanted(target);
  if (compare(this, &wanted)) {
    become_literal(1.0);
  } else if (!has(&wanted)) {
    become_literal(0.0);
  } else {
    replace_target(wanted, is_product(*this, &wanted) ? 1.0 : 0.0);
    update_layout();
    optimize();
  }
  return this;
}

void node::replace_target(const node& target, double value) {
  if (is_reference()) {
    if (compare(this, &target)) become_literal(value);
    return;
  }
  if (left) left->replace_target(target, value);
  if (right) right->replace_target(target, value);
}

node* node::replace(const node& old, const node& with) {
  const node wanted(old), substitute(with);
  replace_operands(wanted, substitute);
  update_layout();
  return this;
}

void node::replace_operands(const node& old, const node& with) {
  if (is_literal() || is_reference()) return;
  for (node* child : {left, right}) {
    if (!child) continue;
    if (*child == old) {
      child->become(with.copy());
    } else {
      child->replace_operands(old, with);
    }
  }
}

/// Operands may have turned from columns into numbers or back. A function without a scalar form stays a
/// column over a number.
void node::update_layout() {
  if (is_literal() || is_reference()) return;
  if (left) left->update_layout();
  if (right) right->update_layout();
  if (op == operations::power && right->is_vector) {
    throw error("ERROR: Cannot exponentiate variables with '^'");
  }
  if (is_vector && (isColumnFunction(op) || isTransformOnly(op))) return;
  set_shape();
}

}  // namespace tovik::evaluate
