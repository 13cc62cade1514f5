// Equations that predict each other. A set of conditional distributions belongs to a joint one when the
// variables can be ordered so that each equation reads only what stands before its outcome (Besag, 1974, on
// conditionals without a joint distribution). Around a cycle there is no such order.

#include <algorithm>
#include <unordered_map>

#include "data/dummy.hpp"
#include "model/model_list.hpp"
#include "support/warning.hpp"

namespace tovik {
namespace {

using model::anyVariable;

/// What an equation tells or reads: a variable with all that derives from its values, or its indicator.
struct subject {
  const data::variable* variable;
  bool indicator;

  explicit subject(const anyVariable& term)
      : variable(term.variable.get()), indicator(term.type == model::type::missing) {
    if (const auto* code = dynamic_cast<const data::dummy*>(variable)) variable = code->parent().get();
  }
  bool operator==(const subject& other) const {
    return variable == other.variable && indicator == other.indicator;
  }
  struct hash {
    std::size_t operator()(const subject& s) const {
      return std::hash<const void*>()(s.variable) * 2 + (s.indicator ? 1 : 0);
    }
  };
};

using edges = std::vector<std::vector<std::size_t>>;

/// The outcomes of a list, and from each one those that predict it.
class graph {
 public:
  explicit graph(const ModelList& models) {
    for (const Model& model : models) {
      if (tells(model)) node_of(model.outcomes.front());
    }
    reads_.resize(names_.size());
    for (const Model& model : models) {
      if (tells(model) || model.kind() == model::kind::log_variance) add_edges(model);
    }
  }

  /// The names along cycles, in the order of the list; one entry for each set of outcomes that predict each
  /// other. Kosaraju's algorithm: components of a graph are the trees of a search through its reversal, in
  /// reverse order of the ends of a first search.
  std::vector<std::vector<std::string>> cycles() const {
    std::vector<std::size_t> order;
    std::vector<char> seen(names_.size(), 0);
    for (std::size_t i = 0; i < names_.size(); ++i) search(reads_, i, seen, order);
    edges reversed(names_.size());
    for (std::size_t i = 0; i < names_.size(); ++i) {
      for (std::size_t k : reads_[i]) reversed[k].push_back(i);
    }
    std::fill(seen.begin(), seen.end(), 0);
    std::vector<std::vector<std::string>> out;
    for (auto i = order.rbegin(); i != order.rend(); ++i) {
      std::vector<std::size_t> members;
      search(reversed, *i, seen, members);
      if (members.size() > 1) out.push_back(named(members));
      if (!out.empty() && out.back().empty()) out.pop_back();
    }
    return out;
  }

 private:
  static bool tells(const Model& model) {
    return model.outcomes.size() == 1 && model::has_predictors(model.kind()) &&
           model.kind() != model::kind::log_variance;
  }

  void node_of(const anyVariable& outcome) {
    if (!nodes_.emplace(subject(outcome), names_.size()).second) return;
    names_.push_back(outcome.name());
    observed_.push_back(outcome.variable->type != data::type::latent);
  }

  /// What the model of a variance reads, the distribution of its outcome reads.
  void add_edges(const Model& model) {
    const auto outcome = nodes_.find(subject(model.outcomes.front()));
    if (outcome == nodes_.end()) return;
    const std::size_t own = outcome->second;
    const auto add = [&](const anyVariable& term) {
      const auto found = nodes_.find(subject(term));
      if (found != nodes_.end() && found->second != own) reads_[own].push_back(found->second);
    };
    for (const auto* side : {&model.fixed, &model.random}) {
      for (const anyVariable& term : *side) add(term);
    }
    for (const auto* side : {&model.fixed_compute, &model.random_compute}) {
      for (const auto& computed : *side) {
        for (const anyVariable& term : computed.all_variables()) add(term);
      }
    }
  }

  /// Appends what can be reached from `first` and is not seen yet, each after all that it leads to.
  static void search(const edges& to, std::size_t first, std::vector<char>& seen,
                     std::vector<std::size_t>& out) {
    if (seen[first]) return;
    std::vector<std::pair<std::size_t, std::size_t>> open = {{first, 0}};
    seen[first] = 1;
    while (!open.empty()) {
      auto& [node, next] = open.back();
      if (next == to[node].size()) {
        out.push_back(node);
        open.pop_back();
        continue;
      }
      const std::size_t other = to[node][next++];
      if (seen[other]) continue;
      seen[other] = 1;
      open.emplace_back(other, 0);
    }
  }

  /// Empty when all members are factors.
  std::vector<std::string> named(std::vector<std::size_t> members) const {
    std::sort(members.begin(), members.end());
    std::vector<std::string> out;
    if (std::none_of(members.begin(), members.end(), [&](std::size_t i) { return observed_[i]; })) return out;
    for (std::size_t i : members) out.push_back(names_[i]);
    return out;
  }

  std::unordered_map<subject, std::size_t, subject::hash> nodes_;
  std::vector<std::string> names_;
  std::vector<bool> observed_;
  edges reads_;
};

}  // namespace

void ModelList::warn_cycles() const {
  for (const std::vector<std::string>& names : graph(*this).cycles()) {
    std::string text =
        "WARNING: The equations of the following variables predict each other\n"
        "         and have no common joint distribution:\n";
    for (const std::string& name : names) text += "\n           '" + name + "'";
    warning::buffer.push(text);
  }
}

}  // namespace tovik
