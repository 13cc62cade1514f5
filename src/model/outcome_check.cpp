// What can be said of an outcome in several statements, but not together or not at all.

#include <unordered_map>

#include "model/correlation.hpp"
#include "model/model_list.hpp"
#include "model/term_key.hpp"
#include "support/error.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::parameter;
using model::term_key;

/// Why the outcome has no residual variance that could be set; null where it has one. Where the scale of a
/// model is that of its link, the variance follows from it.
const char* without_variance(const Model& model) {
  switch (model.kind()) {
    case model::kind::ordinal:
      return model.link == model::link::logit ? "logistic" : "ordinal";
    case model::kind::missing:
      return "missing data indicator";
    case model::kind::count:
      return "count";
    case model::kind::nominal:
      return "nominal";
    default:
      return nullptr;
  }
}

void check_variance(const Model& model) {
  const char* what = without_variance(model);
  if (!what || (model.variance.is_free() && !model.variance.has_start())) return;
  const std::string text = "ERROR: The outcome '" + model.name() + "' (" + what +
                           ") has no residual variance\n       that can be ";
  if (model.variance.has_label()) throw parameter::error_constraint(text + "labeled.");
  throw parameter::error_fixed(text +
                               (model.variance.is_fixed() ? "fixed to a value." : "given a start value."));
}

[[noreturn]] void two_links(const Model& first, const Model& second) {
  throw error(
      "ERROR: Two models have the same dependent variable but different\n       links. Problem Models:\n" +
      std::string("           ") + first.command() + "\n           " + second.command());
}

}  // namespace

void model::check_variance(const Model& owner, const parameter& left, const parameter& right) {
  const char* what = without_variance(owner);
  if (!what) return;
  const bool fixes = left.is_fixed() || right.is_fixed() || owner.variance.is_fixed();
  const bool labels = left.has_label() || right.has_label() || owner.variance.has_label();
  if (fixes && labels)
    throw parameter::error_constraint_fixed("ERROR: The outcome '" + owner.name() + "' (" + what +
                                            ") has no residual variance\n       that can be fixed to a "
                                            "value and labeled.");
}

void ModelList::check_outcomes() const {
  std::unordered_map<term_key, const Model*, term_key::hash> seen;
  for (const Model& model : *this) {
    if (model.outcomes.size() != 1 || !model::has_predictors(model.kind())) continue;
    check_variance(model);
    if (model.link == model::link::log_variance || model.block == block::predef::imputation) continue;
    const auto [first, is_new] = seen.emplace(term_key(model.outcomes.front()), &model);
    if (!is_new && first->second->link != model.link) two_links(*first->second, model);
  }
}

}  // namespace tovik
