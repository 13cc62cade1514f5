#include <unordered_set>
#include <utility>
#include <vector>

#include "evaluate/error.hpp"
#include "evaluate/node.hpp"
#include "evaluate/parser.hpp"

/// Rewriting of a tree as A * target + rest, in steps: products with sums are multiplied out, the addend with
/// the target is brought to the top, the product is detached, and the target is taken out of the product.
namespace tovik::evaluate {

namespace {

void require_reference(const node& target) {
  if (!target.is_reference()) throw error_debug("Can only check for data or variables.");
}

int size(const node* n) {
  if (!n) return 0;
  if (n->is_literal() || n->is_reference()) return 1;
  return 1 + size(n->left.get()) + size(n->right.get());
}

/// Appends the nodes from `at` down to the target, in one pass. The first occurrence is taken.
bool find_path(const node* at, const node* target, std::vector<const node*>& path) {
  if (!at || at->is_literal()) return false;
  path.push_back(at);
  if (compare(at, target)) return true;
  if (!at->is_reference() &&
      (find_path(at->left.get(), target, path) || find_path(at->right.get(), target, path))) {
    return true;
  }
  path.pop_back();
  return false;
}

/// The product with the only occurrence of the target, reached through sums; null when the target occurs more
/// than once or something else stands between.
const node* find_product(const node& tree, const node* target) {
  std::vector<const node*> path;
  if (tree.count(target) != 1 || !find_path(&tree, target, path)) return nullptr;
  std::size_t at = 0;
  while (path[at]->op == operations::plus) ++at;
  for (std::size_t below = at; below + 1 < path.size(); ++below) {
    if (path[below]->op != operations::multiply) return nullptr;
  }
  return path[at];
}

}  // namespace

/// What multiplying out one tree knows and may still spend.
struct node::expansion {
  /// The nodes that hold the target. Searching for it anew at each step would cost the square of the tree.
  std::unordered_set<const node*> holders;
  /// New nodes that may still be made.
  int budget;

  bool holds(const node* n) const { return holders.count(n) > 0; }
  bool find_holders(const node* n, const node* target);
};

bool node::expansion::find_holders(const node* n, const node* target) {
  if (!n || n->is_literal()) return false;
  bool found = compare(n, target);
  if (!n->is_reference()) {
    found = find_holders(n->left.get(), target);
    found = find_holders(n->right.get(), target) || found;
  }
  if (found) holders.insert(n);
  return found;
}

node* node::expand_multi(const node* target) {
  require_reference(*target);
  const node wanted(*target);  // the target may be a leaf of this tree
  auto original = copy();
  expansion state{{}, max_nodes - size(this)};
  state.find_holders(this, &wanted);
  if (!expand(state) || depth() > static_cast<unsigned>(max_depth)) become(std::move(original));
  return this;
}

/// Operands first. Only what holds the target is touched: products of sums without it would grow without
/// need.
bool node::expand(expansion& state) {
  if (is_literal() || is_reference() || !state.holds(this)) return true;
  if (left && !left->expand(state)) return false;
  if (right && !right->expand(state)) return false;
  if (op == operations::divide) turn_quotient(state);
  return op != operations::multiply || expand_product(state);
}

/// n / d becomes (1 / d) * n when only n holds the target.
void node::turn_quotient(const expansion& state) {
  if (!state.holds(left.get()) || state.holds(right.get())) return;
  left.swap(right);
  left = std::make_unique<node>("/", literal(1.0), std::move(left));
  op = operations::multiply;
  set_shape();
}

/// (a + b) * c becomes a * c + b * c when only the sum holds the target, and the products so made follow.
/// False when the budget of new nodes is spent.
bool node::expand_product(expansion& state) {
  if (op != operations::multiply) return true;
  const bool in_left = state.holds(left.get());
  if (in_left == state.holds(right.get())) return true;
  node* sum = (in_left ? left : right).get();
  if (sum->op != operations::plus && sum->op != operations::minus) return true;
  state.budget -= 1 + size((in_left ? right : left).get());
  if (state.budget < 0) return false;

  auto factor = std::move(in_left ? right : left);
  const auto owner = std::move(in_left ? left : right);
  auto a = std::move(sum->left), b = std::move(sum->right);
  const bool in_a = state.holds(a.get()), in_b = state.holds(b.get());
  auto twin = factor->copy();
  const auto product = [&](std::unique_ptr<node> addend, std::unique_ptr<node> other) {
    if (!in_left) std::swap(addend, other);
    return std::make_unique<node>("*", std::move(addend), std::move(other));
  };
  op = sum->op;
  left = product(std::move(a), std::move(factor));
  right = product(std::move(b), std::move(twin));
  set_shape();
  state.holders.erase(sum);  // its address may serve a new node
  if (in_a) state.holders.insert(left.get());
  if (in_b) state.holders.insert(right.get());
  return left->expand_product(state) && right->expand_product(state);
}

bool node::check_distribute_plus(const node* target) const {
  return target && target->is_reference() && find_product(*this, target);
}

node* node::distribute_plus(const node* target) {
  if (!check_distribute_plus(target)) return nullptr;
  if (op != operations::plus) return this;
  const node wanted(*target);
  if (!left->has(&wanted)) std::swap(left, right);
  if (left->op == operations::plus) {
    auto others = left->_distribute_plus(&wanted);
    right = std::make_unique<node>("+", std::move(right), std::move(others));
  }
  set_shape();
  return this;
}

/// On a sum: returns the addends without the target, and turns this node into the product with it.
std::unique_ptr<node> node::_distribute_plus(const node* target) {
  const bool in_left = left->has(target);
  auto rest = std::move(in_left ? right : left);
  auto kept = std::move(in_left ? left : right);
  if (kept->op == operations::plus) {
    auto others = kept->_distribute_plus(target);
    rest = std::make_unique<node>("+", std::move(rest), std::move(others));
  }
  become(std::move(kept));
  return rest;
}

std::unique_ptr<node> node::factor_out(const node* target) {
  require_reference(*target);
  node* product = const_cast<node*>(find_product(*this, target));
  if (!product) return nullptr;
  auto out = literal(0.0);
  out->swap_content(*product);
  update_layout();
  return out;
}

node* node::remove(const node& target) {
  if (!target.is_reference()) throw error_debug("Cannot remove node.");
  const node wanted(target);
  if (compare(this, &wanted)) {
    become_literal(1.0);
  } else if (!has(&wanted)) {
    become_literal(0.0);
  } else {
    replace_target(wanted, find_product(*this, &wanted) == this ? 1.0 : 0.0);
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
  for (node* child : {left.get(), right.get()}) {
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
