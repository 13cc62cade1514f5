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
    if (incomplete)
      not_available::refuse("An incomplete outcome as a predictor of another equation (" + name + ")");
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

}  // namespace

void check_predictors(ModelList const& models, working_data const& working) {
  for (Model const& model : models) {
    for (auto const* terms : {&model.fixed, &model.random}) {
      for (model::anyVariable const& term : *terms) {
        if (term.is_intercept()) continue;
        variable_ptr keep;
        check_predictor(data_variable(term.variable, keep), models, working);
      }
    }
  }
}

}  // namespace tovik::sem
