// What a list implies without saying it: equations of missing indicators and factors, and the values that
// identify a factor's mean and scale.

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/model_list.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::combinationOfAnyVariable;

void warn_intercept_only(const std::vector<std::string>& names) {
  if (names.empty()) return;
  std::string text =
      "WARNING: Automatically specifying intercept only model for\n         the following variables:\n";
  for (const std::string& name : names) text += "\n           '" + name + "'";
  warning::buffer.push(text);
}

bool is_factor(const Model& model) {
  return model.outcomes.size() == 1 && model.outcomes.front().type == model::type::variable &&
         model.outcomes.front().variable->type == data::type::latent &&
         model.link != model::link::log_variance;
}

/// How often each label stands in the list, by lower-cased label. A label with one place is a free parameter
/// with a name.
std::unordered_map<std::string, unsigned> label_counts(const ModelList& models) {
  std::unordered_map<std::string, unsigned> out;
  for (const Model& model : models) {
    for (const model::parameter& p : model.constraints()) {
      if (p.has_label()) ++out[to_lower(p.label())];
    }
    for (const auto* list : {&model.fixed_compute, &model.random_compute}) {
      for (const combinationOfAnyVariable& term : *list) {
        for (const std::string& label : term.labels()) ++out[to_lower(label)];
      }
    }
  }
  return out;
}

/// Which equations hold each factor, as a predictor of any form.
std::unordered_map<const data::variable*, std::vector<std::size_t>> factor_uses(const ModelList& models) {
  std::unordered_map<const data::variable*, std::vector<std::size_t>> out;
  for (std::size_t i = 0; i < models.size(); ++i) {
    const auto note = [&](const anyVariable& term) {
      if (term.variable->type != data::type::latent) return;
      auto& list = out[term.variable.get()];
      if (list.empty() || list.back() != i) list.push_back(i);
    };
    if (models[i].is_multi()) continue;
    for (const auto* list : {&models[i].fixed, &models[i].random}) {
      for (const anyVariable& term : *list) note(term);
    }
    for (const auto* list : {&models[i].fixed_compute, &models[i].random_compute}) {
      for (const combinationOfAnyVariable& term : *list) {
        for (const anyVariable& used : term.all_variables()) note(used);
      }
    }
  }
  return out;
}

/// A product of variables, each as often as its power says.
using monomial = std::vector<anyVariable>;

bool same_monomial(const monomial& a, const monomial& b) {
  return a.size() == b.size() &&
         std::is_permutation(a.begin(), a.end(), b.begin(),
                             [](const anyVariable& x, const anyVariable& y) { return x == y; });
}

/// "v*f", "f^2" and products of these; empty for any other expression.
monomial read_monomial(const combinationOfAnyVariable& term) {
  constexpr unsigned most = 9;
  monomial out;
  std::size_t next = 0;
  for (const std::string& piece : split(term.statement, "*", false)) {
    const std::vector<std::string> parts = split(piece, "^", false);
    const std::string name = parts.empty() ? "" : trim(parts[0]);
    if (name.empty() || parts.size() > 2 || name.find_first_of(" ()+-/,<>=!") != std::string::npos) return {};
    unsigned power = 1;
    if (parts.size() == 2) {
      const std::string digit = trim(parts[1]);
      if (digit.size() != 1 || digit[0] < '1' || digit[0] > '9') return {};
      power = static_cast<unsigned>(digit[0] - '0');
    }
    if (next == term.variables.size() || out.size() + power > most) return {};
    out.insert(out.end(), power, term.variables[next++]);
  }
  return next == term.variables.size() ? out : monomial();
}

/// Whether an equation leaves the mean of a factor open: shifting the factor by a constant is made up for by
/// free coefficients of the equation, so that its likelihood says nothing about the mean.
class mean_check {
 public:
  explicit mean_check(const ModelList& models) : labels_(label_counts(models)) {}

  bool compensates(const Model& model, const data::variable& factor) const {
    for (const anyVariable& term : model.fixed) {
      if (term.variable.get() != &factor) continue;
      if (term.type != model::type::variable || !has_free_intercept(model)) return false;
    }
    for (const anyVariable& term : model.random) {
      if (term.variable.get() == &factor && !random_intercept_beside(model, term)) return false;
    }
    for (const combinationOfAnyVariable& term : model.fixed_compute) {
      if (!reads(term, factor)) continue;
      if (!has_lower_terms(model, read_monomial(term), factor)) return false;
    }
    return std::none_of(model.random_compute.begin(), model.random_compute.end(),
                        [&](const combinationOfAnyVariable& term) { return reads(term, factor); });
  }

