#pragma once

#include <string>
#include <vector>

namespace tovik {

class Model;
class ModelList;

/// The class of a row of Model::parameters(), told by the eleven characters in front of its label.
enum class row_class { variance, fixed, threshold, transform };

struct parameter_row {
  row_class kind;
  std::string label;  ///< without the tag
  bool is_fixed;      ///< held at a value by the model
  double value = 0;   ///< that value
};

/// The rows of one model in the order of its estimates.
std::vector<parameter_row> parameter_rows(const Model& model);

/// "Variances:", "Coefficients:", "Thresholds:" or "Transformation:".
const char* section_title(row_class kind);

/// What the standardized rows of an equation are.
enum class standardized_class { coefficients, odds_ratios, exponentiated, correlations };
standardized_class standardized_kind(const Model& model);
/// "Standardized Coefficients:", "Odds Ratio:", "Exponentiated Coefficients:" or "Correlations:".
const char* section_title(standardized_class kind);

/// The title of a row of variances: of a block that of its covariance matrix, which is an average where a
/// member's variance is not the same everywhere.
const char* variance_title(const Model& model, const ModelList& models);

/// "Outcome Variable:  y", "Latent Variable:   f", "Covariance Matrix: y1 y2", as the title of a table.
std::string model_title(const Model& model);

/// Statements whose single row stands in a table of its own kind, behind the equations.
bool is_phantom(const Model& model);      ///< a correlation carried by a phantom variable
bool is_parameter(const Model& model);    ///< a parameter with a prior of its own
bool is_computation(const Model& model);  ///< a computed parameter

/// True for the block names that the program reserves; they get no heading.
bool is_reserved_block(const std::string& name);

}  // namespace tovik
