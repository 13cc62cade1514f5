#pragma once

#include <armadillo>
#include <cstdio>
#include <string>
#include <vector>

#include "sem/chain/missing_summary.hpp"
#include "sem/predictors/excluded_level.hpp"

namespace tovik {

class VariableList;
namespace sem {
class Mcmc;
}
namespace manifest {
class wrapper;
}

/// DATA INFORMATION: identifiers, units by level from the rows up, dummy codes, and the patterns of missing
/// cells with the percentages of `missing`.
void print_data_information(std::FILE* stream, const VariableList& variables,
                            const std::vector<arma::uword>& n_units, const sem::missing_summary& missing);

/// VARIABLES IN IMPUTATION MODEL: an imputation without outcome models has variables and no equations.
void print_imputation_model(std::FILE* stream, const VariableList& variables,
                            const sem::missing_summary& missing, arma::uword n_estimated);

/// The percentages of the report: those of predictors as their models count them.
sem::missing_summary report_missing(const sem::Mcmc& mcmc);
const sem::missing_summary& report_missing(const manifest::wrapper& imputation);

/// Pushes the warning about variables that predict nothing at a level; nothing without any. `consequence`: a
/// sentence of the warning, with the line breaks around it.
void warn_of_excluded(const std::vector<sem::excluded_level>& list, const std::string& consequence);

}  // namespace tovik
