#pragma once

#include <armadillo>
#include <vector>

#include "app/chain_group.hpp"
#include "data/variable_list.hpp"
#include "manifest/wrapper.hpp"
#include "model/model_list.hpp"
#include "model/waldtest.hpp"
#include "results/simple_slopes.hpp"
#include "sem/chain/mcmc.hpp"

namespace tovik {

class InputFile;

static_assert(reporting_sampler<sem::Mcmc>);
static_assert(reporting_sampler<manifest::wrapper>);

/// Everything between a command file and its chains. Read-only while chains run.
struct analysis {
  arma::Mat<double> data;  ///< rows are observations in file order, missing cells NaN
  VariableList vars;
  ModelList models;
  std::vector<model::waldtest> tests;  ///< hypotheses
  sem::SimpleList simple;              ///< conditional effects
};

/// The stages from the data file to the prepared matrix and its equations; prints the note on shortened names
/// to the report. Throws tovik::error for the user's mistakes.
analysis prepare(InputFile& input);
/// The same with data that have been read, as those of a group.
analysis prepare(InputFile& input, arma::Mat<double> data);

/// One estimator and one chain for each share of the run, each with its own stream of the seed.
/// Throws tovik::error for what a command or an equation asks and this version does not carry out,
/// tovik::error_debug when there is no share.
chain_group<sem::Mcmc> build_chains(InputFile& input, const analysis& run);
/// The same for an imputation with observed cluster means, or none (options manifest and noclmean).
chain_group<manifest::wrapper> build_manifest_chains(InputFile& input, const analysis& run);

}  // namespace tovik
