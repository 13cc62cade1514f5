#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/ensemble/acceptance_groups.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik::sem {

/// False for models that are no regression of data: free and computed parameters, log variances.
bool has_likelihood(const estimator::Outcome& model);

/// The models other than `owner` whose log likelihood depends on the columns of `owner`'s outcome: as a
/// predictor, a covariate of random effects, inside an expression, or as an outcome of their own.
std::vector<const estimator::Outcome*> readers_of(
    const estimator::Outcome& owner, const std::vector<std::shared_ptr<estimator::Outcome>>& models);

/// Columns that are written whenever the values in another column are.
struct following_columns {
  arma::uword column = 0;
  arma::Col<arma::uword> followers;
};

/// Gives each incomplete outcome whose values other equations read the list of its own contribution and
/// theirs, each model or block once, with the groups in which its values are accepted. An outcome that no
/// other equation reads gets none: its values are drawn from its own equation. An outcome whose latent scores
/// other equations read, complete or not, gets a list of all who read scores or values. Trees in the models
/// are bound, cells of identifiers are in `data`. `following`: what is derived from the columns of outcomes;
/// who reads that reads the outcome.
void wire_likelihood_lists(const std::vector<std::shared_ptr<estimator::Outcome>>& models,
                           const level_units& units, const arma::Mat<double>& data,
                           const std::vector<following_columns>& following = {});

}  // namespace tovik::sem
