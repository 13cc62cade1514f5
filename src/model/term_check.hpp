#pragma once

#include "model/any_variable.hpp"
#include "model/combination.hpp"

namespace tovik::model {

/// The catalogue level (clustering levels above) at which the values of a term vary: for a latent group mean
/// that of its bracket, or else of the nearest level above the variable.
unsigned catalogue_level(const anyVariable& term);
/// The same of a computed term: that of the lowest variable that it reads.
unsigned catalogue_level(const combinationOfAnyVariable& term);

/// A predictor or outcome written as "name$k" must be a phantom. Throws tovik::error.
void check_phantom_request(const anyVariable& term);

/// Throws tovik::error for an outcome, or a dummy code of a nominal outcome, as predictor.
void check_no_outcome(const anyVariable& term, const std::vector<anyVariable>& outcomes);
void check_no_outcome(const combinationOfAnyVariable& term, const std::vector<anyVariable>& outcomes);

}  // namespace tovik::model
