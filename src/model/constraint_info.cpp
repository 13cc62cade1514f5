// Labels: where they stand, who else speaks of them, and the rows of the models in the estimates.

#include "model/constraint_info.hpp"

#include <algorithm>
#include <functional>
#include <unordered_set>

#include "model/compute.hpp"
#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::constraint_info;
using model::label_uses;
using place = constraint_info::place;
using label_map = std::unordered_map<std::string, label_uses>;

/// Collects the places of one model under their labels.
class places_of {
 public:
  places_of(const Model& model, unsigned index, label_map& out) : model_(model), index_(index), out_(out) {}

  void collect() {
    switch (model_.kind()) {
      case model::kind::block:
        return correlations();
      case model::kind::parameter:
        return add(model_.name(), place::parameter, 0);
      case model::kind::computation:
        return computation();
      default:
        break;
    }
    coefficients();
    random_effects();
    if (model_.variance.has_label()) variance();
    if (model::has_lambda(model_.link) && !model_.outcomes.empty() &&
        model_.outcomes.front().lambda.has_label())
      add(model_.outcomes.front().lambda.label(), place::lambda, 0);
  }

 private:
  void add(const std::string& label, place kind, std::size_t position, bool counts = true, int level = -1) {
    label_uses& uses = out_[to_lower(label)];
    uses.places.push_back({index_, static_cast<unsigned>(position), kind, level});
    if (counts) ++uses.appearances;
  }

  void correlations() {
    for (const model::anyVariable& term : model_.random) {
      if (!term.param.has_label()) continue;
      // A label that stands twice has no one place; the check of the label says so.
      const auto same = [&](const model::anyVariable& other) { return other.param == term.param; };
      const bool once = std::count_if(model_.random.begin(), model_.random.end(), same) == 1;
      const int position = once ? model_.find_correlation(term.param) : 0;
      add(term.param.label(), place::correlation, static_cast<std::size_t>(position));
    }
  }

  /// The reading of other parameters is no appearance of its own: see derived labels.
  void computation() {
    add(model_.name(), place::computation, 0, false);
    std::unordered_set<std::string> seen;
    for (const std::string& name : model::expression_names(model_.computation)) {
      if (seen.insert(to_lower(name)).second) add(name, place::computation, 0, false);
    }
  }

  void coefficients() {
    const std::vector<model::parameter> all = model_.fixedParameters();
    for (std::size_t position = 0; position < all.size(); ++position) {
      if (!all[position].has_label()) continue;
      add(all[position].label(), place::fixed, position);
      // The label is that of a coefficient in the equation of each dummy code.
      out_[to_lower(all[position].label())].appearances += model_.n_codes() - 1;
    }
    std::size_t position = 0;
    for (const auto& term : model_.fixed_compute) {
      const std::size_t n = term.names().size();
      for (const std::string& label : term.labels()) {
        for (std::size_t k = 0; k < n; ++k) add(label, place::computed, position + k, k == 0);
      }
      position += n;
    }
  }

  void random_effects() {
    for (std::int32_t c = model_.levels - 1; c >= 0; --c) {
      const std::vector<model::parameter> all = model_.randomParameters(static_cast<unsigned>(c));
      for (std::size_t position = 0; position < all.size(); ++position) {
        if (!all[position].has_label()) continue;
        for (unsigned code = 0; code < model_.n_codes(); ++code)
          add(all[position].label(), place::random, position, true, c);
      }
    }
    std::size_t position = 0;
    for (const auto& term : model_.random_compute) {
      for (const std::string& label : term.labels()) add(label, place::computed_random, position);
      position += term.names().size();
    }
  }

  void variance() {
    if (model_.outcomes.size() != 1) throw error_debug("Doesn't work for other than 1 outcome.");
    const bool phantom = model_.kind() == model::kind::phantom;
    add(model_.variance.label(), phantom ? place::phantom : place::variance, 0);
  }

  const Model& model_;
  unsigned index_;
  label_map& out_;
};

bool is_computation(const constraint_info& info) {
  return info.kind == place::computation || info.kind == place::parameter;
}

/// The computed parameters of a list and what they read.
class computations {
 public:
  explicit computations(const ModelList& list) {
    for (const Model& model : list) {
      if (model.kind() != model::kind::computation) continue;
      std::vector<std::string> reads = model::expression_names(model.computation);
      std::transform(reads.begin(), reads.end(), reads.begin(), to_lower);
      index_.emplace(to_lower(model.name()), reads_.size());
      reads_.push_back(std::move(reads));
    }
  }

  /// One appearance more for every label that a computed parameter depends on which is a label itself.
  void count_in(label_map& table) const {
    for (const auto& [name, index] : index_) {
      const std::vector<constraint_info>& places = table[name].places;
      if (std::all_of(places.begin(), places.end(), is_computation)) continue;
      for (const std::string& label : dependencies(index)) ++table[label].appearances;
    }
  }

 private:
  std::unordered_set<std::string> dependencies(std::size_t first) const {
    std::unordered_set<std::string> out;
    std::vector<std::size_t> open = {first};
    while (!open.empty()) {
      const std::size_t index = open.back();
      open.pop_back();
      for (const std::string& name : reads_[index]) {
        if (!out.insert(name).second) continue;
        const auto inner = index_.find(name);
        if (inner != index_.end()) open.push_back(inner->second);
      }
    }
    return out;
  }

