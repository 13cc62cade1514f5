// Residual correlations become blocks of outcomes with one covariance matrix, which mixes far better than
// phantom variables. An equation is in a block with all its correlated residuals or keeps phantoms for all of
// them: what is conditional on a phantom cannot be a part of a covariance matrix as well.

#include <algorithm>
#include <numeric>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

using variable_set = std::unordered_set<const data::variable*>;

void erase_phantoms(Model& model, const variable_set& which) {
  auto& list = model.phantoms;
  list.erase(
      std::remove_if(list.begin(), list.end(),
                     [&](const anyVariable& phantom) { return which.count(phantom.variable.get()) > 0; }),
      list.end());
}

/// A phantom and the two models that hold it, the first of the list first.
struct linked_pair {
  anyVariable phantom;
  std::size_t first;
  std::size_t second;

  unsigned level() const { return phantom.variable->level; }
};

/// The phantoms of the list in natural order of their names.
std::vector<linked_pair> linked_pairs(const ModelList& models) {
  std::vector<anyVariable> phantoms;
  std::unordered_map<const data::variable*, std::vector<std::size_t>> holders;
  for (std::size_t i = 0; i < models.size(); ++i) {
    for (const anyVariable& phantom : models[i].phantoms) {
      std::vector<std::size_t>& list = holders[phantom.variable.get()];
      if (list.empty()) phantoms.push_back(phantom);
      if (list.empty() || list.back() != i) list.push_back(i);
    }
  }
  std::stable_sort(phantoms.begin(), phantoms.end());
  std::vector<linked_pair> out;
  for (const anyVariable& phantom : phantoms) {
    const std::vector<std::size_t>& list = holders.at(phantom.variable.get());
    if (list.size() != 2) throw error_debug("Phantom variable not in two models.");
    out.push_back({phantom, list[0], list[1]});
  }
  return out;
}

/// Sets of models, united in near-linear time (Tarjan, 1975, J. ACM 22, 215-225).
class disjoint_sets {
 public:
  explicit disjoint_sets(std::size_t n) : parent_(n) { std::iota(parent_.begin(), parent_.end(), 0u); }

  std::size_t root(std::size_t i) {
    while (parent_[i] != i) i = parent_[i] = parent_[parent_[i]];
    return i;
  }
  void unite(std::size_t a, std::size_t b) {
    const std::size_t root_a = root(a);
    const std::size_t root_b = root(b);
    parent_[std::max(root_a, root_b)] = std::min(root_a, root_b);
  }

 private:
  std::vector<std::size_t> parent_;
};

/// True if the phantom carries the residual of the model, and not a random effect.
bool is_residual(const linked_pair& pair, const Model& model) {
  return static_cast<std::int64_t>(pair.level()) >= model.levels;
}

/// The connected sets of models that become blocks, each with its pairs.
struct group {
  std::vector<std::size_t> members;  ///< ascending
  std::vector<linked_pair> pairs;
};

std::vector<group> groups_of(const ModelList& models) {
  const std::vector<linked_pair> pairs = linked_pairs(models);
  disjoint_sets sets(models.size());
  std::vector<std::size_t> rejected;
  for (const linked_pair& pair : pairs) {
    const Model& a = models[pair.first];
    const Model& b = models[pair.second];
    const bool both = is_residual(pair, a) && is_residual(pair, b);
    if (both) sets.unite(pair.first, pair.second);
    if (both && a.levels == b.levels && a.can_join_block() && b.can_join_block()) continue;
    if (is_residual(pair, a)) rejected.push_back(pair.first);
    if (is_residual(pair, b)) rejected.push_back(pair.second);
  }
  std::unordered_set<std::size_t> closed;
  for (std::size_t i : rejected) closed.insert(sets.root(i));

  std::unordered_map<std::size_t, std::size_t> place;
  std::vector<group> out;
  std::vector<std::size_t> in_pairs;
  for (const linked_pair& pair : pairs) {
    if (!is_residual(pair, models[pair.first]) || !is_residual(pair, models[pair.second])) continue;
    const std::size_t root = sets.root(pair.first);
    if (closed.count(root) > 0) continue;
    const auto [entry, is_new] = place.emplace(root, out.size());
    if (is_new) out.emplace_back();
    group& own = out[entry->second];
    own.pairs.push_back(pair);
    own.members.insert(own.members.end(), {pair.first, pair.second});
  }
  for (group& own : out) {
    std::sort(own.members.begin(), own.members.end());
    own.members.erase(std::unique(own.members.begin(), own.members.end()), own.members.end());
  }
  std::sort(out.begin(), out.end(),
            [](const group& a, const group& b) { return a.members.front() < b.members.front(); });
  return out;
}

