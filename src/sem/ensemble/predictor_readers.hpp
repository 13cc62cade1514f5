#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/ensemble/acceptance_groups.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/predictors/variable.hpp"

namespace tovik::sem {

/// The models of the ensemble whose log likelihood depends on some of these columns of the working matrix: as
/// predictors, as covariates of random effects, or inside an expression.
std::vector<const estimator::Outcome*> readers_of(const arma::Col<arma::uword>& columns,
                                                  const Outcomes& outcomes);

/// The columns that outcome models read and that a step of a predictor model writes. `d`: for a latent mean
/// its distance above the variable's own level.
///
///   imputation   the values
///   latent mean  its own column, the next lower latent mean if that is centred within it, and the values if
///                they are centred at this mean
///   grand mean   values and latent means that are centred at it
arma::Col<arma::uword> moved_columns(const Variable& v, predictor_step step, unsigned d);

/// Gives every step of every predictor model whose columns some outcome model reads the likelihood of these
/// models, each once, with the groups in which units are accepted. Steps that nobody reads stay draws from
/// their full conditional. The grand mean takes the intercepts of its readers along: labels must be known.
/// Trees in the models are bound, cells of identifiers are in `data`.
void wire_predictors(const std::vector<std::unique_ptr<Variable>>& predictors, Outcomes& outcomes,
                     const level_units& units, const arma::Mat<double>& data);

}  // namespace tovik::sem
