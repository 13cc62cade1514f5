#include "sem/run_equations.hpp"

#include "sem/ensemble/factory.hpp"
#include "sem/ensemble/label_plan.hpp"
#include "sem/ensemble/make_block.hpp"
#include "sem/phantoms/phantom_links.hpp"

namespace tovik::tests {

std::vector<std::shared_ptr<sem::estimator::Outcome>> make_equations(
    const small_run& run, sem::Estimator* estimator, sem::working_data& working,
    std::unordered_map<std::string, model::parameter_info>& cells, const sem::priors& prior, bool changing) {
  sem::outcome_context context;
  context.estimator = estimator;
  context.working = &working;
  context.data = &working.data;
  context.prior = prior;
  context.cells = &cells;
  context.mutable_columns.assign(working.data.n_cols, changing);
  const std::vector<bool> in_block = sem::block_members(run.models);
  std::vector<std::shared_ptr<sem::estimator::Outcome>> out;
  for (std::size_t i = 0; i < run.models.size(); ++i) {
    const Model& model = run.models[i];
    context.in_block = in_block[i];
    out.push_back(model.is_multi() ? sem::make_block(run.models, model, out, estimator, prior,
                                                     sem::plan_labels(run.models))
                                   : sem::make_outcome(model, context));
  }
  sem::link_phantoms(run.models, out, working.data);
  return out;
}

std::vector<arma::uword> id_columns(const std::vector<std::string>& names,
                                    const std::vector<std::string>& ids) {
  std::vector<arma::uword> out;
  for (const std::string& id : ids)
    for (arma::uword j = 0; j < names.size(); ++j)
      if (names[j] == id) out.push_back(j);
  return out;
}

}  // namespace tovik::tests
