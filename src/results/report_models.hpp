#pragma once

#include <cstdio>
#include <functional>

namespace tovik {

class ModelList;
class VariableList;
namespace data {
class variable;
}

/// True for a variable with missing cells.
using is_incomplete = std::function<bool(const data::variable&)>;

/// The sections of MODEL INFORMATION that name variables by their role, each only where it has an entry:
/// SAMPLING WEIGHTS, PREDICTORS, FACTORS, CENTERED PREDICTORS, LATENT CLUSTER MEANS, NAMED RANDOM EFFECTS.
void print_roles(std::FILE* stream, const VariableList& variables, const is_incomplete& incomplete);

/// The variables of an imputation without outcome models, by what is known of them.
void print_imputation_variables(std::FILE* stream, const VariableList& variables,
                                const is_incomplete& incomplete);

/// The sections that list statements: DEFINED VARIABLES, MODELS, PRIORS SPECIFIED, GENERATED PARAMETERS.
void print_statements(std::FILE* stream, const ModelList& models);

}  // namespace tovik
