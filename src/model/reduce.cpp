// Equations of one outcome become one; variance models find the equation whose variance they model.

#include <algorithm>
#include <unordered_map>

#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::term_key;

bool is_variance_model(const Model& model) {
  return model.link == model::link::log_variance;
}

bool is_imputation(const Model& model) {
  return model.block == block::predef::imputation;
}

std::string listed(const ModelList& models, std::size_t i) {
  return "           [" + std::to_string(i + 1) + "] = " + models[i].command();
}

/// The inline transformation without blanks; the parameter of a Yeo-Johnson transformation belongs to it.
std::string transformation(const anyVariable& outcome) {
  return to_lower(replace_all(outcome.transformation, " ", ""));
}

bool same_lambda(const anyVariable& a, const anyVariable& b) {
  return a.lambda.is_free() || b.lambda.is_free() || a.lambda == b.lambda;
}

bool transformations_differ(const Model& a, const Model& b) {
  for (const anyVariable& y : a.outcomes) {
    for (const anyVariable& other : b.outcomes) {
      if (y == other && (transformation(y) != transformation(other) || !same_lambda(y, other))) return true;
    }
  }
  return false;
}

using outcome_table = std::unordered_map<term_key, std::vector<std::size_t>, term_key::hash>;

/// The models of each outcome, in list order.
outcome_table models_by_outcome(const ModelList& models) {
  outcome_table out;
  for (std::size_t i = 0; i < models.size(); ++i) {
    for (const anyVariable& outcome : models[i].outcomes) {
      auto& list = out[term_key(outcome)];
      if (list.empty() || list.back() != i) list.push_back(i);
    }
  }
  return out;
}

bool joins(const Model& a, const Model& b) {
  if (is_imputation(a) != is_imputation(b) || is_variance_model(a) != is_variance_model(b)) return false;
  return a.link == b.link || !a.link_given || !b.link_given;
}

/// Settles the links of two models that join: a link that nobody wrote yields to the other. The later model
/// is settled too, for what has joined it already.
void share_link(Model& kept, Model& merged) {
  if (!kept.link_given && merged.link_given) kept.link = merged.link;
  merged.link = kept.link;
  kept.link_given = merged.link_given = kept.link_given || merged.link_given;
  for (anyVariable& y : kept.outcomes) {
    for (const anyVariable& other : merged.outcomes) {
      if (y == other && y.lambda.is_free()) y.lambda = other.lambda;
    }
  }
}

/// The nearest model before i that speaks of the same outcome, or i.
std::size_t partner(const ModelList& models, const outcome_table& table, std::size_t i) {
  std::size_t best = i;
  for (const anyVariable& outcome : models[i].outcomes) {
    const std::vector<std::size_t>& list = table.at(term_key(outcome));
    for (auto j = std::lower_bound(list.begin(), list.end(), i); j != list.begin();) {
      --j;
      if (!joins(models[*j], models[i])) continue;
      best = best == i ? *j : std::max(best, *j);
      break;
    }
  }
  return best;
}

/// With scores, thresholds and coefficients multiplied by c and all variances by c^2 the categories are as
/// likely: the variances of a probit are measured in that of a row whose predictors of the variance are 0.
void hold_unit(const Model& owner, Model& variance) {
  if (owner.kind() != model::kind::ordinal || !variance.has_fixed_intercept) return;
  model::parameter& intercept = variance.fixed.front().param;
  if (intercept.has_label())
    throw error("ERROR: The variance model of an ordinal outcome cannot have a labeled intercept.\n" +
                ("       It is held at 0. Problem Model:\n           " + variance.command()));
  if (!intercept.is_fixed()) intercept = model::parameter::fixed_at(0.0);
}

}  // namespace

void ModelList::reduce() {
  const outcome_table table = models_by_outcome(*this);
  // Each model joins the nearest one before it, from the last to the first; the terms are then put together
  // from the first to the last, which gives the same equation and moves each term once.
  std::vector<std::size_t> joined(size());
  for (std::size_t i = size(); i-- > 0;) {
    joined[i] = partner(*this, table, i);
    if (joined[i] == i) continue;
    if (transformations_differ(at(joined[i]), at(i)))
      throw error(
          "ERROR: Two models have the same dependent variable but different\n"
          "       inline transformations. Problem Models:\n" +
          listed(*this, joined[i]) + "\n" + listed(*this, i));
    share_link(at(joined[i]), at(i));
  }
  std::vector<Model> kept;
  std::vector<std::size_t> place(size());
  for (std::size_t i = 0; i < size(); ++i) {
    place[i] = joined[i] == i ? kept.size() : place[joined[i]];
    if (joined[i] == i) {
      kept.push_back(std::move(at(i)));
    } else {
      at(i).link = kept[place[i]].link;
      kept[place[i]] += at(i);
    }
  }
  static_cast<std::vector<Model>&>(*this) = std::move(kept);
  index();
}

void ModelList::pair_variance_models() {
  index();
  for (std::size_t i = 0; i < size(); ++i) {
    if (!is_variance_model(at(i))) continue;
    Model* owner = nullptr;
    for (const anyVariable& outcome : at(i).outcomes) owner = owner ? owner : find(outcome);
    if (!owner)
      throw error("ERROR: Variance model specified without a matching outcome.\n       Problem Model:\n" +
                  std::string("           ") + at(i).command());
    *owner += at(i);
    hold_unit(*owner, at(i));
    for (anyVariable& outcome : at(i).outcomes) outcome.type = model::type::variance;
  }
}

void ModelList::checkTransform() const {
  for (std::size_t i = 0; i < size(); ++i) {
    if (is_variance_model(at(i)) || at(i).outcomes.size() != 1) continue;
    const Model* first = find(at(i).outcomes.front());
    if (!first || first == &at(i) || !transformations_differ(*first, at(i))) continue;
    throw error(
        "ERROR: Two models have the same dependent variable but one\n"
        "       has an inline transformation. Problem Models:\n" +
        listed(*this, static_cast<std::size_t>(first - data())) + "\n" + listed(*this, i));
  }
}

}  // namespace tovik
