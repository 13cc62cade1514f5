#pragma once

#include <armadillo>
#include <memory>
#include <vector>

namespace tovik {
class ModelList;
}

namespace tovik::sem {

class Variable;

/// For each column of the working matrix whether a cell of it is written after set-up: columns with a missing
/// cell, and those of latent variables, phantoms, published random effects, propensities, and latent means in
/// the equations or definitions. `data`: the working matrix before any missing cell is filled.
std::vector<bool> written_columns(const ModelList& list, const arma::Mat<double>& data);

/// Marks the columns that predictor models write in scans: imputed and centred values, latent means.
void mark_written(const std::vector<std::unique_ptr<Variable>>& predictors, std::vector<bool>& columns);

}  // namespace tovik::sem