 private:
  static bool reads(const combinationOfAnyVariable& term, const data::variable& factor) {
    const auto used = term.all_variables();
    return std::any_of(used.begin(), used.end(),
                       [&](const anyVariable& v) { return v.variable.get() == &factor; });
  }

  bool is_free(const model::parameter& p) const {
    if (!p.has_label()) return p.is_free();
    const auto count = labels_.find(to_lower(p.label()));
    return count != labels_.end() && count->second == 1;
  }

  /// Its own, or that of free thresholds, which a first threshold at 0 does not hold; in a variance model of
  /// a probit the unit of the scores.
  bool has_free_intercept(const Model& model) const {
    if (model.has_free_thresholds()) return true;
    if (model.kind() == model::kind::log_variance &&
        model.outcomes.front().variable->type == data::type::ordinal)
      return true;
    return model.has_fixed_intercept && !model.fixed.empty() && is_free(model.fixed.front().param);
  }

  /// (f + c)^k m is a sum of multiples of f^k m, ..., f m and m: free coefficients of all lower ones take up
  /// what c adds.
  bool has_lower_terms(const Model& model, monomial product, const data::variable& factor) const {
    const auto is_own = [&](const anyVariable& v) { return v.variable.get() == &factor; };
    auto own = std::find_if(product.begin(), product.end(), is_own);
    if (own == product.end()) return false;
    for (; own != product.end(); own = std::find_if(product.begin(), product.end(), is_own)) {
      if (own->type != model::type::variable) return false;
      product.erase(own);
      if (!has_free_coefficient(model, product)) return false;
    }
    return true;
  }

  bool has_free_coefficient(const Model& model, const monomial& wanted) const {
    if (wanted.empty()) return has_free_intercept(model);
    const bool plain = std::any_of(model.fixed.begin(), model.fixed.end(), [&](const anyVariable& term) {
      return same_monomial({term}, wanted) && is_free(term.param);
    });
    return plain || std::any_of(model.fixed_compute.begin(), model.fixed_compute.end(),
                                [&](const combinationOfAnyVariable& term) {
                                  return same_monomial(read_monomial(term), wanted) && is_free(term.param);
                                });
  }

  static bool random_intercept_beside(const Model& model, const anyVariable& slope) {
    return std::any_of(model.random.begin(), model.random.end(), [&](const anyVariable& term) {
      return term.is_intercept() && (!term.level || term.level == slope.level);
    });
  }

  std::unordered_map<std::string, unsigned> labels_;
};

bool all_compensate(const ModelList& models, const std::vector<std::size_t>& uses, const mean_check& check,
                    const data::variable& factor) {
  return std::all_of(uses.begin(), uses.end(), [&](std::size_t i) {
    return !model::is_manifest(models[i].kind()) || check.compensates(models[i], factor);
  });
}

/// The labels that a prior distribution holds: those of PARAMETERS with a proper one, and those computed from
/// such labels and numbers.
class held_labels {
 public:
  explicit held_labels(const ModelList& models) {
    for (const Model& model : models) {
      if (model.kind() == model::kind::parameter || model.kind() == model::kind::computation)
        of_.emplace(to_lower(model.name()), &model);
    }
  }

  bool holds(const std::string& label) const {
    const auto found = of_.find(to_lower(label));
    if (found == of_.end()) return false;
    const Model& model = *found->second;
    if (model.kind() == model::kind::parameter) return model.prior.is_proper();
    const auto read = model::expression_names(model.computation);
    return std::all_of(read.begin(), read.end(),
                       [&](const std::string& name) { return !iequals(name, label) && holds(name); });
  }
  template <class Labels>
  bool hold_all(const Labels& labels) const {
    return std::all_of(labels.begin(), labels.end(), [this](const std::string& l) { return holds(l); });
  }

 private:
  std::unordered_map<std::string, const Model*> of_;
};

/// A variance model of the factor has its unit where all predictors are 0. False without a free intercept.
bool hold_log_variance(ModelList& models, const data::variable& factor) {
  for (Model& model : models) {
    if (model.kind() != model::kind::log_variance || model.outcomes.front().variable.get() != &factor)
      continue;
    if (!model.has_fixed_intercept || !model.fixed.front().param.is_free()) return false;
    model.fixed.front().param = model::parameter::fixed_at(0.0);
    return true;
  }
  return false;
}