  std::unordered_map<std::string, std::size_t> index_;
  std::vector<std::vector<std::string>> reads_;
};

std::size_t count(const std::vector<constraint_info>& places, place kind) {
  return static_cast<std::size_t>(std::count_if(
      places.begin(), places.end(), [&](const constraint_info& info) { return info.kind == kind; }));
}

[[noreturn]] void used_twice(const char* what, const std::string& label) {
  throw error("ERROR: Cannot specify " + std::string(what) + " constraints.\n       the parameter labeled '" +
              label + "' was used\n       more than once.");
}

}  // namespace

namespace model {

void check_label(const std::vector<constraint_info>& places, const std::string& label) {
  if (count(places, place::correlation) > 1) used_twice("correlation", label);
  if (count(places, place::random) == 0) return;
  if (count(places, place::parameter) > 0)
    throw error(
        "ERROR: Cannot specify a prior for a random effect variance.\n       The parameter labeled '" +
        label + "' is the variance of a random effect.");
  const auto uses = std::count_if(places.begin(), places.end(),
                                  [](const constraint_info& info) { return !is_computation(info); });
  if (uses > 1) used_twice("random effect variance", label);
}

}  // namespace model

std::vector<model::parameter> Model::constraints() const {
  std::vector<model::parameter> out;
  for (const model::anyVariable& term : fixed) out.push_back(term.param);
  for (const model::anyVariable& term : random) out.push_back(term.param);
  for (const auto& term : fixed_compute) out.push_back(term.param);
  for (const auto& term : random_compute) out.push_back(term.param);
  if (variance.has_label()) out.push_back(variance);
  if (model::has_lambda(link) && !outcomes.empty()) out.push_back(outcomes.front().lambda);
  return out;
}

std::vector<model::parameter> ModelList::constraints() const {
  std::vector<std::pair<std::string, model::parameter>> labelled;
  for (const Model& model : *this) {
    if (model.kind() == model::kind::computation) continue;
    for (model::parameter& p : model.constraints()) {
      if (p.has_label()) labelled.emplace_back(to_lower(p.label()), std::move(p));
    }
  }
  std::stable_sort(labelled.begin(), labelled.end(),
                   [](const auto& a, const auto& b) { return natural_less(a.first, b.first); });
  std::vector<model::parameter> out;
  for (auto& [key, p] : labelled) {
    if (out.empty() || !(out.back() == p)) out.push_back(std::move(p));
  }
  return out;
}

std::unordered_map<std::string, model::label_uses> ModelList::label_table() const {
  label_map out;
  for (std::size_t i = 0; i < size(); ++i) places_of(at(i), static_cast<unsigned>(i), out).collect();
  computations(*this).count_in(out);
  return out;
}

std::vector<constraint_info> ModelList::constraintInfo(const model::parameter& p) const {
  if (!p.has_label()) return {};
  label_map table = label_table();
  std::vector<constraint_info> places = std::move(table[to_lower(p.label())].places);
  model::check_label(places, p.label());
  return places;
}

unsigned ModelList::appearances(const model::parameter& p) const {
  if (!p.has_label()) return 0;
  label_map table = label_table();
  return table[to_lower(p.label())].appearances;
}

std::vector<constraint_info> ModelList::constraintInfo(
    const std::shared_ptr<data::variable>& variable) const {
  std::vector<constraint_info> out;
  const auto same = [&](const model::anyVariable& term) { return term.variable == variable; };
  for (unsigned i = 0; i < size(); ++i) {
    const Model& model = at(i);
    const auto add = [&](std::size_t position, place kind, int level = -1) {
      out.push_back({i, static_cast<unsigned>(position), kind, level});
    };
    const int level = static_cast<int>(variable->level);
    std::size_t position = 0;
    for (const model::anyVariable& term : model.phantoms) {
      if (same(term)) add(position, place::phantom, level);
      if (term.variable->level == variable->level) ++position;
    }
    if (model.is_multi()) continue;
    if (model.kind() == model::kind::phantom && same(model.outcomes.front())) add(0, place::phantom, level);
    const auto term = std::find_if(model.fixed.begin(), model.fixed.end(), same);
    if (term != model.fixed.end()) {
      for (unsigned column : model.fixedIndicators(*term)) add(column, place::fixed);
    }
    position = 0;
    for (const auto& computed : model.fixed_compute) {
      const std::size_t n = computed.names().size();
      for (std::size_t k = 0; computed.has(*variable) && k < n; ++k) add(position + k, place::computed);
      position += n;
    }
  }
  return out;
}

std::pair<unsigned, unsigned> ModelList::estimates_span(const Model& wanted) const {
  // The same object if it is one of the list, else an equal one: with merging switched off two models can
  // share their outcome.
  const auto own = std::find_if(begin(), end(), [&](const Model& m) { return &m == &wanted; });
  const auto found =
      own != end() ? own
                   : std::find_if(begin(), end(), [&](const Model& m) { return m.isEquivalent(wanted); });
  if (found == end()) throw error_debug("No model found for wald test");
  unsigned first = 0;
  for (auto model = begin(); model != found; ++model) first += model->n_rows();
  return {first, found->n_rows()};
}

}  // namespace tovik
