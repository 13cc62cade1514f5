// Who holds what in a finished list.

#include <algorithm>
#include <unordered_set>

#include "evaluate/defines.hpp"
#include "evaluate/parser.hpp"
#include "model/model_list.hpp"
#include "support/block.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::term_key;

template <class Visit>
void visit_terms(const Model& model, bool outcomes, const Visit& visit) {
  for (const auto* list : {&model.outcomes, &model.fixed, &model.random, &model.phantoms}) {
    if (list == &model.outcomes && !outcomes) continue;
    for (const anyVariable& term : *list) visit(term);
  }
  for (const auto* list : {&model.fixed_compute, &model.random_compute}) {
    for (const auto& computed : *list) {
      for (const anyVariable& term : computed.all_variables()) visit(term);
    }
  }
}

/// Indices of the models of which a term passes the test.
template <class Test>
std::vector<unsigned> holders(const ModelList& models, bool outcomes, const Test& test) {
  std::vector<unsigned> out;
  for (unsigned i = 0; i < models.size(); ++i) {
    if (!model::speaks_of_variables(models[i].kind())) continue;
    bool holds = false;
    visit_terms(models[i], outcomes, [&](const anyVariable& term) { holds = holds || test(term); });
    if (holds) out.push_back(i);
  }
  return out;
}

bool has_outcome(const Model& model, const anyVariable& outcome) {
  const auto& list = model.outcomes;
  return model.link != model::link::log_variance &&
         std::find(list.begin(), list.end(), outcome) != list.end();
}

}  // namespace

std::vector<anyVariable> ModelList::variables(model::type type, bool outcomes) const {
  std::unordered_set<term_key, term_key::hash> seen;
  std::vector<anyVariable> out;
  const auto take = [&](const anyVariable& term) {
    if (term.type == type && seen.insert(term_key(term)).second) out.push_back(term);
  };
  for (const Model& model : *this) {
    if (model::speaks_of_variables(model.kind())) visit_terms(model, outcomes, take);
  }
  for (const auto& definition : definitions) {
    for (const anyVariable& term : definition.second.all_variables()) take(term);
  }
  std::stable_sort(out.begin(), out.end());
  return out;
}

std::vector<std::shared_ptr<data::variable>> ModelList::variables() const {
  std::unordered_set<const data::variable*> seen;
  std::vector<std::shared_ptr<data::variable>> out;
  const auto take = [&](const anyVariable& term) {
    if (seen.insert(term.variable.get()).second) out.push_back(term.variable);
  };
  for (const Model& model : *this) {
    if (model::speaks_of_variables(model.kind())) visit_terms(model, true, take);
  }
  for (const auto& definition : definitions) {
    for (const anyVariable& term : definition.second.all_variables()) take(term);
  }
  return out;
}

void ModelList::index_from(std::size_t first) {
  for (std::size_t i = first; i < size(); ++i) {
    if (at(i).link == model::link::log_variance) continue;
    for (const anyVariable& outcome : at(i).outcomes) index_.emplace(term_key(outcome), i);
  }
  indexed_ = size();
}

void ModelList::index() {
  index_.clear();
  index_from(0);
}

const Model* ModelList::find(const anyVariable& outcome) const {
  if (indexed_ == size()) {
    const auto found = index_.find(term_key(outcome));
    if (found == index_.end()) return nullptr;
    if (has_outcome(at(found->second), outcome)) return &at(found->second);
  }
  for (const Model& model : *this) {
    if (has_outcome(model, outcome)) return &model;
  }
  return nullptr;
}

Model* ModelList::find(const anyVariable& outcome) {
  if (indexed_ > size()) {
    index();
  } else if (indexed_ < size()) {
    index_from(indexed_);
  }
  return const_cast<Model*>(static_cast<const ModelList&>(*this).find(outcome));
}

std::vector<unsigned> ModelList::subset(const anyVariable& term, const bool& outcomes) const {
  return holders(*this, outcomes, [&](const anyVariable& other) { return other == term; });
}

std::vector<unsigned> ModelList::subset(const std::shared_ptr<data::variable>& variable, model::type type,
                                        bool outcomes) const {
  return holders(*this, outcomes,
                 [&](const anyVariable& other) { return other.variable == variable && other.type == type; });
}

std::vector<unsigned> ModelList::subset_multi() const {
  std::vector<unsigned> out;
  for (unsigned i = 0; i < size(); ++i) {
    if (at(i).is_multi()) out.push_back(i);
  }
  return out;
}

int ModelList::has_multi(const Model& member) const {
  if (member.outcomes.size() != 1 || !model::speaks_of_variables(member.kind())) return -1;
  for (unsigned i : subset_multi()) {
    const auto& members = at(i).fixed;
    if (std::find(members.begin(), members.end(), member.outcomes.front()) != members.end())
      return static_cast<int>(i);
  }
  return -1;
}

