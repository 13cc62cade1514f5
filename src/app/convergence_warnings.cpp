#include "app/convergence_warnings.hpp"

#include <string>
#include <vector>

#include "app/row_names.hpp"
#include "input/input_file.hpp"
#include "results/convergence.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

void push(const std::string& text) {
  if (!text.empty()) warning::buffer.push(text);
}

}  // namespace

template <class T>
void warn_of_convergence(const InputFile& input, const chain_group<T>& group, const ModelList& models,
                         const Summary& draws) {
  const std::vector<parameter_name> names = row_names(group.front().estimator(), models);
  if (names.empty()) return;
  if (input.psr && !group.interrupted()) push(convergence::warning_of_burn_in(group.burn(), names));
  push(convergence::warning_of_draws(draws, names, input.savesDataSets()));
}

template void warn_of_convergence(const InputFile&, const chain_group<sem::Mcmc>&, const ModelList&,
                                  const Summary&);
template void warn_of_convergence(const InputFile&, const chain_group<manifest::wrapper>&, const ModelList&,
                                  const Summary&);

}  // namespace tovik