/// What the loadings of a factor say of its scale.
class loading_check {
 public:
  explicit loading_check(const ModelList& models) : models_(models), labels_(models) {}

  /// True if some loading is drawn and none is tied: to a number other than 0, or by a prior to some order of
  /// size.
  bool all_free(const std::vector<std::size_t>& uses, const data::variable& factor) const {
    bool any = false;
    for (std::size_t i : uses) {
      for (const anyVariable& term : models_[i].fixed) {
        if (term.variable.get() != &factor) continue;
        if (ties(term.param)) return false;
        any = any || !term.param.is_fixed();
      }
      for (const combinationOfAnyVariable& term : models_[i].fixed_compute) {
        if (!term.has(factor)) continue;
        if (ties(term)) return false;
        any = any || !term.param.is_fixed() || !term.labels().empty();
      }
    }
    return any;
  }

 private:
  bool ties(const model::parameter& p) const {
    return p.is_fixed() ? p.value() != 0.0 : p.has_label() && labels_.holds(p.label());
  }
  /// Labels inside the term are coefficients as well.
  bool ties(const combinationOfAnyVariable& term) const {
    const auto inside = term.labels();
    if (inside.empty()) return ties(term.param);
    return (term.param.is_free() || ties(term.param)) && labels_.hold_all(inside);
  }

  const ModelList& models_;
  held_labels labels_;
};

}  // namespace

void ModelList::checkMissingModels(const VariableList& variables) {
  std::vector<std::string> added;
  for (const anyVariable& indicator : this->variables(model::type::missing, false)) {
    anyVariable outcome = indicator;
    outcome.level = nullptr;
    outcome.modifier.clear();
    if (find(outcome)) continue;
    add_model({outcome.fullname_noModifer() + " ~ 1", block::predef::none}, variables);
    back().fixed_intercept_given = false;
    added.push_back(outcome.name());
  }
  warn_intercept_only(added);
}

void ModelList::checkFactorModels(const VariableList& variables) {
  std::vector<std::string> added;
  for (const auto& factor : variables.subset(data::type::latent)) {
    anyVariable outcome;
    outcome.variable = factor;
    if (find(outcome)) continue;
    add_model({factor->fullName + " ~ 1", block::predef::none}, variables);
    back().fixed_intercept_given = false;
    added.push_back(factor->name);
  }
  warn_intercept_only(added);
}

void ModelList::fix_factor_means() {
  const auto uses = factor_uses(*this);
  const mean_check check(*this);
  std::unordered_set<const data::variable*> written;
  for (const Model& model : *this) {
    if (is_factor(model) && model.fixed_intercept_given)
      written.insert(model.outcomes.front().variable.get());
  }
  for (Model& model : *this) {
    if (!is_factor(model) || !model.has_fixed_intercept) continue;
    const data::variable* factor = model.outcomes.front().variable.get();
    if (written.count(factor) > 0) continue;
    const auto own = uses.find(factor);
    if (own == uses.end() || all_compensate(*this, own->second, check, *factor))
      model.fixed.front().param = model::parameter::fixed_at(0.0);
  }
}

void ModelList::fix_factor_scales() {
  const auto uses = factor_uses(*this);
  const loading_check loadings(*this);
  std::unordered_set<const data::variable*> settled;
  for (const Model& model : *this) {
    if (is_factor(model) && !model.variance.is_free()) settled.insert(model.outcomes.front().variable.get());
  }
  std::string list;
  for (Model& model : *this) {
    if (!is_factor(model)) continue;
    const auto factor = model.outcomes.front().variable;
    const auto own = uses.find(factor.get());
    if (own == uses.end() || !loadings.all_free(own->second, *factor)) continue;
    if (!settled.insert(factor.get()).second) continue;
    if (model::has_many_variances(model.link)) {
      if (!hold_log_variance(*this, *factor)) continue;
    } else {
      hold_variance(model, model::parameter::fixed_at(1.0));
    }
    list += "\n           '" + factor->name + "'";
  }
  if (!list.empty())
    warning::buffer.push(
        "WARNING: All loadings and the residual variance are free for the\n"
        "         following latent variables. The variance has been fixed to 1:\n" +
        list);
}

/// A block that the model is a member of has its residual variance.
void ModelList::hold_variance(Model& model, const model::parameter& value) {
  model.variance = value;
  const int block = has_multi(model);
  if (block < 0) return;
  for (anyVariable& member : (*this)[static_cast<std::size_t>(block)].fixed)
    if (member == model.outcomes.front()) member.param = value;
}

}  // namespace tovik
