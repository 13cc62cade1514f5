#pragma once

#include <armadillo>
#include <vector>

namespace tovik {
class ModelList;
}

namespace tovik::sem {

/// For each column of the working matrix whether a cell of it is written after set-up: columns with a missing
/// cell, and those of latent variables, phantoms, published random effects, propensities, and latent means in
/// the equations or definitions. `data`: the working matrix before any missing cell is filled.
std::vector<bool> written_columns(ModelList const& list, arma::Mat<double> const& data);

}  // namespace tovik::sem
