#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/ensemble/acceptance_groups.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik::sem {

/// False for models that are no regression of data: free and computed parameters, log variances.
bool has_likelihood(estimator::Outcome const& model);

/// The models other than `owner` whose log likelihood depends on the column of `owner`'s outcome: as a
/// predictor, a covariate of random effects, or inside an expression.
std::vector<estimator::Outcome const*> readers_of(
    estimator::Outcome const& owner, std::vector<std::shared_ptr<estimator::Outcome>> const& models);

/// Columns that are written whenever the values in another column are.
struct following_columns {
  arma::uword column = 0;
  arma::Col<arma::uword> followers;
};

/// Gives each incomplete outcome that other equations read the list of its own contribution and theirs, each
/// model or block once, with the groups in which its values are accepted. An outcome that no other equation
/// reads gets none: its values are drawn from its own equation. Trees in the models are bound, cells of
/// identifiers are in `data`. `following`: what is derived from the columns of outcomes; who reads that reads
/// the outcome.
void wire_likelihood_lists(std::vector<std::shared_ptr<estimator::Outcome>> const& models,
                           level_units const& units, arma::Mat<double> const& data,
                           std::vector<following_columns> const& following = {});

}  // namespace tovik::sem
