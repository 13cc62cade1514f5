#pragma once

#include <string>

#include "model/row.hpp"

namespace tovik {

class Model;
class ModelList;

/// The title above the rows of a section: "Variances:", "Coefficients:", "Odds Ratio:", "Proportion Variance
/// Explained" and so on.
const char* section_title(model::row_section section, const Model& model, const ModelList& models);

/// "Outcome Variable:  y", "Latent Variable:   f", "Covariance Matrix: y1 y2", as the title of a table.
std::string model_title(const Model& model);

/// True for the block names that the program reserves; they get no heading.
bool is_reserved_block(const std::string& name);

}  // namespace tovik
