#include "app/convergence_warnings.hpp"

#include <string>
#include <vector>

#include "input/input_file.hpp"
#include "results/convergence.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

void push(const std::string& text) {
  if (!text.empty()) warning::buffer.push(text);
}

}  // namespace

void warn_of_convergence(const InputFile& input, const chain_group<sem::Mcmc>& group, const ModelList& models,
                         const Summary& draws) {
  const sem::Mcmc& estimator = group.front().estimator();
  const std::vector<parameter_name> names =
      parameter_names(models, estimator.predictors(), estimator.predictor_column_names());
  if (names.empty()) return;
  if (input.psr && !group.interrupted()) push(convergence::warning_of_burn_in(group.burn(), names));
  push(convergence::warning_of_draws(draws, names, input.savesDataSets()));
}

}  // namespace tovik
