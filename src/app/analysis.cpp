#include "app/analysis.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "app/chain_files.hpp"
#include "app/prior_warnings.hpp"
#include "app/progress.hpp"
#include "app/row_names.hpp"
#include "app/start_values.hpp"
#include "input/input_file.hpp"
#include "random/random.hpp"
#include "sem/chain/saved_columns.hpp"
#include "support/address_space.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

void print_renames(const std::string& renames) {
  if (renames.empty()) return;
  std::fprintf(Output::fp,
               "\n  NOTE: The following variables have been renamed\n"
               "        to be %llu characters or less.\n%s\n",
               static_cast<unsigned long long>(VariableList::truncate), renames.c_str());
}

/// The draws of all chains are kept in memory. Systems promise more memory than they have and end the process
/// when it is used: what the machine cannot hold is refused before.
void require_room(const InputFile& input, std::uint64_t parameters) {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long page = ::sysconf(_SC_PAGESIZE);
  const double draws = double(input.chains) * input.burn + input.iterations;
  const double bytes = draws * static_cast<double>(parameters) * sizeof(double);
  if (pages <= 0 || page <= 0 || bytes < static_cast<double>(pages) * static_cast<double>(page)) return;
  const bool burn_in = double(input.chains) * input.burn > input.iterations;
  throw error(
      format("ERROR: The %s command asks for %u iterations. Their draws of %llu parameters\n"
             "       and those of the other phase need %.1f GB, more than the memory of this machine.",
             burn_in ? "BURN" : "ITERATIONS", burn_in ? input.burn : input.iterations,
             static_cast<unsigned long long>(parameters), bytes / 1e9));
}

}  // namespace

analysis prepare(InputFile& input) {
  return prepare(input, input.data());
}

analysis prepare(InputFile& input, arma::Mat<double> data) {
  progress::enter(run_phase::preparing);
  analysis run;
  run.data = std::move(data);
  run.vars = input.variableList(run.data);
  print_renames(run.vars.truncateNames());
  run.models = input.modelList(run.vars);
  input.update(run.data, run.vars, run.models);
  warn_of_priors(input, run);
  run.tests = input.waldtests(run.vars, run.models);
  run.simple = input.simpleSlopes(run.vars, run.models);
  return run;
}

namespace {

[[noreturn]] void no_room(const InputFile& input) {
  throw error(
      format("ERROR: There is not enough memory for %u chains (CHAINS command) with\n"
             "       %u iterations of burn-in each (BURN command) and %u further iterations\n"
             "       (ITERATIONS command).",
             input.chains, input.burn, input.iterations));
}

/// Fewer chains at once where the address space is short.
void require_threads(InputFile& input) {
  const std::size_t wanted = std::min(input.processors, input.chains);
  const std::size_t fit = threads_that_fit(wanted);
  if (fit >= wanted) return;
  if (fit == 0) {
    throw error(
        "ERROR: The address space that is left does not suffice to run a chain.\n"
        "       It is limited by 'ulimit -v' or its like.");
  }
  warning::buffer.push(
      format("WARNING: The address space suffices to run %zu of %zu chains at a time.\n"
             "         Setting the processors to %zu.",
             fit, wanted, fit));
  input.processors = static_cast<std::uint32_t>(fit);
}

/// `make`: an estimator from the random numbers and the share of a chain.
template <class T, class Make>
chain_group<T> make_chains(InputFile& input, const Make& make) {
  require_threads(input);
  try {
    chain_group<T> group(input.processors);
    for (const chain_info& info : input.chainInfo()) {
      Random rng(input.seed, info.id);
      rng.disperse(info.dispersion);
      std::shared_ptr<T> estimator = make(rng, info);
      require_room(input, estimator->getTotalParams());
      group.push_back(chain<T>(std::move(estimator), info));
    }
    if (group.empty()) throw error_debug("Number of chains is set to zero!");
    return group;
  } catch (const std::bad_alloc&) {
    no_room(input);
  }
}

}  // namespace

namespace {

/// Gives chains the state in which those of another run have ended. What the model fixes stays at its value.
class continued_run {
 public:
  explicit continued_run(const InputFile& input) : input_(input) {}

  void restore(sem::Mcmc& mcmc, const ModelList& models, std::uint32_t chain) {
    if (input_.starts_file.empty()) return;
    const std::vector<parameter_name> names = row_names(mcmc, models);
    const std::vector<arma::uword> rows = parameter_draws(models, names.size());
    std::vector<parameter_name> own;
    for (const arma::uword row : rows) own.push_back(names[row]);
    if (values_.empty()) values_ = read_start_values(input_.starts_file, own, input_.chains);
    const arma::Col<double> now = mcmc.getParams();
    arma::Col<double> state = values_.col(chain - 1);
    for (std::size_t k = 0; k < rows.size(); ++k) {
      if (own[k].fixed) state(k) = now(rows[k]);
    }
    try {
      mcmc.restore(state);
    } catch (const error_debug& e) {
      refuse(chain, e.what());
    } catch (const numeric_error& e) {
      refuse(chain, e.what());
    }
  }

 private:
  [[noreturn]] void refuse(std::uint32_t chain, const std::string& why) const {
    throw error("ERROR: The STARTS file \"" + input_.starts_file + "\" has values for chain " +
                std::to_string(chain) + " that this model cannot have:\n       " + why);
  }

  const InputFile& input_;
  arma::Mat<double> values_;  ///< read once, for all chains
};

}  // namespace

chain_group<sem::Mcmc> build_chains(InputFile& input, const analysis& run) {
  const auto saved = sem::keep_saved_columns(run.vars, run.data);
  continued_run before(input);
  return make_chains<sem::Mcmc>(input, [&](const Random& rng, const chain_info& info) {
    auto mcmc = std::make_shared<sem::Mcmc>(run.vars, run.data, rng, input.xprior, input.ICCcutoff, saved,
                                            input.scaled_priors);
    mcmc->addOutcomes(run.vars, run.models,
                      sem::priors{input.prior_resvar, input.prior_raneff, input.scaled_priors});
    before.restore(*mcmc, run.models, info.id);
    if (!run.simple.empty()) mcmc->addSimpleSlopes(run.simple);
    return mcmc;
  });
}

chain_group<manifest::wrapper> build_manifest_chains(InputFile& input, const analysis& run) {
  const auto saved = sem::keep_saved_columns(run.vars, run.data);
  return make_chains<manifest::wrapper>(input, [&](const Random& rng, const chain_info& info) {
    manifest::options how;
    how.how = input.clmean_method == 0 ? manifest::method::no_means : manifest::method::means;
    how.mice = input.mice;
    how.hev = input.hev;
    how.prior_resvar = input.prior_resvar;
    how.prior_raneff = input.prior_raneff;
    how.ICCcutoff = input.ICCcutoff;
    how.scaled = input.scaled_priors;
    how.burn = info.burn;
    return std::make_shared<manifest::wrapper>(run.vars, run.models, run.data, rng, how, saved);
  });
}

}  // namespace tovik