std::vector<unsigned> ModelList::find_multi(const Model& block) const {
  std::vector<unsigned> out;
  for (const anyVariable& member : block.fixed) {
    const Model* found = find(member);
    if (!found) throw error_debug("Could not find models for multi");
    out.push_back(static_cast<unsigned>(found - data()));
  }
  return out;
}

const Model& ModelList::operator[](const std::shared_ptr<data::variable>& variable) const {
  for (const Model& model : *this) {
    for (const anyVariable& outcome : model.outcomes) {
      const bool own = outcome.type == model::type::variable || outcome.type == model::type::phantom;
      if (own && outcome.variable == variable && model.link != model::link::log_variance) return model;
    }
  }
  throw error_debug("Could not find model of variable '" + variable->name + "'.");
}

std::vector<std::pair<unsigned, unsigned>> ModelList::scale_pairs() const {
  std::vector<std::pair<unsigned, unsigned>> out;
  for (unsigned i = 0; i < size(); ++i) {
    if (at(i).link != model::link::log_variance || at(i).outcomes.empty()) continue;
    anyVariable owner = at(i).outcomes.front();
    owner.type = model::type::variable;
    const Model* found = find(owner);
    if (!found) throw error_debug("Cannot form variance link.");
    out.emplace_back(static_cast<unsigned>(found - data()), i);
  }
  return out;
}

std::vector<std::string> ModelList::definitions_text(const std::string& prefix) const {
  std::vector<std::string> out;
  for (const auto& [name, expression] : definitions)
    out.push_back(prefix + name + " = " + expression.statement);
  return out;
}

namespace {

/// A column of residuals, or of random effects of lower outcomes, at one level.
struct residual_column {
  const Model* model;
  std::string name;
};

std::vector<residual_column> residual_columns(const ModelList& models, int level_value) {
  std::vector<residual_column> out;
  for (const Model& model : models) {
    if (!model::has_normal_residual(model.kind(), model.link)) continue;
    if (model.levels == level_value) {
      for (const std::string& name : model.names()) out.push_back({&model, name});
    } else if (model.levels > level_value) {
      for (const std::string& name : model.reName(level_value))
        out.push_back({&model, model.name() + " " + name});
    }
  }
  return out;
}

/// What `get` makes of each two columns of different models.
template <class Get>
auto pairs_of(const std::vector<residual_column>& columns, Get get) {
  std::vector<decltype(get(columns[0], columns[0]))> out;
  for (std::size_t j = 0; j < columns.size(); ++j) {
    for (std::size_t i = j + 1; i < columns.size(); ++i) {
      if (columns[i].model != columns[j].model) out.push_back(get(columns[j], columns[i]));
    }
  }
  return out;
}

}  // namespace

std::vector<std::string> ModelList::rcorr_names(int level_value) const {
  return pairs_of(
      residual_columns(*this, level_value),
      [](const residual_column& a, const residual_column& b) { return a.name + " <-> " + b.name; });
}

std::vector<bool> ModelList::rcorr_hidden(int level_value) const {
  const auto hidden = [](const residual_column& one) { return one.model->block == block::predef::hidden; };
  return pairs_of(residual_columns(*this, level_value),
                  [&](const residual_column& a, const residual_column& b) { return hidden(a) || hidden(b); });
}

void ModelList::update_def() const {
  for (const auto& [name, expression] : definitions) {
    for (const std::string& used : names->get_data(name + " + (" + expression.statement + ")")) {
      const evaluate::defines::def* entry = names->find(used);
      if (!entry || entry->kind != 0) continue;
      throw error("ERROR: The variable '" + entry->name +
                  "' in the MODEL define statement was\n       never specified.\n       Problem command: " +
                  name + " = " + expression.statement);
    }
  }
  for (const auto& definition : definitions) {
    const model::combinationOfAnyVariable& expression = definition.second;
    for (std::size_t i = 0; i < expression.variables.size(); ++i) {
      const std::vector<unsigned> columns = expression.variables[i].indicator();
      if (columns.size() != 1) throw error_debug("A definition reads more than one column.");
      names->move_data(expression.tokens[i], columns.front());
    }
  }
}

std::vector<std::pair<std::string, std::unique_ptr<evaluate::node>>> ModelList::get_evaluates() const {
  std::vector<std::pair<std::string, std::unique_ptr<evaluate::node>>> out;
  for (const auto& definition : definitions) {
    out.emplace_back(definition.first, evaluate::ast(definition.second.statement, *names));
  }
  return out;
}

}  // namespace tovik
