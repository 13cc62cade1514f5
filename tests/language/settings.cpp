#include "settings.hpp"

#include <cstdio>
#include <string>

#include "data/patterns.hpp"
#include "data/variable_list.hpp"
#include "input/chain_info.hpp"
#include "input/input_file.hpp"
#include "model/defaults.hpp"
#include "model/model.hpp"
#include "random/random.hpp"
#include "results/summary.hpp"
#include "sem/wiring/settings.hpp"
#include "support/output.hpp"
#include "support/warning.hpp"

namespace tovik::tests {

namespace {

void reset_command_line() {
  InputFile::globalSeed = InputFile::not_set;
  for (std::string* path :
       {&InputFile::dataPath, &InputFile::impPathStacked, &InputFile::impPathStacked0,
        &InputFile::impPathSeparate, &InputFile::impPathDataSet, &InputFile::iterationsPath,
        &InputFile::estimatesPath, &InputFile::corrsPath, &InputFile::waldtestPath, &InputFile::psrPath,
        &InputFile::burnPath, &Output::traceplotPath}) {
    path->clear();
  }
  Output::fp = stdout;
  Output::print_iterations = true;
  Output::print_debug = false;
}

void reset_sampler() {
  using settings = sem::sampler_settings;
  settings::ess_sampler = false;
  settings::ess_max_niter = 1000;
  settings::use_autosolver = true;
  settings::optimize_draws = true;
  settings::print_debug_constraint = false;
  settings::print_debug_tune = false;
  settings::multi_mh_max_iter = 1000;
  settings::logvar_trunc_point = -6.0;
  settings::print_fixed_values = false;
  settings::print_all_rcorrs = false;
  settings::sort_rcorrs = false;
  sem::categorical_priors::set(5.0);
  Random::trunc_norm_max_niter = 10000;
  Random::pg_max_niter = 10000;
  if (Random::pg_vec.n_elem != 200) Random::set_pg_n_gamma(200);
}

void reset_summaries() {
  Summary::supress_print = true;
  Summary::splitChain = true;
  Summary::interval = 100;
  Summary::cols.clear();
  chain_info::compute_corrs = true;
  chain_info::compute_DIC = true;
  chain_info::crash_on_tune_fail = true;
  patterns::max_row_print = 10;
  patterns::print_all = false;
}

void reset_models() {
  VariableList::truncate = 9;
  Model::allow_multivariate = false;
  sem::defaults::reduce_models = true;
  sem::defaults::optimize_models = true;
  sem::defaults::sort_models = true;
  sem::defaults::freeloadings = false;
}

}  // namespace

void reset_settings() {
  reset_command_line();
  reset_sampler();
  reset_summaries();
  reset_models();
  warning::buffer.clear();
}

}  // namespace tovik::tests
