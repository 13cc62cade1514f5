#include "sem/mcmc_checks.hpp"

#include <algorithm>
#include <memory>
#include <string>

#include "data/dummy.hpp"
#include "data/levels.hpp"
#include "model/model_list.hpp"
#include "sem/working_data.hpp"
#include "support/not_available.hpp"

namespace tovik::sem {

namespace {

using variable_ptr = std::shared_ptr<data::variable>;

/// A dummy code stands for the nominal variable that it belongs to.
data::variable const& data_variable(variable_ptr const& v, variable_ptr& keep) {
  if (auto const* code = dynamic_cast<data::dummy const*>(v.get())) {
    keep = code->parent();
    return *keep;
  }
  return *v;
}

bool is_outcome(data::variable const& v, ModelList const& models) {
  return std::any_of(models.begin(), models.end(), [&](Model const& model) {
    return std::any_of(model.outcomes.begin(), model.outcomes.end(),
                       [&](model::anyVariable const& y) { return y.variable.get() == &v; });
  });
}

void check_predictor(data::variable const& v, ModelList const& models, working_data const& working) {
  const unsigned level = sampler_level(working.n_levels() - 1, v.level);
  const bool incomplete = working.missing_units(working.data, v.column, level).n_elem > 0;
  const std::string name = "'" + v.name + "'";
  if (is_outcome(v, models)) {
    if (v.centered() != data::center::none) not_available::refuse("Centering of the outcome " + name);
    return;
  }
  if (incomplete) not_available::refuse("A model for the incomplete predictor " + name);
  if (v.fixed()) return;
  if (v.centered() != data::center::none) {
    not_available::refuse("A model for the centered predictor " + name);
  }
  not_available::refuse("A model for the complete predictor " + name + " that is not fixed");
}

/// The terms that stand for variables of the data: not intercepts, identifiers, random effects with a name.
void check_terms(std::vector<model::anyVariable> const& terms, ModelList const& models,
                 working_data const& working) {
  for (model::anyVariable const& term : terms) {
    if (term.is_intercept() || term.type == model::type::random || term.variable->type == data::type::id)
      continue;
    variable_ptr keep;
    check_predictor(data_variable(term.variable, keep), models, working);
  }
}

}  // namespace

void check_predictors(ModelList const& models, working_data const& working) {
  for (Model const& model : models) {
    check_terms(model.fixed, models, working);
    check_terms(model.random, models, working);
    for (auto const* terms : {&model.fixed_compute, &model.random_compute})
      for (model::combinationOfAnyVariable const& term : *terms)
        check_terms(term.all_variables(), models, working);
  }
  for (auto const& definition : models.definitions)
    check_terms(definition.second.all_variables(), models, working);
}

}  // namespace tovik::sem
