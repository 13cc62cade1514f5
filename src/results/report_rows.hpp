#pragma once

#include <string>
#include <vector>

namespace tovik {

class Model;

/// The class of a row of Model::parameters(), told by the eleven characters in front of its label.
enum class row_class { variance, fixed, threshold, transform };

struct parameter_row {
  row_class kind;
  std::string label;     ///< without the tag
  bool is_fixed;         ///< held at a value by the model
  double value = 0;      ///< that value
};

/// The rows of one model in the order of its estimates.
std::vector<parameter_row> parameter_rows(const Model& model);

/// "Variances:", "Coefficients:", "Thresholds:" or "Transformation:".
const char* section_title(row_class kind);

/// "Outcome Variable:  y", "Latent Variable:   f" and their like, as the title of a table.
std::string model_title(const Model& model);

/// True for the block names that the program reserves; they get no heading.
bool is_reserved_block(const std::string& name);

}  // namespace tovik
