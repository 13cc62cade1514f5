#pragma once

#include <armadillo>
#include <string>
#include <vector>

#include "app/analysis.hpp"

namespace tovik {
class InputFile;
class VariableList;
class ModelList;
}  // namespace tovik

/// Plain-text views of what the stages before sampling leave. Every line ends in "\n"; nothing depends on
/// addresses, the time or the machine.
namespace tovik::tests::dump {

/// One line per model: block | kind | link | levels | equation; below it, indented, its phantoms, its
/// residual variance and its computed terms where there are any.
std::string models(const ModelList& list);

/// The names of the rows of each model: parameters, standardized, rsquare.
std::string rows(const ModelList& list);

/// What MODEL INFORMATION of the report says of variables and statements.
std::string report_models(const arma::Mat<double>& matrix, const VariableList& variables,
                          const ModelList& list);

/// One line per entry of the catalogue; the clustering identifiers after it.
std::string variables(const VariableList& list);

/// The names of the columns and the first rows of a prepared matrix.
std::string data(const arma::Mat<double>& matrix, const VariableList& list);

/// The same for a matrix whose columns are known by name alone.
std::string data(const arma::Mat<double>& matrix, const std::vector<std::string>& names);

/// The names of the parameter table, by slot.
std::string parameters(const ModelList& list);

/// What each definition of MODEL stands for, in order of statement.
std::string definitions(const ModelList& list);

/// Each hypothesis: the statements of its two sides, and its contrasts in the rows of the estimates.
std::string tests(const std::vector<model::waldtest>& list, const ModelList& models);

/// The fields of a command file that hold anything.
std::string input(const InputFile& file);

}  // namespace tovik::tests::dump
