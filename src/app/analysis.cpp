#include "app/analysis.hpp"

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "app/prior_warnings.hpp"
#include "input/input_file.hpp"
#include "random/random.hpp"
#include "sem/chain/saved_columns.hpp"
#include "support/error.hpp"
#include "support/output.hpp"

namespace tovik {

namespace {

void print_renames(const std::string& renames) {
  if (renames.empty()) return;
  std::fprintf(Output::fp,
               "\n  NOTE: The following variables have been renamed\n"
               "        to be %llu characters or less.\n%s\n",
               static_cast<unsigned long long>(VariableList::truncate), renames.c_str());
}

}  // namespace

analysis prepare(InputFile& input) {
  analysis run;
  run.data = input.data();
  run.vars = input.variableList(run.data);
  print_renames(run.vars.truncateNames());
  run.models = input.modelList(run.vars);
  input.update(run.data, run.vars, run.models);
  warn_of_priors(input, run);
  run.simple = input.simpleSlopes(run.vars, run.models);
  return run;
}

chain_group<sem::Mcmc> build_chains(InputFile& input, const analysis& run) {
  input.refuse_unavailable();
  chain_group<sem::Mcmc> group(input.processors);
  const auto saved = sem::keep_saved_columns(run.vars, run.data);
  for (const chain_info& info : input.chainInfo()) {
    Random rng(input.seed, info.id);
    rng.disperse(info.dispersion);
    auto mcmc = std::make_shared<sem::Mcmc>(run.vars, run.data, rng, input.xprior, input.ICCcutoff, saved,
                                            input.scaled_priors);
    mcmc->addOutcomes(run.vars, run.models, sem::priors{input.prior_resvar, input.prior_raneff, input.scaled_priors});
    if (!run.simple.empty()) mcmc->addSimpleSlopes(run.simple);
    group.push_back(chain<sem::Mcmc>(std::move(mcmc), info));
  }
  if (group.empty()) throw error_debug("Number of chains is set to zero!");
  return group;
}

}  // namespace tovik
