// The computed terms of a model as trees, and what they say about a label.

#include <algorithm>

#include "evaluate/defines.hpp"
#include "evaluate/value.hpp"
#include "model/model.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using evaluate::node;
using evaluate::operations;
using model::combinationOfAnyVariable;
using parameter_map = std::unordered_map<std::string, model::parameter_info>;

/// The trees of one term; each "#VAR" reads the cell of its slot. Only the labels of the term itself are
/// looked up: a run has thousands of slots and a term reads a few.
std::vector<std::unique_ptr<node>> bound_trees(const combinationOfAnyVariable& term,
                                               const parameter_map& map) {
  std::vector<std::unique_ptr<node>> out = term.nodes();
  for (const std::string& label : term.labels()) {
    const auto entry = map.find(label);
    if (entry == map.end()) continue;
    for (const auto& tree : out) tree->register_var(entry->second.cell.get(), entry->second.slot);
  }
  for (const auto& tree : out) {
    if (!tree->has_unbound_var()) continue;
    for (const auto& [label, info] : map) tree->register_var(info.cell.get(), info.slot);
  }
  return out;
}

bool reads(const combinationOfAnyVariable& term, const model::parameter& p) {
  const std::vector<std::string> labels = term.labels();
  return p.has_label() && std::find(labels.begin(), labels.end(), to_lower(p.label())) != labels.end();
}

/// The target on the way down stands in sums and products alone, and nothing that it is multiplied with holds
/// a parameter. `target` occurs once.
bool is_one_factor(const node* tree, const node* target) {
  while (!evaluate::compare(tree, target)) {
    const bool is_left = tree->left && tree->left->has(target);
    const node* side = (is_left ? tree->right : tree->left).get();
    switch (tree->op) {
      case operations::plus:
      case operations::minus:
        break;
      case operations::multiply:
        if (side->has(operations::var)) return false;
        break;
      case operations::divide:
        if (!is_left || side->has(operations::var)) return false;
        break;
      default:
        return false;
    }
    tree = (is_left ? tree->left : tree->right).get();
  }
  return true;
}

/// "#VAR(k)" of a label in the name table; null if the table does not have it as a parameter.
std::unique_ptr<node> reference(const evaluate::defines* table, const model::parameter& p) {
  const auto* entry = table ? table->find(to_lower(p.label())) : nullptr;
  return entry && entry->kind == 3 ? entry->get_node() : nullptr;
}

}  // namespace

Model::trees Model::xindCompute(const parameter_map& map) const {
  trees out;
  for (const combinationOfAnyVariable& term : fixed_compute) out.push_back(bound_trees(term, map));
  return out;
}

Model::trees Model::xindCompute() const {
  return xindCompute({});
}

std::vector<Model::trees> Model::zindCompute(const parameter_map& map) const {
  std::vector<trees> out;
  for (std::int32_t c = levels - 1; c >= 0; --c) {
    trees here;
    for (const combinationOfAnyVariable& term : random_compute) {
      if (isRE(term, static_cast<unsigned>(c))) here.push_back(bound_trees(term, map));
    }
    out.push_back(std::move(here));
  }
  return out;
}

std::vector<unsigned> Model::fixedComputeIndicators(const model::parameter& p) const {
  std::vector<unsigned> out;
  unsigned position = 0;
  for (const combinationOfAnyVariable& term : fixed_compute) {
    const std::size_t n = term.names().size();
    const bool wanted = reads(term, p);
    for (std::size_t k = 0; k < n; ++k, ++position) {
      if (wanted) out.push_back(position);
    }
  }
  return out;
}

bool Model::checkFixedCompute(const model::parameter& p) const {
  const std::unique_ptr<node> target = reference(table, p);
  for (const combinationOfAnyVariable& term : fixed_compute) {
    if (!reads(term, p)) continue;
    if (!target) return false;
    for (const auto& tree : term.nodes()) {
      if (tree->count(target.get()) != 1 || !is_one_factor(tree.get(), target.get())) return false;
    }
  }
  return true;
}

}  // namespace tovik