/// The correlation of two members that nobody has given: fixed at 0.
anyVariable zero_correlation(const Model& a, const Model& b) {
  const auto side = [](const Model& model) {
    anyVariable outcome = model.outcomes.front();
    outcome.param = model::parameter();
    return model::correlation_side{outcome, nullptr, outcome.fullname_noModifer()};
  };
  model::correlation ends{side(a), side(b), static_cast<unsigned>(a.levels)};
  if (natural_less(ends.second.name, ends.first.name)) std::swap(ends.first, ends.second);
  anyVariable term;
  term.variable =
      std::make_shared<data::variable>(model::phantom_name(ends.first.name, ends.second.name),
                                       data::type::phantom, data::variable::no_column, ends.level);
  term.type = model::type::phantom;
  term.is_derived = true;
  term.param = model::parameter::fixed_at(0.0);
  term.ends = std::make_shared<const model::correlation>(std::move(ends));
  return term;
}

/// The block of a group, with a term for every pair of its members.
Model make_block(const ModelList& models, group own) {
  // From the last member to the first, each with the members before it.
  std::stable_sort(own.pairs.begin(), own.pairs.end(), [](const linked_pair& a, const linked_pair& b) {
    return a.second != b.second ? a.second > b.second : a.first < b.first;
  });
  Model multi(model::multi_outcome());
  multi.table = models.names.get();
  multi.clusters = models.at(own.members.front()).clusters;
  std::set<std::pair<std::size_t, std::size_t>> linked;
  std::vector<anyVariable> terms;
  for (linked_pair& pair : own.pairs) {
    linked.emplace(pair.first, pair.second);
    const Model* phantom_model = models.find(pair.phantom);
    if (phantom_model && !phantom_model->variance.is_free()) pair.phantom.param = phantom_model->variance;
    terms.push_back(std::move(pair.phantom));
  }
  for (std::size_t i : own.members) multi += models.at(i);
  for (std::size_t i = 0; i < own.members.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      const std::size_t a = own.members[j];
      const std::size_t b = own.members[i];
      if (linked.count({a, b}) == 0) terms.push_back(zero_correlation(models.at(a), models.at(b)));
    }
  }
  multi += terms;
  return multi;
}

}  // namespace

namespace model {

anyVariable multi_outcome() {
  static const auto variable =
      std::make_shared<data::variable>("#_multi_#", data::type::multi, data::variable::no_column, 0u);
  anyVariable term;
  term.variable = variable;
  term.type = type::multi;
  term.is_derived = true;
  return term;
}

}  // namespace model

Model::Model(const anyVariable& outcome) : outcomes({outcome}) {}

bool Model::can_join_block() const {
  for (const anyVariable& outcome : outcomes) {
    if (outcome.type == model::type::missing || outcome.type == model::type::variance) return false;
  }
  // The Jacobian of a transformation with a parameter of its own is no part of a joint density of residuals.
  if (link == model::link::log_variance || model::has_lambda(link)) return false;
  return model::has_normal_residual(kind(), link);
}

std::vector<anyVariable> Model::optimize(Model& a, Model& b) {
  std::vector<anyVariable> moved;
  if (!a.can_join_block() || !b.can_join_block() || a.levels != b.levels) return moved;
  variable_set held;
  for (const anyVariable& phantom : b.phantoms) held.insert(phantom.variable.get());
  variable_set shared;
  for (const anyVariable& phantom : a.phantoms) {
    const bool own_level = static_cast<std::int64_t>(phantom.variable->level) >= a.levels;
    if (!own_level || held.count(phantom.variable.get()) == 0) continue;
    shared.insert(phantom.variable.get());
    moved.push_back(phantom);
  }
  erase_phantoms(a, shared);
  erase_phantoms(b, shared);
  return moved;
}

void ModelList::optimize() {
  index();
  variable_set absorbed;
  std::vector<Model> made;
  for (group& own : groups_of(*this)) {
    for (const linked_pair& pair : own.pairs) absorbed.insert(pair.phantom.variable.get());
    made.push_back(make_block(*this, std::move(own)));
  }
  for (Model& model : *this) erase_phantoms(model, absorbed);
  erase(std::remove_if(begin(), end(),
                       [&](const Model& model) {
                         const bool out = model.outcomes.size() == 1 &&
                                          absorbed.count(model.outcomes.front().variable.get()) > 0;
                         if (out && model.kind() != model::kind::phantom)
                           throw error_debug("Optimization failed and did not delete all correlations.");
                         return out;
                       }),
        end());
  std::move(made.begin(), made.end(), std::back_inserter(*this));
  index();
}

}  // namespace tovik
