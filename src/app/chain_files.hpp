#pragma once

#include <armadillo>
#include <string>
#include <vector>

#include "model/model_list.hpp"
#include "results/summary.hpp"

namespace tovik {

/// The draws that hold parameters, not what follows from them. A nominal outcome has both for each dummy
/// code. Behind the equations stand the models of predictors, `n_rows` draws in all; theirs are parameters
/// only.
std::vector<arma::uword> parameter_draws(const ModelList& models, arma::uword n_rows);

/// The last draw of each chain, to start another run from: one row per drawn quantity (the rows of
/// Model::parameters(), without those that follow from them), one column per chain, always in full precision.
/// `iterations`: the rows of every model in list order, then those of the models of predictors, which are all
/// drawn.
void save_starts(const std::string& path, const Summary& iterations, const ModelList& models);

/// One file for each parameter in `folder`, "burn1.csv", "burn2.csv" and so on: the number of the draw, then
/// the burn-in draws, one column per chain. All files have the rows of the longer phase, `rows` of them; what
/// a chain has not drawn is missing.
void save_traces(const std::string& folder, const Summary& burn, arma::uword rows);

}  // namespace tovik
